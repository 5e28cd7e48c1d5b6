#include "agent/Router.h"

#include <spdlog/spdlog.h>

#include <random>
#include <system_error>

namespace Routing::Agent {
namespace {

std::set<IntfId> intfSet(const std::vector<std::string>& names) {
  std::set<IntfId> result;
  for (const std::string& name : names) result.insert(IntfId(name));
  return result;
}

RandomSource newRandomSource() {
  const auto engine = std::make_shared<std::mt19937_64>(std::random_device{}());
  return [engine] { return std::uniform_real_distribution<double>(0, 1)(*engine); };
}

/// What an interface is to a VRF: null unless it is in it.
const Interface* inVrf(const Interface* interface, const VrfName& vrf) {
  return interface != nullptr && interface->vrf == vrf ? interface : nullptr;
}

}  // namespace

Router::Router(EventLoop& loop, const Options& options, std::function<void()> synchronised)
    : loop_(loop),
      options_(options.instance),
      families_(options.families),
      pimIntfs_(intfSet(options.interfaces)),
      startTime_(loop.clock().now()),
      random_(newRandomSource()),
      dir_(std::make_shared<Pim::AllIntfStatusDir>()),
      routeChanges_(loop, [this] { flushRoutes(); }),
      monitor_(loop, interfaces_, std::move(synchronised)) {}

Router::~Router() = default;

void Router::start() {
  const VrfName vrf{std::string(VrfName::defaultName)};
  for (const AddressFamily af : families_) newHost(vrf, af);
  for (const auto& [intf, interface] : interfaces_.interfaces()) {
    handleIntf(intf, nullptr, &interface);
  }
  interfaces_.observerIs([this](const IntfId& intf, const Interface* before, const Interface* now) {
    handleIntf(intf, before, now);
  });
  warnOfAbsent();
}

void Router::newHost(const VrfName& vrf, AddressFamily af) {
  const HostBase base{loop_, interfaces_, routeQuery_, dir_, random_};
  try {
    hosts_.try_emplace({vrf, af}, base, vrf, af, options_);
  } catch (const std::system_error& error) {
    // A host without IPv6 is no reason not to serve IPv4, as long as nobody asked for IPv6 alone.
    if (error.code() != std::errc::address_family_not_supported || families_.size() == 1) throw;
    spdlog::warn("this host does not have {}", af == AddressFamily::ipv4 ? "IPv4" : "IPv6");
  }
}

void Router::shutdown() {
  for (auto& [key, host] : hosts_) host.shutdown();
}

std::vector<InstanceView> Router::instances() const {
  std::vector<InstanceView> views;
  for (const auto& [key, host] : hosts_) views.push_back(host.view());
  return views;
}

void Router::handleIntf(const IntfId& intf, const Interface* before, const Interface* now) {
  flushRoutes();
  if (now != nullptr) updateDir(intf, now);
  for (auto& [key, host] : hosts_) {
    const Interface* was = inVrf(before, key.first);
    const Interface* is = inVrf(now, key.first);
    if (was != nullptr || is != nullptr) host.intfChanged(intf, was, is, pimIntfs_.contains(intf));
  }
  if (now == nullptr) updateDir(intf, now);
}

void Router::updateDir(const IntfId& intf, const Interface* now) {
  if (now == nullptr) return dir_->intfStatusDel(intf);
  const auto status = dir_->newIntfStatus(intf);
  status->mtuIs(now->link.mtu);
  status->upIs(now->link.up);
}

void Router::flushRoutes() {
  for (auto& [key, host] : hosts_) host.flushRoutes();
}

void Router::warnOfAbsent() const {
  for (const IntfId& intf : pimIntfs_) {
    if (interfaces_.interface(intf) == nullptr) {
      spdlog::warn("interface {} does not exist yet", intf.text());
    }
  }
}

}  // namespace Routing::Agent
