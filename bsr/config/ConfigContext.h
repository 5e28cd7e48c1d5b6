#pragma once

#include <memory>

#include "bsr/config/ConfigState.h"
#include "bsr/types/Status.h"
#include "platform/net/SourceIntfSm.h"

namespace Routing::Pim::Bsr {

class BsrConfigAcls;
class Explained;

/// What the parts of configuration processing share.
struct ConfigContext {
  std::shared_ptr<Status> status;
  std::shared_ptr<const SourceIntfSm> sourceIntfSm;
  std::shared_ptr<ConfigState> state;
  BsrConfigAcls* acls = nullptr;
  Explained* explained = nullptr;

  const VrfName& vrfName() const { return status->vrfName(); }
  /// The interface's address; unset if it has none of the status's family.
  IpGenAddr addressOf(const IntfId& intf) const {
    const IpGenAddr address = sourceIntfSm->addressOf(intf);
    return address.af() == status->af() ? address : IpGenAddr{};
  }
};

}  // namespace Routing::Pim::Bsr
