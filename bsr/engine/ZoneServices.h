#pragma once

#include <functional>
#include <map>
#include <memory>
#include <utility>

#include "bsr/engine/BsmSender.h"
#include "bsr/engine/LastBsmBudget.h"
#include "bsr/engine/RandomNumbers.h"
#include "bsr/engine/RpSetInstaller.h"
#include "bsr/engine/RpSets.h"
#include "bsr/engine/Turn.h"
#include "bsr/types/BsrPolicy.h"
#include "bsr/types/DeferredDelete.h"
#include "bsr/types/Limits.h"
#include "bsr/types/Status.h"
#include "platform/Export.h"
#include "platform/time/TimerWheel.h"

namespace Routing::Pim::Bsr {

/// What the zone machines of an engine stand on together: the RP sets, the sending of messages, the
/// host's choices. Between begin() and end() they work; otherwise they do nothing.
class ROUTING_API ZoneServices {
 public:
  /// What is deleted goes to `deferred`. The wheel must outlive this object.
  ZoneServices(std::shared_ptr<Status> bsrStatus, TimerWheel& timerWheel,
               std::shared_ptr<PimBsrLimits> limits, const BsrPolicy& policy, RandomSource random,
               std::shared_ptr<DeferredDelete> deferred);
  ZoneServices(const ZoneServices&) = delete;
  ZoneServices& operator=(const ZoneServices&) = delete;

  /// The status has its address family; messages leave through `sender`.
  void begin(std::unique_ptr<BsmSender> sender);
  void end();

  /// The zone of all groups: 224.0.0.0/4 or ff00::/8; none before the first begin().
  const IpGenPrefix& globalZone() const { return globalZone_; }
  const BsrPolicy& policy() const { return policy_; }
  RandomNumbers& random() { return random_; }
  DeferredDelete& deferred() { return *deferred_; }
  RpSetTotals& rpSetTotals() { return rpSetTotals_; }
  RpSets& rpSets() { return rpSets_; }
  LastBsmBudget& lastBsmBudget() { return lastBsmBudget_; }
  PimBsrLimits& limits() { return *limits_; }

  /// This router is, or is no longer, the elected BSR of a zone. While it is and the policy asks
  /// for it, PIM's view of the zone is held back until announced() is called.
  void announcingIs(const IpGenPrefix& zone, bool announcing);
  bool heldBack(const IpGenPrefix& zone) const {
    return !heldBack_.empty() && heldBack_.contains(zone);
  }
  /// A message of this router for the zone is being sent.
  void announced(const IpGenPrefix& zone, const BootstrapMessage& bsm);
  /// Shows PIM what a message announces; with the first one of a BSR all others forget what another
  /// BSR said.
  using View =
      std::function<void(const IpGenPrefix& zone, const BootstrapMessage& bsm, bool first)>;
  /// Null for nobody.
  void viewIs(View view) { view_ = std::move(view); }

  /// Installs a message's mappings. What cannot be installed is traced: the machine's timers must
  /// run all the same. Stops where `turn`, if there is one, is overtaken.
  void storeRpSet(const IpGenPrefix& zone, const BootstrapMessage& bsm, bool refresh,
                  const Turn* turn = nullptr);
  void refreshRpSet(const IpGenPrefix& zone, const std::shared_ptr<BootstrapMessage>& bsm,
                    const Turn* turn = nullptr);
  std::shared_ptr<PimBsrRxFragments> bsmRxFragments(std::uint16_t tag) const;
  /// The ranges of a zone of which RPs are missing; valid until the next message.
  const IncompleteRanges::Ranges& incompleteRanges(const IpGenPrefix& zone) const;
  void forgetIncomplete(const IpGenPrefix& zone);
  void bsmRxFragmentsDel(const std::shared_ptr<PimBsrRxFragments>& fragments);

  /// True if all RPs of the range found room in the message.
  bool doAddGroupData(BootstrapMessage& bsm, const RpCandidateSet* rpSet, const IpGenPrefix& prefix,
                      std::uint8_t flags, const BsmSender::Again& again = {});
  /// True if it went out on any interface. Stops where `turn` is overtaken.
  bool forwardBsm(const IpGenPrefix& zone, const std::shared_ptr<BootstrapMessage>& bsm,
                  const Turn* turn = nullptr);
  void doSendTriggeredBsm(const IpGenPrefix& zone, bool forward, const IntfId& oif,
                          const std::shared_ptr<BootstrapMessage>& bsm);

 private:
  const VrfName& vrfName() const { return bsrStatus_->vrfName(); }

  std::shared_ptr<Status> bsrStatus_;
  TimerWheel& timerWheel_;
  std::shared_ptr<PimBsrLimits> limits_;
  const BsrPolicy policy_;
  RandomNumbers random_;
  std::shared_ptr<DeferredDelete> deferred_;
  IpGenPrefix globalZone_;
  std::map<IpGenPrefix, bool> heldBack_;  // whether a message has been announced
  View view_;
  RpSetTotals rpSetTotals_;
  RpSets rpSets_;
  LastBsmBudget lastBsmBudget_;
  // Null unless they work; a call that is under way when they end holds its own.
  std::shared_ptr<RpSetInstaller> installer_;
  std::shared_ptr<BsmSender> sender_;
};

}  // namespace Routing::Pim::Bsr
