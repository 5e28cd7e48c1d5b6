#include "agent/router/Router.h"

#include <random>
#include <stdexcept>

#include "agent/router/InterfaceWarnings.h"

namespace Routing::Agent {
namespace {

RandomSource newRandomSource() {
  const auto engine = std::make_shared<std::mt19937_64>(std::random_device{}());
  return [engine] { return std::uniform_real_distribution<double>(0, 1)(*engine); };
}

}  // namespace

Router::Router(EventLoop& loop, const TimeoutOverrides& timeouts,
               std::function<void()> synchronised)
    : loop_(loop),
      startTime_(loop.clock().now()),
      dir_(std::make_shared<Pim::AllIntfStatusDir>()),
      state_(loop.clock()),
      journal_(loop.clock()),
      instances_({loop, interfaces_, routeQuery_, entities_, upgrade_, state_, dir_,
                  newRandomSource(), timeouts,
                  [this](const Event& event) {
                    journal_.write(event);
                    eventFeed_.tell(event);
                  }}),
      routeChanges_(loop, [this] { instances_.flushRoutes(); }),
      monitor_(loop, interfaces_, std::move(synchronised)) {}

Router::~Router() {
  loop_.onTurnEnd([] {});
}

// What the instances of the start do not take up is nobody's.
void Router::start() {
  if (const auto directory = stateDirectoryOf(config())) state_.open(*directory);
  for (const auto& [intf, interface] : interfaces_.interfaces()) updateDir(intf, &interface);
  instances_.handleConfig();
  requireDefaultVrf();
  state_.dropOthers();
  loop_.onTurnEnd([this] {
    instances_.settle();
    settled_();
  });
  started_ = true;
  interfaces_.observerIs([this](const IntfId& intf, const Interface* before, const Interface* now) {
    handleIntf(intf, before, now);
  });
  warnOfAbsent(config_, interfaces_);
}

void Router::requireDefaultVrf() const {
  const VrfName vrf{std::string(VrfName::defaultName)};
  const auto wanted = config().vrfs.find(vrf);
  if (wanted == config().vrfs.end() || wanted->second.empty()) return;
  for (const InstanceView& instance : instances()) {
    if (instance.vrf == vrf) return;
  }
  throw std::runtime_error("no family can run in the default VRF");
}

void Router::configIs(const DaemonConfig& config) {
  const bool changed = config != config_;
  config_ = config;
  drain_.end();
  updateEntities();
  if (started_ && changed) warnOfAbsent(config_, interfaces_);
}

void Router::drain(const Candidacies& kinds) {
  drain_.add(kinds, instances());
  updateEntities();
}

void Router::undrain() {
  drain_.end();
  updateEntities();
}

void Router::updateEntities() {
  const DaemonConfig left = without(drain_.drained(), config_);
  if (left == entities_.written()) return;
  entities_.configIs(left);
  if (started_) instances_.handleConfig();
}

void Router::shutdown() {
  if (upgrade_.prepared()) return;
  entities_.withdraw();
  instances_.shutdown();
}

AddressedInterfaces Router::addressedInterfaces() const {
  AddressedInterfaces addressed;
  for (const auto& [intf, interface] : interfaces_.interfaces()) {
    for (const AddressFamily af : {AddressFamily::ipv4, AddressFamily::ipv6}) {
      if (!sourceAddress(interface, af).isUnset()) addressed.emplace(intf.text(), af);
    }
  }
  return addressed;
}

void Router::handleIntf(const IntfId& intf, const Interface* before, const Interface* now) {
  instances_.flushRoutes();
  if (started_ && before != nullptr && now != nullptr) warnOfChange(config_, *before, *now);
  if (now != nullptr) updateDir(intf, now);
  instances_.handleIntf(intf, before, now);
  if (now == nullptr) updateDir(intf, now);
}

void Router::updateDir(const IntfId& intf, const Interface* now) {
  if (now == nullptr) return dir_->intfStatusDel(intf);
  const auto status = dir_->newIntfStatus(intf);
  status->mtuIs(now->link.mtu);
  status->upIs(now->link.up);
}

}  // namespace Routing::Agent
