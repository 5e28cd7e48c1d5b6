#include "platform/pim/hello/HelloSm.h"

#include <algorithm>
#include <utility>

#include "platform/entity/Assertion.h"
#include "platform/pim/AddressChecks.h"
#include "platform/pim/hello/DrElection.h"
#include "platform/pim/hello/HelloTrace.h"

namespace Routing::Pim {

TraceHandle helloTrace("Pim::Hello");

namespace {

using Heard = NeighborTable::Heard;

std::string_view textOf(Heard heard) {
  switch (heard) {
    case Heard::goodbye:
      return " said goodbye";
    case Heard::appeared:
      return " appeared";
    case Heard::restarted:
      return " restarted";
    default:
      return " refreshed";
  }
}

// A restart that drew the old number would pass unnoticed.
std::uint32_t newGenerationId(RandomSource& random, std::uint32_t old) {
  const auto drawn = static_cast<std::uint32_t>(std::min(random() * 0x1p32, 0x1p32 - 1));
  return drawn == old ? drawn + 1 : drawn;
}

}  // namespace

HelloSm::HelloSm(std::shared_ptr<PimInterface> intf, std::shared_ptr<PamManager> packets,
                 TimerWheel& wheel, std::shared_ptr<RandomSource> random, const HelloConfig& config)
    : intf_(std::move(intf)),
      packets_(std::move(packets)),
      random_(std::move(random)),
      config_(config),
      neighbors_(packets_->vrfName(), *intf_, config.limits, wheel,
                 [this](const IpGenAddr& neighbor) { handleLoss(neighbor); }),
      helloTimer_(wheel, [this] { handleHelloTimer(); }),
      triggeredTimer_(wheel, [this] { handleTriggeredTimer(); }) {
  ROUTING_ASSERT(config.helloPeriod > 0);
  ROUTING_ASSERT(config.holdtime > 0);
  intf_->drPriorityIs(config.drPriority);
  intf_->helloPassiveIs(config.passive);
}

void HelloSm::intfIs(const IpGenAddr& address, const std::set<IpGenAddr>& secondaries, bool up) {
  const bool runs = up && !address.isUnset();
  const bool stays = intf_->running() && runs && intf_->address() == address;
  if (!stays) goodbye();
  intf_->addressIs(address);
  const bool listChanged = secondariesAre(secondaries);
  intf_->upIs(up);
  if (!runs) neighbors_.neighborDelAll();
  if (runs && !stays) start();
  if (stays && listChanged) helloAtOnce();
  elect();
}

bool HelloSm::secondariesAre(const std::set<IpGenAddr>& secondaries) {
  const IpGenAddr& primary = intf_->address();
  const auto valid = [&](const IpGenAddr& address) {
    return isUnicast(address) && address.af() == primary.af() && address != primary;
  };
  const std::set<IpGenAddr> before = intf_->secondaryAddress();
  for (const IpGenAddr& address : before) {
    if (!valid(address) || !secondaries.contains(address)) intf_->secondaryAddressDel(address);
  }
  for (const IpGenAddr& address : secondaries) {
    if (valid(address)) intf_->secondaryAddressIs(address, true);
  }
  return intf_->secondaryAddress() != before;
}

void HelloSm::start() {
  neighbors_.neighborDel(intf_->address());  // its address is now ours
  if (config_.passive) return;
  intf_->generationIdIs(newGenerationId(*random_, intf_->generationId()));
  helloTimer_.expiryInIs((*random_)() * config_.firstDelay);
}

void HelloSm::configIs(const HelloConfig& config) {
  if (config == config_) return;
  const auto self = weak_from_this().lock();
  const bool turns = config.passive != config_.passive;
  config_ = config;
  intf_->drPriorityIs(config.drPriority);
  if (turns) passiveIs(config.passive);
  dropFiltered();
  elect();
  if (sending() && !turns) handleHelloTimer();
}

void HelloSm::dropFiltered() {
  std::vector<IpGenAddr> filtered;
  for (const auto& [address, neighbor] : intf_->neighbor()) {
    if (!config_.permits(address)) filtered.push_back(address);
  }
  for (const IpGenAddr& address : filtered) neighbors_.neighborDel(address);
}

bool HelloSm::forgetNeighbor(const IpGenAddr& neighbor) {
  if (!intf_->neighbor(neighbor)) return false;
  handleLoss(neighbor);
  return true;
}

void HelloSm::passiveIs(bool passive) {
  stopTimers();
  intf_->helloPassiveIs(passive);
  if (intf_->running()) start();
}

void HelloSm::forgetNeighbors() {
  if (!intf_->running()) return;
  const auto self = weak_from_this().lock();
  neighbors_.neighborDelAll();
  elect();
  if (!sending()) return;
  intf_->generationIdIs(newGenerationId(*random_, intf_->generationId()));
  helloAtOnce();
}

void HelloSm::receive(const HelloMessage& hello) {
  if (!intf_->running()) return refuse(hello, DropCode::interfaceDown);
  if (hello.source() == intf_->address()) return handleOwnSpeaker(hello);
  const bool permitted = neighbors_.known(hello.source()) || config_.permits(hello.source());
  if (!permitted) return refuse(hello, DropCode::neighborFilter);
  const Heard heard = neighbors_.helloIs(hello);
  if (heard == Heard::refused) return refuse(hello, DropCode::tooManyNeighbors);
  const bool stays = heard == Heard::refreshed || heard == Heard::reranked;
  ROUTING_TRACE(helloTrace, stays ? 8 : 4, packets_->vrfName(), " Neighbor ", hello.source(),
                " on ", intf_->intfId(), textOf(heard), ": ", hello);
  if (heard != Heard::refreshed) elect();
  if (heard == Heard::appeared || heard == Heard::restarted) triggeredHelloIsDue();
}

// What the other program of this router announces is what the neighbours elect by.
void HelloSm::handleOwnSpeaker(const HelloMessage& hello) {
  intf_->drPriorityIs(hello.drPriority().value_or(config_.drPriority));
  intf_->generationIdIs(hello.generationId().value_or(0));
  elect();
}

void HelloSm::handleLoss(const IpGenAddr& neighbor) {
  const auto self = weak_from_this().lock();
  neighbors_.neighborDel(neighbor);
  elect();
}

void HelloSm::refuse(const HelloMessage& hello, DropCode code) {
  packets_->helloRefused(intf_->intfId(), hello.source(), code);
  ROUTING_TRACE(helloTrace, 1, packets_->vrfName(), " RX - Dropping Hello from ", hello.source(),
                " on ", intf_->intfId(), ": ", enumName(code));
}

void HelloSm::triggeredHelloIsDue() {
  if (triggeredTimer_.armed() || !(sending() || config_.passive)) return;
  const double part = config_.passive ? 1 : (*random_)();
  triggeredTimer_.expiryInIs(part * config_.triggeredDelay);
  intf_->triggeredHelloDueIs(true);
}

bool HelloSm::goodbye() {
  const bool wasSending = sending();
  stopTimers();
  return wasSending && packets_->sendHello(intf_, hello(0));
}

void HelloSm::stopTimers() {
  helloTimer_.expiryIs(never);
  triggeredTimer_.expiryIs(never);
  intf_->triggeredHelloDueIs(false);
}

void HelloSm::helloAtOnce() {
  if (sending()) sendHello();
}

void HelloSm::handleHelloTimer() {
  helloTimer_.expiryInIs(config_.helloPeriod);
  sendHello();
}

void HelloSm::handleTriggeredTimer() {
  if (!config_.passive) return sendHello();
  const auto self = weak_from_this().lock();
  intf_->triggeredHelloDueIs(false);
  intf_->triggeredHelloSentInc();
}

void HelloSm::sendHello() {
  const auto self = weak_from_this().lock();
  const bool sent = packets_->sendHello(intf_, hello(config_.holdtime));
  ROUTING_TRACE(helloTrace, sent ? 8 : 3, packets_->vrfName(), " Hello on ", intf_->intfId(),
                sent ? " sent" : " could not be sent");
  if (!sent || !intf_->triggeredHelloDue() || triggeredTimer_.armed()) return;
  intf_->triggeredHelloDueIs(false);
  intf_->triggeredHelloSentInc();
}

HelloMessage HelloSm::hello(std::uint16_t holdtime) const {
  const auto& secondaries = intf_->secondaryAddress();
  HelloMessage hello;
  hello.holdtimeIs(holdtime);
  hello.lanPruneDelayIs(LanPruneDelay{false, config_.propagationDelay, config_.overrideInterval});
  hello.drPriorityIs(intf_->drPriority());
  hello.generationIdIs(intf_->generationId());
  hello.addressListIs({secondaries.begin(), secondaries.end()});
  return hello;
}

void HelloSm::elect() {
  const IpGenAddr dr = electDr(*intf_);
  const bool isDr = !dr.isUnset() && dr == intf_->address();
  if (dr != intf_->usedDr()) {
    ROUTING_TRACE(helloTrace, 4, packets_->vrfName(), " DR on ", intf_->intfId(), " changes from ",
                  intf_->usedDr(), " to ", dr, isDr ? " (this router)" : "");
  }
  intf_->drIs(dr, isDr);
}

}  // namespace Routing::Pim
