#pragma once

#include "platform/Export.h"
#include "platform/net/IpGenPrefix.h"

namespace Routing::Pim::Bsr {

/// The store of last accepted Bootstrap messages that intake keeps, as far as the engine has a say
/// in it: what is gone there may be learned again from a No-Forward message.
class ROUTING_API LastBsmStore {
 public:
  virtual ~LastBsmStore() = default;
  /// A zone is gone.
  virtual void lastBsmDel(const IpGenPrefix& zone) = 0;
  /// All zones are gone.
  virtual void lastBsmDelAll() = 0;
};

}  // namespace Routing::Pim::Bsr
