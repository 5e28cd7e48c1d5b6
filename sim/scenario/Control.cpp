#include "sim/scenario/Control.h"

namespace Routing::Sim {

Control::Control(World& world)
    : world_(world),
      routers_(world.topology().routers().size()),
      networks_(world.topology().networks().size()) {
  for (NetworkId id = 0; id < networks_.size(); ++id) {
    networks_[id].base = world.topology().network(id).impairment;
  }
}

void Control::start(RouterId router, World::Memory memory) {
  routers_[router].wanted = true;
  if (!routers_[router].faulty) world_.start(router, memory);
}

void Control::crash(RouterId router) {
  routers_[router].wanted = false;
  world_.crash(router);
}

void Control::shutdown(RouterId router) {
  routers_[router].wanted = false;
  world_.shutdown(router);
}

void Control::drain(RouterId router, bool bsr, bool rp) {
  for (const AddressFamily af : world_.families()) {
    RouterConfig config = world_.speaker(router, af).config();
    routers_[router].undrained.try_emplace(af, config);
    if (bsr) config.candidateBsrs.clear();
    if (rp) config.candidateRps.clear();
    world_.configIs(router, af, config);
  }
}

void Control::undrain(RouterId router) {
  for (const auto& [af, before] : routers_[router].undrained) {
    RouterConfig config = world_.speaker(router, af).config();
    config.candidateBsrs = before.candidateBsrs;
    config.candidateRps = before.candidateRps;
    world_.configIs(router, af, config);
  }
  routers_[router].undrained.clear();
}

void Control::networkIs(NetworkId network, bool up) {
  networks_[network].wanted = up;
  apply(network);
}

void Control::impairmentIs(NetworkId network, const Impairment& impairment) {
  networks_[network].base = impairment;
  apply(network);
}

void Control::faultRouterIs(RouterId router, bool down, World::Memory memory) {
  routers_[router].faulty = down;
  if (down) {
    world_.crash(router);
  } else if (routers_[router].wanted) {
    world_.start(router, memory);
  }
}

void Control::faultNetworkIs(NetworkId network, bool down) {
  networks_[network].faulty = down;
  apply(network);
}

void Control::faultImpairmentIs(NetworkId network, const std::optional<Impairment>& impairment) {
  networks_[network].fault = impairment;
  apply(network);
}

void Control::apply(NetworkId network) {
  const NetworkState& state = networks_[network];
  world_.networkIs(network, state.wanted && !state.faulty);
  world_.impairmentIs(network, state.fault.value_or(state.base));
}

}  // namespace Routing::Sim
