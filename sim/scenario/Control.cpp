#include "sim/scenario/Control.h"

#include <utility>

#include "sim/core/Configs.h"

namespace Routing::Sim {

Control::Control(World& world, std::vector<RouterFile> files)
    : world_(world), files_(std::move(files)), routers_(world.topology().routers().size()) {}

Control::NetworkState& Control::stateOf(NetworkId network) {
  const auto [at, added] = networks_.try_emplace(network);
  if (added) at->second.base = world_.impairment(network);
  return at->second;
}

void Control::start(RouterId router, World::Memory memory) {
  routers_[router].wanted = true;
  if (!routers_[router].faulty) world_.start(router, memory);
}

void Control::crash(RouterId router) {
  routers_[router].wanted = false;
  world_.crash(router);
  undrain(router);
}

void Control::shutdown(RouterId router) {
  routers_[router].wanted = false;
  world_.shutdown(router);
  undrain(router);
}

void Control::edit(const ConfigEdit& edit) {
  for (const RouterId router : edit.routers) {
    files_.at(router).take(edit.pieces);
    configIs(router,
             onAllNetworks(files_[router].config(), world_.topology(), router, world_.families()));
  }
}

void Control::configIs(RouterId router, const Agent::DaemonConfig& config) {
  routers_[router].drained = {};
  undrained_.erase(router);
  world_.configIs(router, config);
}

void Control::drain(RouterId router, const Agent::Candidacies& kinds) {
  RouterState& state = routers_[router];
  if (state.drained.none()) undrained_[router] = world_.config(router);
  state.drained.bsr |= kinds.bsr;
  state.drained.rp |= kinds.rp;
  world_.configIs(router, without(state.drained, undrained_.at(router)));
}

void Control::undrain(RouterId router) {
  if (routers_[router].drained.none()) return;
  const Agent::DaemonConfig config = std::move(undrained_.at(router));
  configIs(router, config);
}

void Control::addressIs(const AddressEdit& edit) {
  world_.addressIs(edit.router, edit.af, edit.intf, edit.address);
}

void Control::networkIs(NetworkId network, bool up) {
  stateOf(network).wanted = up;
  apply(network);
}

void Control::impairmentIs(NetworkId network, const Impairment& impairment) {
  stateOf(network).base = impairment;
  apply(network);
}

void Control::faultRouterIs(RouterId router, bool down, World::Memory memory) {
  routers_[router].faulty = down;
  if (down) {
    world_.crash(router);
    undrain(router);
  } else if (routers_[router].wanted) {
    world_.start(router, memory);
  }
}

void Control::faultNetworkIs(NetworkId network, bool down) {
  stateOf(network).faulty = down;
  apply(network);
}

void Control::faultImpairmentIs(NetworkId network, const std::optional<Impairment>& impairment) {
  stateOf(network).fault = impairment;
  apply(network);
}

void Control::apply(NetworkId network) {
  const NetworkState& state = stateOf(network);
  world_.networkIs(network, state.wanted && !state.faulty);
  world_.impairmentIs(network, state.fault.value_or(state.base));
}

}  // namespace Routing::Sim
