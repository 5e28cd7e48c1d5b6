#include "platform/pim/PimInstance.h"

#include <algorithm>
#include <utility>

#include "platform/pim/AddressChecks.h"

namespace Routing::Pim {

PimInstance::PimInstance(const VrfName& vrf, AddressFamily af, const UnicastRouting& routing,
                         PacketPort& port, TimerWheel& wheel, RandomSource random,
                         const HelloConfig& config)
    : af_(af),
      wheel_(wheel),
      random_(std::make_shared<RandomSource>(std::move(random))),
      config_(config),
      pimStatus_(std::make_shared<PimStatus>(vrf)),
      rpfTable_(std::make_shared<PimRpfTable>(routing, pimStatus_)),
      pamManager_(std::make_shared<PamManager>(af, pimStatus_, rpfTable_, port)) {
  pamManager_->drops().clockIs([&wheel] { return wheel.now(); });
  pamManager_->helloReceiverIs(
      [this](const PimInterface& intf, const HelloMessage& hello) { handleHello(intf, hello); });
}

PimInstance::~PimInstance() {
  pamManager_->helloReceiverIs({});  // others may still share the packet layer
  pamManager_->drops().clockIs({});
}

std::shared_ptr<HelloSm> PimInstance::Machines::of(const IntfId& intf) const {
  const auto at = byName_.find(intf);
  return at == byName_.end() ? nullptr : at->second;
}

// Another interface may have come in the place of the machine's, under the same name.
std::shared_ptr<HelloSm> PimInstance::Machines::of(const PimInterface& intf) const {
  const auto at = std::ranges::lower_bound(byIntf_, &intf, {}, &Place::first);
  return at != byIntf_.end() && at->first == &intf ? at->second : of(intf.intfId());
}

void PimInstance::Machines::insert(const std::shared_ptr<HelloSm>& sm) {
  const PimInterface* const intf = sm->intf().get();
  erase(intf->intfId());
  byName_[intf->intfId()] = sm;
  byIntf_.insert(std::ranges::lower_bound(byIntf_, intf, {}, &Place::first), {intf, sm});
}

void PimInstance::Machines::erase(const IntfId& intf) {
  const auto at = byName_.find(intf);
  if (at == byName_.end()) return;
  std::erase_if(byIntf_, [&](const Place& place) { return place.second == at->second; });
  byName_.erase(at);
}

std::shared_ptr<HelloSm> PimInstance::helloSm(const IntfId& intf) {
  if (auto sm = machines_->of(intf)) return sm;
  const auto machines = machines_;
  const auto config = helloConfig(intf);
  const auto packets = pamManager_;
  const auto random = random_;
  TimerWheel& wheel = wheel_;
  const auto status = pimStatus_->newPimIntf(intf);
  auto sm = std::make_shared<HelloSm>(status, packets, wheel, random, config);
  machines->insert(sm);
  return sm;
}

const HelloConfig& PimInstance::helloConfig(const IntfId& intf) const {
  const auto own = helloConfig_.find(intf);
  return own == helloConfig_.end() ? config_ : own->second;
}

void PimInstance::intfIs(const IntfId& intf, const IpGenAddr& address,
                         const std::set<IpGenAddr>& secondaries, bool up) {
  const bool usable = address.af() == af_ && isUnicast(address);
  helloSm(intf)->intfIs(usable ? address : IpGenAddr{}, secondaries, up);
}

void PimInstance::intfDel(const IntfId& intf) {
  const auto sm = machines_->of(intf);
  if (!sm) return;
  const auto machines = machines_;
  const auto status = pimStatus_;
  const IntfId& name = sm->intf()->intfId();
  sm->intfIs({}, {}, false);
  machines->erase(name);
  if (status->pimIntf(name) == sm->intf()) status->pimIntfDel(name);
}

void PimInstance::helloConfigIs(const IntfId& intf, const HelloConfig& config) {
  helloConfig_.insert_or_assign(intf, config);
  if (const auto sm = machines_->of(intf)) sm->configIs(config);
}

void PimInstance::drPriorityIs(const IntfId& intf, std::uint32_t priority) {
  HelloConfig config = helloConfig(intf);
  config.drPriority = priority;
  helloConfigIs(intf, config);
}

void PimInstance::drPriorityDel(const IntfId& intf) {
  drPriorityIs(intf, config_.drPriority);
}

void PimInstance::handleHello(const PimInterface& intf, const HelloMessage& hello) {
  if (const auto sm = machines_->of(intf)) sm->receive(hello);
}

void PimInstance::forgetNeighbors() {
  const auto machines = machines_->byName();
  for (const auto& [intf, sm] : machines) sm->forgetNeighbors();
}

std::size_t PimInstance::forgetNeighbor(const IpGenAddr& neighbor) {
  const auto machines = machines_->byName();
  std::size_t forgotten = 0;
  for (const auto& [intf, sm] : machines) forgotten += sm->forgetNeighbor(neighbor) ? 1 : 0;
  return forgotten;
}

void PimInstance::shutdown() {
  const auto machines = machines_->byName();
  for (const auto& [intf, sm] : machines) sm->goodbye();
}

}  // namespace Routing::Pim
