#include "agent/router/InstanceTable.h"

#include <spdlog/spdlog.h>

#include <optional>
#include <system_error>

namespace Routing::Agent {
namespace {

bool isDefault(const VrfName& vrf) {
  return vrf.text() == VrfName::defaultName;
}

/// The index of a VRF's device, 0 for the default VRF; none if the VRF is not there.
std::optional<std::uint32_t> vrfDevice(const InterfaceTable& interfaces, const VrfName& vrf) {
  if (isDefault(vrf)) return 0;
  const Interface* device = interfaces.interface(IntfId(vrf.text()));
  if (device == nullptr || !device->link.vrfDevice) return std::nullopt;
  return device->link.index;
}

/// What an interface is to a VRF: null unless it is in it.
const Interface* inVrf(const Interface* interface, const VrfName& vrf) {
  return interface != nullptr && interface->vrf == vrf ? interface : nullptr;
}

const char* nameOf(AddressFamily af) {
  return af == AddressFamily::ipv4 ? "IPv4" : "IPv6";
}

}  // namespace

void InstanceTable::handleConfig() {
  update();
  for (auto& [key, instance] : instances_) instance.host.handleConfig();
}

void InstanceTable::update() {
  std::vector<Key> gone;
  for (const auto& [key, instance] : instances_) {
    if (!isWanted(key, instance)) gone.push_back(key);
  }
  for (const Key& key : gone) stop(key);
  for (const auto& [key, entities] : surroundings_.entities.families()) {
    const auto device = vrfDevice(surroundings_.interfaces, key.first);
    if (device && !instances_.contains(key)) start(key, *device);
  }
}

bool InstanceTable::isWanted(const Key& key, const Instance& instance) const {
  return surroundings_.entities.families().contains(key) &&
         vrfDevice(surroundings_.interfaces, key.first) == instance.vrfDevice;
}

void InstanceTable::start(const Key& key, std::uint32_t vrfDevice) try {
  instances_.try_emplace(key, surroundings_, key, vrfDevice);
  ++changes_;
  spdlog::info("{} runs in VRF {}", nameOf(key.second), key.first.text());
} catch (const std::system_error& error) {
  // Such as a host without IPv6, or a VRF that went just now.
  spdlog::warn("{} does not run in VRF {}: {}", nameOf(key.second), key.first.text(), error.what());
}

void InstanceTable::stop(const Key& key) {
  const auto instance = instances_.find(key);
  instance->second.host.shutdown();
  instances_.erase(instance);
  ++changes_;
  surroundings_.upgrade.forget(key.first, key.second);
  spdlog::info("{} runs no longer in VRF {}", nameOf(key.second), key.first.text());
}

void InstanceTable::handleIntf(const IntfId& intf, const Interface* before, const Interface* now) {
  for (auto& [key, instance] : instances_) {
    const Interface* was = inVrf(before, key.first);
    const Interface* is = inVrf(now, key.first);
    if (was != nullptr || is != nullptr) instance.host.handleIntf(intf, was, is);
  }
  update();
}

void InstanceTable::flushRoutes() {
  for (auto& [key, instance] : instances_) instance.host.flushRoutes();
}

void InstanceTable::settle() {
  for (auto& [key, instance] : instances_) instance.host.settle();
}

std::size_t InstanceTable::clear(const ClearOrder& order) {
  const auto instance = instances_.find({order.vrf, order.af});
  return instance == instances_.end() ? 0 : instance->second.host.clear(order);
}

void InstanceTable::shutdown() {
  for (auto& [key, instance] : instances_) instance.host.shutdown();
}

std::vector<InstanceView> InstanceTable::views() const {
  std::vector<InstanceView> views;
  for (const auto& [key, instance] : instances_) views.push_back(instance.host.view());
  return views;
}

}  // namespace Routing::Agent
