#pragma once

#include <memory>

#include "bsr/engine/BsmReassembly.h"
#include "bsr/engine/IncompleteRanges.h"
#include "bsr/engine/RpSets.h"
#include "bsr/engine/Turn.h"
#include "bsr/types/DeferredDelete.h"
#include "bsr/types/Limits.h"
#include "platform/Export.h"
#include "platform/pim/wire/BootstrapMessage.h"
#include "platform/time/TimerWheel.h"

namespace Routing::Pim::Bsr {

/// Writes the group-to-RP mappings of Bootstrap messages into the RP sets of their zones (RFC 5059
/// section 3.1.5, "Store RP-Set" and "Refresh RP-Set"). Mappings that a message does not list stay
/// until their hold time ends.
class ROUTING_API RpSetInstaller {
 public:
  RpSetInstaller(const VrfName& vrfName, RpSets& rpSets, std::shared_ptr<PimBsrLimits> limits,
                 TimerWheel& timerWheel, DeferredDelete& deferred);

  /// Installs a message's mappings for a zone. A refresh touches only what exists already; it still
  /// removes RPs that are announced with hold time 0. A hash mask length above 128 raises
  /// RangeError before anything is written. Stops before the next RP if `turn` is there and was
  /// overtaken.
  void storeRpSet(const IpGenPrefix& zone, const BootstrapMessage& bsm, bool refresh,
                  const Turn* turn = nullptr);
  /// Nothing more is installed, not even of the present message.
  void end() { ended_ = true; }

  BsmReassembly& reassembly() { return reassembly_; }
  IncompleteRanges& incomplete() { return incomplete_; }

 private:
  struct Message;
  struct Range;

  void storeRange(Message& message, const BootstrapGroupData& group);
  void install(Range&& range);
  bool mayCreate(const Range& range);
  void installRps(const Range& range);
  void noteGap(const IpGenPrefix& zone, std::uint16_t tag, const BootstrapGroupData& group);
  void announce(const Range& range, const BootstrapRp& said);
  void write(const Range& range, RpEntry& rp, const BootstrapRp& said);
  void expiryIs(const Range& range, RpEntry& rp, const BootstrapRp& said);
  void withdraw(const Range& range, const IpGenAddr& address);
  bool stands(const Range& range) const;
  RpCandidateSet* findSet(const Range& range) const;
  std::shared_ptr<RpCandidateSet> newCrpSet(const Range& range);
  std::shared_ptr<RpEntry> newRpEntry(const Range& range, const IpGenAddr& address);
  bool goesOn(const Turn* turn) const { return !ended_ && (turn == nullptr || turn->goesOn()); }
  const VrfName& vrfName() const { return vrfName_; }

  VrfName vrfName_;
  RpSets& rpSets_;
  TimerWheel& timerWheel_;
  BsmReassembly reassembly_;
  const std::shared_ptr<PimBsrLimits> limits_;
  IncompleteRanges incomplete_;
  bool ended_ = false;
};

}  // namespace Routing::Pim::Bsr
