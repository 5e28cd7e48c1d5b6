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

NeighborTable::NeighborTable(const VrfName& vrf, PimInterface& intf, const NeighborLimits& limits,
                             TimerWheel& wheel, Lost lost)
    : vrf_(vrf), intf_(intf), limits_(limits), wheel_(wheel), lost_(std::move(lost)) {}

const std::map<IpGenAddr, IpGenAddr>& NeighborTable::listedBy() const {
  static const std::map<IpGenAddr, IpGenAddr> none;
  return listedBy_ ? *listedBy_ : none;
}

NeighborTable::Lives::const_iterator NeighborTable::placeOf(const IpGenAddr& neighbor) const {
  return std::ranges::lower_bound(lives_, neighbor, {},
                                  [](const auto& life) { return life->address; });
}

NeighborTable::Liveness* NeighborTable::find(const IpGenAddr& neighbor) const {
  const auto place = placeOf(neighbor);
  return place != lives_.end() && (*place)->address == neighbor ? place->get() : nullptr;
}

NeighborTable::Liveness& NeighborTable::livenessOf(const IpGenAddr& neighbor) {
  if (Liveness* const life = find(neighbor)) return *life;
  return **lives_.insert(placeOf(neighbor), std::make_unique<Liveness>(*this, neighbor));
}

// What a Hello refreshes is mostly found without a look at the collection.
const std::shared_ptr<PimNeighbor>& NeighborTable::known(const IpGenAddr& neighbor) const {
  const Liveness* const life = find(neighbor);
  const bool stands = life != nullptr && life->neighbor->parent() != nullptr;
  return stands ? life->neighbor : intf_.neighbor(neighbor);
}

NeighborTable::Heard NeighborTable::helloIs(const HelloMessage& hello) {
  const std::uint16_t holdtime = hello.holdtime().value_or(defaultHoldtime);
  Heard heard = judge(hello, holdtime);
  if (heard == Heard::refused && makeRoom()) heard = Heard::appeared;
  if (heard == Heard::goodbye) neighborDel(hello.source());
  if (heard == Heard::restarted) lost_(hello.source());
  if (heard == Heard::goodbye || heard == Heard::refused || !intf_.running()) return heard;
  const bool isNew = heard != Heard::refreshed;
  const std::shared_ptr<PimNeighbor> neighbor =
      isNew ? intf_.newNeighbor(hello.source()) : known(hello.source());
  if (isNew) neighbor->setupTimeIs(wheel_.now());
  const bool ranksOtherwise = store(neighbor, hello, holdtime);
  return ranksOtherwise && !isNew ? Heard::reranked : heard;
}

NeighborTable::Heard NeighborTable::judge(const HelloMessage& hello, std::uint16_t holdtime) const {
  if (holdtime == 0) return Heard::goodbye;
  if (const auto& neighbor = known(hello.source())) {
    return generationIdOf(*neighbor) == hello.generationId() ? Heard::refreshed : Heard::restarted;
  }
  return intf_.neighbor().size() < limits_.neighbors ? Heard::appeared : Heard::refused;
}

// Forged Hellos with a long hold time must not keep real neighbours out for good.
bool NeighborTable::makeRoom() {
  const auto oldest =
      std::ranges::min_element(lives_, {}, [](const auto& life) { return life->heard; });
  if (oldest == lives_.end() || wheel_.now() - (*oldest)->heard < silence) return false;
  const IpGenAddr address = (*oldest)->address;
  ROUTING_TRACE(helloTrace, 3, vrf_, " Neighbor ", address, " on ", intf_.intfId(),
                " gives way to a new one");
  const Lost lost = lost_;
  lost(address);
  return intf_.neighbor().size() < limits_.neighbors;
}

bool NeighborTable::store(const std::shared_ptr<PimNeighbor>& neighbor, const HelloMessage& hello,
                          std::uint16_t holdtime) {
  const auto rank = [&] {
    return std::pair(neighbor->drPriorityPresent(), neighbor->drPriority());
  };
  const auto before = rank();
  optionsAre(*neighbor, hello);
  secondariesAre(*neighbor, hello.addressList());
  holdIs(neighbor, holdtime);
  return rank() != before;
}

void NeighborTable::holdIs(const std::shared_ptr<PimNeighbor>& neighbor, std::uint16_t holdtime) {
  if (neighbor->parent() == nullptr) return;  // a reactor has deleted it
  const double expiry = holdtime == holdForever ? never : wheel_.now() + holdtime;
  Liveness& life = livenessOf(neighbor->address());
  if (life.neighbor != neighbor) life.neighbor = neighbor;
  life.timer.expiryIs(expiry);
  life.heard = wheel_.now();
  neighbor->holdtimeIs(holdtime);
  neighbor->expiryTimeIs(expiry);
}

void NeighborTable::secondariesAre(PimNeighbor& neighbor, const std::vector<IpGenAddr>& list) {
  if (list.empty() && neighbor.secondaryAddress().empty()) return;
  std::set<IpGenAddr> wanted;
  for (const IpGenAddr& address : list) {
    if (address == neighbor.address() || intf_.hasAddress(address)) continue;
    if (wanted.size() == limits_.secondaryAddresses) {
      ROUTING_TRACE(helloTrace, 3, vrf_, " Ignoring the secondary addresses of ",
                    neighbor.address(), " on ", intf_.intfId(), " beyond ", wanted.size());
      break;
    }
    wanted.insert(address);
  }
  const std::set<IpGenAddr> before = neighbor.secondaryAddress();
  for (const IpGenAddr& address : before) {
    if (wanted.contains(address)) continue;
    unlist(address);
    neighbor.secondaryAddressDel(address);
  }
  for (const IpGenAddr& address : wanted) claim(neighbor, address);
}

void NeighborTable::claim(PimNeighbor& neighbor, const IpGenAddr& address) {
  const auto holder = listedBy().find(address);
  const auto other = holder == listedBy().end() ? nullptr : intf_.neighbor(holder->second);
  if (other && other.get() != &neighbor) {
    ROUTING_TRACE(helloTrace, 3, vrf_, " Secondary address ", address, " of ", other->address(),
                  " on ", intf_.intfId(), " is now claimed by ", neighbor.address());
    other->secondaryAddressDel(address);
  }
  if (neighbor.parent() == nullptr) return;
  if (!listedBy_) listedBy_ = std::make_unique<std::map<IpGenAddr, IpGenAddr>>();
  listedBy_->insert_or_assign(address, neighbor.address());
  neighbor.secondaryAddressIs(address, true);
}

void NeighborTable::unlist(const IpGenAddr& address) {
  if (listedBy_) listedBy_->erase(address);
}

// Whoever is told may delete the table.
void NeighborTable::handleExpiry(const IpGenAddr& address) {
  ROUTING_TRACE(helloTrace, 4, vrf_, " Neighbor ", address, " on ", intf_.intfId(), " expired");
  const Lost lost = lost_;
  lost(address);
}

void NeighborTable::neighborDel(IpGenAddr address) {
  const auto neighbor = intf_.neighbor(address);
  if (!neighbor) return;
  for (const IpGenAddr& secondary : neighbor->secondaryAddress()) unlist(secondary);
  const auto place = placeOf(address);
  if (place != lives_.end() && (*place)->address == address) lives_.erase(place);
  intf_.neighborDel(address);
}

void NeighborTable::neighborDelAll() {
  listedBy_.reset();
  lives_.clear();
  intf_.neighborDelAll();
}

}  // namespace Routing::Pim
