#include "platform/pim/PimInstance.h"

#include <utility>

#include "platform/pim/AddressChecks.h"

namespace Routing::Pim {

PimInstance::PimInstance(const VrfName& vrf, AddressFamily af, const UnicastRouting& routing,
                         PacketPort& port, TimerWheel& wheel, RandomSource random,
                         const HelloConfig& config)
    : af_(af),
      wheel_(wheel),
      random_(std::move(random)),
      config_(config),
      pimStatus_(std::make_shared<PimStatus>(vrf)),
      rpfTable_(std::make_shared<PimRpfTable>(routing, pimStatus_)),
      pamManager_(std::make_shared<PamManager>(af, pimStatus_, rpfTable_, port)) {
  pamManager_->helloReceiverIs(
      [this](const IntfId& intf, const HelloMessage& hello) { handleHello(intf, hello); });
}

PimInstance::~PimInstance() {
  pamManager_->helloReceiverIs({});  // others may still share the packet layer
}

HelloSm& PimInstance::helloSm(const IntfId& intf) {
  const auto known = helloSm_.find(intf);
  if (known != helloSm_.end()) return known->second;
  return helloSm_
      .try_emplace(intf, pimStatus_->newPimIntf(intf), *pamManager_, wheel_, random_,
                   helloConfig(intf))
      .first->second;
}

const HelloConfig& PimInstance::helloConfig(const IntfId& intf) const {
  const auto own = helloConfig_.find(intf);
  return own == helloConfig_.end() ? config_ : own->second;
}

void PimInstance::intfIs(const IntfId& intf, const IpGenAddr& address,
                         const std::set<IpGenAddr>& secondaries, bool up) {
  const bool usable = address.af() == af_ && isUnicast(address);
  helloSm(intf).intfIs(usable ? address : IpGenAddr{}, secondaries, up);
}

void PimInstance::intfDel(const IntfId& intf) {
  const auto known = helloSm_.find(intf);
  if (known == helloSm_.end()) return;
  known->second.intfIs({}, {}, false);
  helloSm_.erase(known);
  pimStatus_->pimIntfDel(intf);
}

void PimInstance::helloConfigIs(const IntfId& intf, const HelloConfig& config) {
  helloConfig_.insert_or_assign(intf, config);
  const auto known = helloSm_.find(intf);
  if (known != helloSm_.end()) known->second.configIs(config);
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
  const auto known = helloSm_.find(intf);
  if (known != helloSm_.end()) known->second.receive(hello);
}

void PimInstance::shutdown() {
  for (auto& [intf, sm] : helloSm_) sm.goodbye();
}

}  // namespace Routing::Pim
