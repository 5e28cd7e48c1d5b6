#pragma once

#include <memory>

#include "bsr/engine/RxFragments.h"
#include "platform/Export.h"
#include "platform/pim/BootstrapMessage.h"

namespace Routing::Pim::Bsr {

/// The last accepted Bootstrap message of a zone, whole: the fragments of one message are gathered
/// into one, so that what primes a new neighbour, and what refreshes the RP set when the BSR falls
/// silent, is the complete RP set (RFC 5059 sections 3.1.5 and 3.5.1).
class ROUTING_API LastBsm {
 public:
  /// Fragments that arrive later than this many seconds after the first one start a new message;
  /// so does one that would make the gathered message longer than maxGroups ranges or maxRps RPs.
  static constexpr double gatherTime = 25.0;
  static constexpr std::size_t maxGroups = 4096;
  static constexpr std::size_t maxRps = 16384;

  const std::shared_ptr<BootstrapMessage>& message() const { return message_; }

  /// Takes a message that was accepted at an instant: joined to what is held if it is a further
  /// fragment of it, otherwise in its place. Messages taken are never changed here.
  void messageIs(const std::shared_ptr<BootstrapMessage>& bsm, double now);
  void clear() { *this = {}; }

 private:
  bool furtherFragment(const BootstrapMessage& bsm, double now) const;

  std::shared_ptr<BootstrapMessage> message_;
  double since_ = 0.0;
  bool gathered_ = false;  // message_ is our own copy
};

}  // namespace Routing::Pim::Bsr
