#include "platform/pim/PimInstance.h"

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
      [this](const IntfId& intf, const HelloMessage& hello) { handleHello(intf, hello); });
}

PimInstance::~PimInstance() {
  pamManager_->helloReceiverIs({});  // others may still share the packet layer
  pamManager_->drops().clockIs({});
}

std::shared_ptr<HelloSm> PimInstance::known(const IntfId& intf) const {
  const auto at = machines_->find(intf);
  return at == machines_->end() ? nullptr : at->second;
}

std::shared_ptr<HelloSm> PimInstance::helloSm(const IntfId& intf) {
  if (auto sm = known(intf)) return sm;
  const auto machines = machines_;
  const auto config = helloConfig(intf);
  const auto packets = pamManager_;
  const auto random = random_;
  TimerWheel& wheel = wheel_;
  const auto status = pimStatus_->newPimIntf(intf);
  return (*machines)[status->intfId()] =
             std::make_shared<HelloSm>(status, packets, wheel, random, config);
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
  const auto sm = known(intf);
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
  if (const auto sm = known(intf)) sm->configIs(config);
}

void PimInstance::drPriorityIs(const IntfId& intf, std::uint32_t priority) {
  HelloConfig config = helloConfig(intf);
  config.drPriority = priority;
  helloConfigIs(intf, config);
}

void PimInstance::drPriorityDel(const IntfId& intf) {
  drPriorityIs(intf, config_.drPriority);
}

void PimInstance::handleHello(const IntfId& intf, const HelloMessage& hello) {
  if (const auto sm = known(intf)) sm->receive(hello);
}

void PimInstance::forgetNeighbors() {
  const auto machines = *machines_;
  for (const auto& [intf, sm] : machines) sm->forgetNeighbors();
}

std::size_t PimInstance::forgetNeighbor(const IpGenAddr& neighbor) {
  const auto machines = *machines_;
  std::size_t forgotten = 0;
  for (const auto& [intf, sm] : machines) forgotten += sm->forgetNeighbor(neighbor) ? 1 : 0;
  return forgotten;
}

void PimInstance::shutdown() {
  const auto machines = *machines_;
  for (const auto& [intf, sm] : machines) sm->goodbye();
}

}  // namespace Routing::Pim
