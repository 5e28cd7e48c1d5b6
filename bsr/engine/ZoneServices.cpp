#include "bsr/engine/ZoneServices.h"

#include <utility>

#include "bsr/types/Traces.h"
#include "platform/entity/RangeError.h"

namespace Routing::Pim::Bsr {

ZoneServices::ZoneServices(std::shared_ptr<Status> bsrStatus, TimerWheel& timerWheel,
                           std::shared_ptr<PimBsrLimits> limits, const BsrPolicy& policy,
                           RandomSource random, std::shared_ptr<DeferredDelete> deferred)
    : bsrStatus_(std::move(bsrStatus)),
      timerWheel_(timerWheel),
      limits_(limits ? std::move(limits) : std::make_shared<PimBsrLimits>()),
      policy_(policy),
      random_(std::move(random)),
      deferred_(std::move(deferred)),
      rpSets_(bsrStatus_, limits_, rpSetTotals_),
      lastBsmBudget_(bsrStatus_, limits_) {}

void ZoneServices::begin(std::unique_ptr<BsmSender> sender) {
  globalZone_ = IpGenPrefix::multicast(bsrStatus_->af());
  installer_ = std::make_shared<RpSetInstaller>(bsrStatus_->vrfName(), rpSets_, limits_,
                                                timerWheel_, *deferred_);
  sender_ = std::move(sender);
}

void ZoneServices::end() {
  if (installer_) installer_->end();
  if (sender_) sender_->end();
  installer_.reset();
  sender_.reset();
  view_ = nullptr;
  heldBack_.clear();
}

void ZoneServices::announcingIs(const IpGenPrefix& zone, bool announcing) {
  if (announcing && policy_.announcedView) {
    heldBack_.try_emplace(zone, false);
  } else {
    heldBack_.erase(zone);
  }
}

void ZoneServices::announced(const IpGenPrefix& zone, const BootstrapMessage& bsm) {
  const auto it = heldBack_.find(zone);
  if (it == heldBack_.end() || !view_) return;
  const bool first = !std::exchange(it->second, true);
  const auto view = view_;
  view(zone, bsm, first);
}

void ZoneServices::storeRpSet(const IpGenPrefix& zone, const BootstrapMessage& bsm, bool refresh,
                              const Turn* turn) {
  const auto installer = installer_;
  if (!installer) return;
  try {
    installer->storeRpSet(zone, bsm, refresh, turn);
  } catch (const RangeError& error) {
    BSR_TRACE(sm, 1, "RP set of zone ", zone, " not installed: ", error.what());
  }
}

// The message may stand in other places as well, with its No-Forward bit.
void ZoneServices::refreshRpSet(const IpGenPrefix& zone,
                                const std::shared_ptr<BootstrapMessage>& bsm, const Turn* turn) {
  if (!installer_ || !bsm) return;
  storeRpSet(zone, *withForward(bsm, true), true, turn);
}

std::shared_ptr<PimBsrRxFragments> ZoneServices::bsmRxFragments(std::uint16_t tag) const {
  return installer_ ? installer_->reassembly().bsmRxFragments(tag) : nullptr;
}

const IncompleteRanges::Ranges& ZoneServices::incompleteRanges(const IpGenPrefix& zone) const {
  static const IncompleteRanges::Ranges none;
  return installer_ ? installer_->incomplete().ranges(zone) : none;
}

void ZoneServices::forgetIncomplete(const IpGenPrefix& zone) {
  if (installer_) installer_->incomplete().zoneDel(zone);
}

void ZoneServices::bsmRxFragmentsDel(const std::shared_ptr<PimBsrRxFragments>& fragments) {
  if (installer_) installer_->reassembly().bsmRxFragmentsDel(fragments);
}

bool ZoneServices::doAddGroupData(BootstrapMessage& bsm, const RpCandidateSet* rpSet,
                                  const IpGenPrefix& prefix, std::uint8_t flags,
                                  const BsmSender::Again& again) {
  const auto sender = sender_;
  return !sender || sender->doAddGroupData(bsm, rpSet, prefix, flags, timerWheel_.now(), again);
}

bool ZoneServices::forwardBsm(const IpGenPrefix& zone, const std::shared_ptr<BootstrapMessage>& bsm,
                              const Turn* turn) {
  const auto sender = sender_;
  return sender && sender->forwardBsm(zone, bsm, turn);
}

void ZoneServices::doSendTriggeredBsm(const IpGenPrefix& zone, bool forward, const IntfId& oif,
                                      const std::shared_ptr<BootstrapMessage>& bsm) {
  const auto sender = sender_;
  if (sender) sender->doSendTriggeredBsm(zone, forward, oif, bsm);
}

}  // namespace Routing::Pim::Bsr
