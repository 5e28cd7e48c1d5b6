#include "agent/kernel/InterfaceTable.h"

#include <algorithm>
#include <utility>

namespace Routing::Agent {
namespace {
constexpr std::uint32_t smallestIpv6Mtu = 1280;  // RFC 8200 section 5
}  // namespace

void InterfaceTable::touch(const Device& device) {
  touched_.insert(IntfId(device.link.value.name));
}

void InterfaceTable::forgetName(const std::string& name, std::uint32_t index) {
  const IntfId intf(name);
  touched_.insert(intf);
  // Another device may bear the name by now.
  if (const auto it = indexOf_.find(intf); it != indexOf_.end() && it->second == index) {
    indexOf_.erase(it);
  }
}

void InterfaceTable::touchSlaves(std::uint32_t master) {
  for (const auto& [index, device] : devices_) {
    if (device.link.value.master == master) touch(device);
  }
}

void InterfaceTable::linkIs(const Link& link) {
  const auto [it, added] = devices_.try_emplace(link.index, Device{{link}, {}, 0});
  Device& device = it->second;
  const Link before = std::exchange(device.link.value, link);
  device.link.fresh = true;
  // Even a device that has not changed may have lost its name for a while to one that has gone.
  const auto [named, unnamed] = indexOf_.try_emplace(IntfId(link.name), link.index);
  const bool regained = unnamed || std::exchange(named->second, link.index) != link.index;
  if (!added && !regained && before == link) return;
  if (before.mtu >= smallestIpv6Mtu && link.mtu < smallestIpv6Mtu) ++device.mtuDips;
  if (before.name != link.name) forgetName(before.name, link.index);
  touch(device);
  if (link.vrfDevice || before.vrfDevice) touchSlaves(link.index);
}

void InterfaceTable::linkDel(std::uint32_t index) {
  if (const auto it = devices_.find(index); it != devices_.end()) remove(it);
}

InterfaceTable::Devices::iterator InterfaceTable::remove(Devices::iterator device) {
  const std::uint32_t index = device->first;
  forgetName(device->second.link.value.name, index);
  const auto next = devices_.erase(device);
  touchSlaves(index);
  return next;
}

void InterfaceTable::addressIs(std::uint32_t index, const LocalAddress& address) {
  const auto device = devices_.find(index);
  if (device == devices_.end()) return;
  auto& addresses = device->second.addresses;
  const auto same = [&](const auto& held) {
    return held.value.address == address.address && held.value.prefixLength == address.prefixLength;
  };
  const auto it = std::find_if(addresses.begin(), addresses.end(), same);
  if (it == addresses.end()) {
    addresses.push_back({address});
  } else {
    it->fresh = true;
    if (it->value == address) return;
    it->value = address;
  }
  touch(device->second);
}

void InterfaceTable::addressDel(std::uint32_t index, const IpGenAddr& address,
                                unsigned prefixLength) {
  const auto device = devices_.find(index);
  if (device == devices_.end()) return;
  const auto erased = std::erase_if(device->second.addresses, [&](const auto& held) {
    return held.value.address == address && held.value.prefixLength == prefixLength;
  });
  if (erased > 0) touch(device->second);
}

void InterfaceTable::resyncStart() {
  for (auto& [index, device] : devices_) {
    device.link.fresh = false;
    for (auto& address : device.addresses) address.fresh = false;
  }
}

void InterfaceTable::resyncEnd() {
  for (auto it = devices_.begin(); it != devices_.end();) {
    if (!it->second.link.fresh) {
      it = remove(it);
      continue;
    }
    const auto stale = [](const auto& held) { return !held.fresh; };
    if (std::erase_if(it->second.addresses, stale) > 0) touch(it->second);
    ++it;
  }
}

VrfName InterfaceTable::vrfOf(const Link& link) const {
  if (link.vrfDevice) return VrfName(link.name);
  const auto master = devices_.find(link.master);
  if (master == devices_.end() || !master->second.link.value.vrfDevice) {
    return VrfName(std::string(VrfName::defaultName));
  }
  return VrfName(master->second.link.value.name);
}

bool InterfaceTable::assemble(const IntfId& name, Interface& interface) const {
  const auto index = indexOf_.find(name);
  if (index == indexOf_.end()) return false;
  const Device& device = devices_.at(index->second);
  interface.link = device.link.value;
  interface.vrf = vrfOf(interface.link);
  interface.mtuDips = device.mtuDips;
  for (const auto& address : device.addresses) interface.addresses.push_back(address.value);
  return true;
}

void InterfaceTable::commit() {
  const std::set<IntfId> touched = std::exchange(touched_, {});
  for (const IntfId& name : touched) {
    if (!indexOf_.contains(name)) publish(name);
  }
  for (const IntfId& name : touched) {
    if (indexOf_.contains(name)) publish(name);
  }
}

void InterfaceTable::publish(const IntfId& name) {
  Interface now;
  const bool exists = assemble(name, now);
  auto node = published_.extract(name);
  const bool existed = !node.empty();
  if (exists) published_[name] = now;
  if (!exists && !existed) return;
  if (exists && existed && node.mapped() == now) return;
  if (observer_) observer_(name, existed ? &node.mapped() : nullptr, exists ? &now : nullptr);
}

const Interface* InterfaceTable::interface(const IntfId& name) const {
  const auto it = published_.find(name);
  return it == published_.end() ? nullptr : &it->second;
}

IntfId InterfaceTable::nameOf(std::uint32_t index) const {
  const auto it = devices_.find(index);
  return it == devices_.end() ? IntfId() : IntfId(it->second.link.value.name);
}

namespace {

/// Whether `a` is the better Hello address, of two that both can be one.
bool better(const LocalAddress& a, const LocalAddress& b) {
  return std::pair(a.secondary, a.scope) < std::pair(b.secondary, b.scope);
}

}  // namespace

HelloAddresses helloAddresses(const Interface& interface, AddressFamily af) {
  const LocalAddress* primary = nullptr;
  HelloAddresses result;
  for (const LocalAddress& held : interface.addresses) {
    if (held.address.af() != af || held.address.isLoopback()) continue;
    result.secondary.insert(held.address);
    if (af == AddressFamily::ipv6 && !held.address.isLinkLocal()) continue;
    if (primary == nullptr || better(held, *primary)) primary = &held;
  }
  if (primary != nullptr) result.primary = primary->address;
  result.secondary.erase(result.primary);
  return result;
}

IpGenAddr sourceAddress(const Interface& interface, AddressFamily af) {
  const LocalAddress* best = nullptr;
  for (const LocalAddress& held : interface.addresses) {
    const IpGenAddr& address = held.address;
    if (address.af() != af || address.isLoopback() || address.isLinkLocal()) continue;
    if (best == nullptr || better(held, *best)) best = &held;
  }
  return interface.link.up && best != nullptr ? best->address : IpGenAddr();
}

}  // namespace Routing::Agent
