#include "platform/pim/hello/NeighborTable.h"

#include <algorithm>
#include <set>
#include <utility>

#include "platform/pim/hello/HelloTrace.h"

namespace Routing::Pim {
namespace {

std::optional<std::uint32_t> generationIdOf(const PimNeighbor& neighbor) {
  if (!neighbor.generationIdPresent()) return std::nullopt;
  return neighbor.generationId();
}

void optionsAre(PimNeighbor& neighbor, const HelloMessage& hello) {
  neighbor.drPriorityIs(hello.drPriority().value_or(1));
  neighbor.drPriorityPresentIs(hello.drPriority().has_value());
  neighbor.generationIdIs(hello.generationId().value_or(0));
  neighbor.generationIdPresentIs(hello.generationId().has_value());
  const LanPruneDelay delay = hello.lanPruneDelay().value_or(LanPruneDelay{});
  neighbor.lanPruneDelayPresentIs(hello.lanPruneDelay().has_value());
  neighbor.tBitIs(delay.tBit);
  neighbor.propagationDelayIs(delay.propagationDelay);
  neighbor.overrideIntervalIs(delay.overrideInterval);
}

}  // namespace

NeighborTable::NeighborTable(VrfName vrf, std::shared_ptr<PimInterface> intf,
                             const NeighborLimits& limits, TimerWheel& wheel, Lost lost)
    : vrf_(std::move(vrf)),
      intf_(std::move(intf)),
      limits_(limits),
      wheel_(wheel),
      lost_(std::move(lost)) {}

NeighborTable::Heard NeighborTable::helloIs(const HelloMessage& hello) {
  const std::uint16_t holdtime = hello.holdtime().value_or(defaultHoldtime);
  Heard heard = judge(hello, holdtime);
  if (heard == Heard::refused && makeRoom()) heard = Heard::appeared;
  if (heard == Heard::goodbye) neighborDel(hello.source());
  if (heard == Heard::restarted) lost_(hello.source());
  if (heard == Heard::goodbye || heard == Heard::refused || !intf_->running()) return heard;
  const auto neighbor = intf_->newNeighbor(hello.source());
  if (heard != Heard::refreshed) neighbor->setupTimeIs(wheel_.now());
  store(*neighbor, hello, holdtime);
  return heard;
}

NeighborTable::Heard NeighborTable::judge(const HelloMessage& hello, std::uint16_t holdtime) const {
  if (holdtime == 0) return Heard::goodbye;
  const auto& known = intf_->neighbor(hello.source());
  if (known) {
    return generationIdOf(*known) == hello.generationId() ? Heard::refreshed : Heard::restarted;
  }
  return intf_->neighbor().size() < limits_.neighbors ? Heard::appeared : Heard::refused;
}

// Forged Hellos with a long hold time must not keep real neighbours out for good.
bool NeighborTable::makeRoom() {
  const auto oldest = std::min_element(
      liveness_.begin(), liveness_.end(),
      [](const auto& a, const auto& b) { return a.second.heard < b.second.heard; });
  if (oldest == liveness_.end() || wheel_.now() - oldest->second.heard < silence) return false;
  ROUTING_TRACE(helloTrace, 3, vrf_, " Neighbor ", oldest->first, " on ", intf_->intfId(),
                " gives way to a new one");
  const Lost lost = lost_;
  lost(IpGenAddr(oldest->first));
  return intf_->neighbor().size() < limits_.neighbors;
}

void NeighborTable::store(PimNeighbor& neighbor, const HelloMessage& hello,
                          std::uint16_t holdtime) {
  optionsAre(neighbor, hello);
  secondariesAre(neighbor, hello.addressList());
  holdIs(neighbor, holdtime);
}

void NeighborTable::holdIs(PimNeighbor& neighbor, std::uint16_t holdtime) {
  if (neighbor.parent() == nullptr) return;  // a reactor has deleted it
  const double expiry = holdtime == holdForever ? never : wheel_.now() + holdtime;
  const auto [entry, added] = liveness_.try_emplace(
      neighbor.address(), wheel_, [this, address = neighbor.address()] { handleExpiry(address); });
  entry->second.timer.expiryIs(expiry);
  entry->second.heard = wheel_.now();
  neighbor.holdtimeIs(holdtime);
  neighbor.expiryTimeIs(expiry);
}

void NeighborTable::secondariesAre(PimNeighbor& neighbor, const std::vector<IpGenAddr>& list) {
  std::set<IpGenAddr> wanted;
  for (const IpGenAddr& address : list) {
    if (address == neighbor.address() || intf_->hasAddress(address)) continue;
    if (wanted.size() == limits_.secondaryAddresses) {
      ROUTING_TRACE(helloTrace, 3, vrf_, " Ignoring the secondary addresses of ",
                    neighbor.address(), " on ", intf_->intfId(), " beyond ", wanted.size());
      break;
    }
    wanted.insert(address);
  }
  const std::set<IpGenAddr> before = neighbor.secondaryAddress();
  for (const IpGenAddr& address : before) {
    if (wanted.contains(address)) continue;
    listedBy_.erase(address);
    neighbor.secondaryAddressDel(address);
  }
  for (const IpGenAddr& address : wanted) claim(neighbor, address);
}

void NeighborTable::claim(PimNeighbor& neighbor, const IpGenAddr& address) {
  const auto holder = listedBy_.find(address);
  const auto other = holder == listedBy_.end() ? nullptr : intf_->neighbor(holder->second);
  if (other && other.get() != &neighbor) {
    ROUTING_TRACE(helloTrace, 3, vrf_, " Secondary address ", address, " of ", other->address(),
                  " on ", intf_->intfId(), " is now claimed by ", neighbor.address());
    other->secondaryAddressDel(address);
  }
  if (neighbor.parent() == nullptr) return;
  listedBy_.insert_or_assign(address, neighbor.address());
  neighbor.secondaryAddressIs(address, true);
}

// Whoever is told may delete the table.
void NeighborTable::handleExpiry(const IpGenAddr& address) {
  ROUTING_TRACE(helloTrace, 4, vrf_, " Neighbor ", address, " on ", intf_->intfId(), " expired");
  const Lost lost = lost_;
  lost(address);
}

void NeighborTable::neighborDel(IpGenAddr address) {
  const auto neighbor = intf_->neighbor(address);
  if (!neighbor) return;
  for (const IpGenAddr& secondary : neighbor->secondaryAddress()) listedBy_.erase(secondary);
  liveness_.erase(address);
  intf_->neighborDel(address);
}

void NeighborTable::neighborDelAll() {
  listedBy_.clear();
  liveness_.clear();
  intf_->neighborDelAll();
}

}  // namespace Routing::Pim
