#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "bsr/engine/LastBsmBudget.h"
#include "platform/Export.h"
#include "platform/pim/wire/BootstrapMessage.h"

namespace Routing::Pim::Bsr {

/// The last accepted Bootstrap message of a zone, whole: the fragments of one message are gathered
/// into one, so that what primes a new neighbour, and what refreshes the RP set when the BSR falls
/// silent, is the complete RP set (RFC 5059 sections 3.1.5 and 3.5.1).
class ROUTING_API LastBsm {
 public:
  /// Fragments that arrive later than this many seconds after the first one start a new message.
  static constexpr double gatherTime = 25.0;

  /// The budget, which all zones share, must outlive this object.
  explicit LastBsm(LastBsmBudget& budget) : budget_(budget) {}
  LastBsm(const LastBsm&) = delete;
  LastBsm& operator=(const LastBsm&) = delete;
  ~LastBsm() { clear(); }

  const std::shared_ptr<BootstrapMessage>& message() const { return message_; }
  /// When its first fragment was accepted; means nothing while none is held.
  double since() const { return since_; }

  /// Takes a message that was accepted at an instant: joined to what is held if it is a further
  /// fragment of it, otherwise in its place. Messages taken are never changed here. Where the
  /// budget has no room for it, nothing is held afterwards, and false is returned: a part of a
  /// message would be taken for the whole.
  bool messageIs(const std::shared_ptr<BootstrapMessage>& bsm, double now);
  void clear();

 private:
  bool furtherFragment(const BootstrapMessage& bsm, double now) const;
  void gather(const BootstrapMessage& fragment);
  std::size_t placeOf(const BootstrapGroupData& piece);

  LastBsmBudget& budget_;
  std::shared_ptr<BootstrapMessage> message_;
  double since_ = 0.0;
  std::size_t entries_ = 0;  // taken from the budget; what is repeated counts again
  bool own_ = false;         // message_ is our own copy, and index_ finds its ranges
  std::vector<std::uint32_t, PoolAllocator<std::uint32_t>> index_;  // in order of their prefixes
};

}  // namespace Routing::Pim::Bsr
