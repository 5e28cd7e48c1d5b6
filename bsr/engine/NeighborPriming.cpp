#include "bsr/engine/NeighborPriming.h"

#include <utility>

#include "bsr/engine/ZoneSm.h"
#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

/// One PIM interface.
class NeighborPriming::Interface {
 public:
  Interface(const NeighborPriming& priming, std::shared_ptr<const PimInterface> intf)
      : priming_(priming), intf_(std::move(intf)) {
    DeferredDelete& deferred = priming.services_->deferred();
    drReactor_ = intf_->isDrReactor(deferred.held([this] { handleDrChange(); }));
    helloReactor_ =
        intf_->triggeredHelloSentReactor(deferred.held([this] { handleTriggeredHelloSent(); }));
    neighborReactor_ = intf_->neighborReactor(
        deferred.held([this](const IpGenAddr& neighbor) { handleNeighbor(neighbor); }));
  }
  Interface(const Interface&) = delete;
  Interface& operator=(const Interface&) = delete;

  const std::shared_ptr<const PimInterface>& intf() const { return intf_; }
  bool wasDr() const { return wasDr_; }
  void handleForwarding();
  void retire() {
    retired_ = true;
    drReactor_.reset();
    helloReactor_.reset();
    neighborReactor_.reset();
  }

 private:
  void handleDrChange();
  void handleTriggeredHelloSent();
  void handleNeighbor(const IpGenAddr& neighbor);
  void doSendNoFwdBsm();
  bool active() const { return priming_.active_ && !retired_; }
  const VrfName& vrfName() const { return priming_.vrfName(); }

  const NeighborPriming& priming_;
  const std::shared_ptr<const PimInterface> intf_;
  bool wasDr_ = false;
  bool retired_ = false;
  Subscription drReactor_;
  Subscription helloReactor_;
  Subscription neighborReactor_;
};

// Whoever is there hears the message. A neighbour that waits for a triggered Hello does not take
// it: it knows no neighbour yet.
void NeighborPriming::Interface::handleForwarding() {
  if (priming_.services_->policy().primeAfterHello && intf_->triggeredHelloDue()) return;
  wasDr_ = false;
}

void NeighborPriming::Interface::handleDrChange() {
  BSR_TRACE(sm, 9, "");
  if (!active() || intf_->isDr()) return;
  BSR_TRACE(sm, 8, "We are no longer DR on interface ", intf_->intfId());
  wasDr_ = true;
}

void NeighborPriming::Interface::handleTriggeredHelloSent() {
  BSR_TRACE(sm, 9, "");
  if (!active()) return;
  if (intf_->isDr() || wasDr_) {
    BSR_TRACE(sm, 8, "Send No Forward BSM since ", wasDr_ ? "we were DR " : "",
              intf_->isDr() ? "we are DR " : "", " on interface ", intf_->intfId());
    doSendNoFwdBsm();
  }
  wasDr_ = false;
}

// A BSR that goes on in its office after a restart, perhaps one after another, has followers that
// know it and count on its next message.
void NeighborPriming::Interface::handleNeighbor(const IpGenAddr& neighbor) {
  if (intf_->neighbor().size() != 1 || !intf_->neighbor(neighbor)) return;
  for (const auto& machine : priming_.machines_()) {
    if (!active()) return;
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
    const auto bsm = machine->unheard() ? machine->lastBsm() : nullptr;
    if (bsm) priming_.services_->doSendTriggeredBsm(machine->zone(), true, intf_->intfId(), bsm);
  }
}

void NeighborPriming::Interface::doSendNoFwdBsm() {
  BSR_TRACE(sm, 9, "");
  for (const auto& machine : priming_.machines_()) {
    if (!active()) return;
    // Sending may come back and replace it.
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
    if (const auto bsm = machine->lastBsm()) {
      priming_.services_->doSendTriggeredBsm(machine->zone(), false, intf_->intfId(), bsm);
    } else {
      BSR_TRACE(sm, 8, "No last BSM available to send triggered BSM");
    }
  }
}

NeighborPriming::NeighborPriming(const VrfName& vrfName, std::shared_ptr<const PimStatus> pimStatus,
                                 std::shared_ptr<ZoneServices> services, Machines machines)
    : vrfName_(vrfName),
      pimStatus_(std::move(pimStatus)),
      services_(std::move(services)),
      machines_(std::move(machines)) {
  reactor_ = pimStatus_->pimIntfReactor(
      services_->deferred().held([this](const IntfId& intf) { handlePimIntf(intf); }));
  for (const auto& [intf, status] : pimStatus_->pimIntf()) handlePimIntf(intf);
}

NeighborPriming::~NeighborPriming() = default;

void NeighborPriming::handlePimIntf(const IntfId& intf) {
  BSR_TRACE(sm, 9, " ( ", intf, " )");
  const std::shared_ptr<const PimInterface> status = pimStatus_->pimIntf(intf);
  const auto it = interfaces_.find(intf);
  if (it != interfaces_.end()) {
    if (it->second->intf() == status) return;
    it->second->retire();
    services_->deferred().take(std::move(it->second));
    interfaces_.erase(it);
  }
  if (status) interfaces_.emplace(intf, std::make_shared<Interface>(*this, status));
}

bool NeighborPriming::wasDr(const IntfId& intf) const {
  const auto it = interfaces_.find(intf);
  return it != interfaces_.end() && it->second->wasDr();
}

void NeighborPriming::handleForwarding(const IntfId& intf) {
  const auto it = interfaces_.find(intf);
  if (it != interfaces_.end()) it->second->handleForwarding();
}

void NeighborPriming::retire() {
  active_ = false;
  reactor_.reset();
  for (auto& [intf, interface] : interfaces_) interface->retire();
}

}  // namespace Routing::Pim::Bsr
