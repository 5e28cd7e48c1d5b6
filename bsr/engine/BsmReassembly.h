#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>

#include "bsr/engine/RxFragments.h"
#include "bsr/types/DeferredDelete.h"
#include "bsr/types/Limits.h"
#include "platform/Export.h"
#include "platform/net/VrfName.h"
#include "platform/time/TimerWheel.h"

namespace Routing::Pim::Bsr {

/// Group ranges whose RPs are spread over fragments, kept until all have arrived or the range is
/// too old (RFC 5059 section 4.1.1). Keyed by fragment tag, for all zones together.
class ROUTING_API BsmReassembly {
 public:
  /// A range older than this many seconds is discarded, at the next run of the fragment timer.
  static constexpr std::uint32_t fragmentTimeout = 25;
  /// Seconds between runs of the fragment timer, which runs while anything is kept.
  static constexpr std::uint32_t fragmentInterval = 10;

  BsmReassembly(VrfName vrfName, TimerWheel& timerWheel, std::shared_ptr<PimBsrLimits> limits,
                DeferredDelete& deferred);

  /// Takes the RPs of a fragmented range in. Returns all RPs of the range once they are complete,
  /// nothing while some are missing; a range that contradicts what is kept of it, or finds no room,
  /// is dropped. A range that carries more RPs than it announces is a failed assertion: the codec
  /// lets none through.
  std::optional<BootstrapRpList> add(std::uint16_t tag, const BootstrapGroupData& group);
  /// Forgets a range.
  void processed(std::uint16_t tag, const IpGenPrefix& prefix);

  const std::map<std::uint16_t, std::shared_ptr<PimBsrRxFragments>>& bsmRxFragments() const {
    return bsmRxFragments_;
  }
  /// What is kept under a tag; null if nothing is.
  std::shared_ptr<PimBsrRxFragments> bsmRxFragments(std::uint16_t tag) const;
  /// Forgets this record; one that was replaced meanwhile under the same tag stays.
  void bsmRxFragmentsDel(const std::shared_ptr<PimBsrRxFragments>& fragments);

 private:
  void handleBsmRxFragments(std::uint16_t tag);
  void handleFragmentTimerExpiry();
  bool ageOut(PimBsrRxFragments& fragments);
  bool contradicts(const PimBsrRxFragment& kept, const BootstrapGroupData& group) const;
  void groupDel(PimBsrRxFragments& fragments, const IpGenPrefix& prefix);
  void tagDel(std::uint16_t tag);
  const VrfName& vrfName() const { return vrfName_; }

  VrfName vrfName_;
  TimerWheel& timerWheel_;
  std::shared_ptr<PimBsrLimits> limits_;
  std::map<std::uint16_t, std::shared_ptr<PimBsrRxFragments>> bsmRxFragments_;
  std::size_t groups_ = 0;
  Timer fragmentTimer_;
};

}  // namespace Routing::Pim::Bsr
