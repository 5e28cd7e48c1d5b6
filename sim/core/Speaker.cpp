#include "sim/core/Speaker.h"

#include <algorithm>
#include <utility>

#include "config/entities/HelloSettings.h"
#include "config/entities/LimitWriter.h"
#include "sim/core/Configs.h"
#include "sim/core/Digest.h"
#include "sim/core/World.h"

namespace Routing::Sim {
namespace {

constexpr double firstHelloDelay = 0.5;  // seconds

const IntfId& loopbackIntf() {
  static const IntfId intf("lo");
  return intf;
}

std::uint32_t hashOf(const IntfId& intf) {
  return static_cast<std::uint32_t>(std::hash<IntfId>{}(intf));
}

/// Hellos of an interface of which nothing is configured.
const Pim::HelloConfig& plainHellos() {
  static const Pim::HelloConfig config = [] {
    const Agent::DaemonConfig nothing;
    Agent::PermittedLists lists(nothing);
    return Agent::helloConfig({}, AddressFamily::ipv4, firstHelloDelay, lists);
  }();
  return config;
}

/// A router draws numbers of its own, so that what one draws changes nothing for the others.
std::uint64_t seedOf(const World& world, RouterId router, AddressFamily af) {
  Digest seed;
  seed.add(world.seed());
  seed.add(std::uint64_t{router});
  seed.add(static_cast<std::uint64_t>(af));
  return seed.value();
}

}  // namespace

Speaker::Speaker(World& world, RouterId router, AddressFamily af)
    : world_(world),
      router_(router),
      af_(af),
      random_(seedOf(world, router, af)),
      addresses_{{loopbackIntf(), Topology::loopback(router, af)}},
      limits_(std::make_shared<Pim::Bsr::PimBsrLimits>()),
      localRoutes_(std::make_shared<Pim::PimUcastRouteStatus>(af)) {
  for (const NetworkId network : world.topology().router(router).networks) {
    ports_.push_back({network, hashOf(intfOn(network))});
  }
  forget();
  publishAddresses();
}

Speaker::~Speaker() {
  halt();
}

void Speaker::forget() {
  status_ = Pim::Bsr::newStatus(defaultVrf(), af_);
  view_ = std::make_shared<Pim::RpCandidateStatus>(defaultVrf());
  watch();
}

void Speaker::watch() {
  statusChanges_ =
      status_->treeReactor([this, counters = status_->counters().get()](const TreeChange& change) {
        if (&change.entity != counters) changed();
      });
  viewChanges_ = view_->treeReactor([this](const TreeChange&) { changed(); });
}

void Speaker::changed() {
  world_.touch(router_);
  statusChanges_ = {};
  viewChanges_ = {};
}

void Speaker::settled() {
  if (!viewChanges_.active()) watch();
}

const Agent::FamilySettings& Speaker::settings() const {
  return settingsOf(world_.config(router_), af_);
}

// --- addresses --------------------------------------------------------------------------------

IpGenAddr Speaker::globalAddress(NetworkId network) const {
  return Topology::onNetwork(network, world_.topology().network(network).placeOf(router_), af_);
}

const IntfId& Speaker::intfOn(NetworkId network) const {
  return world_.topology().network(network).intfOf(router_);
}

Speaker::Port& Speaker::portOn(NetworkId network) {
  return *std::ranges::find(ports_, network, &Port::network);
}

std::optional<NetworkId> Speaker::networkOn(const IntfId& intf) const {
  const std::uint32_t hash = hashOf(intf);
  for (const Port& port : ports_) {
    if (port.hash == hash && intfOn(port.network) == intf) return port.network;
  }
  return std::nullopt;
}

// Who has which address is known to the routing of everyone and to the forwarding table here.
void Speaker::publishAddresses() {
  const auto tell = [&](const IpGenAddr& address, const UnicastRoutes::Owner& owner) {
    world_.routes().ownerIs(address, owner);
    localRoutes_->routeIs(IpGenPrefix::host(address), {Pim::ForwardingKind::local});
  };
  tell(loopback(), {router_, true, 0});
  for (const Port& port : ports_) {
    tell(globalAddress(port.network), {router_, false, port.network});
  }
}

IpGenAddr Speaker::address(const IntfId& intf) const {
  const auto found = addresses_.find(intf);
  return found == addresses_.end() ? IpGenAddr() : found->second;
}

IpGenAddr Speaker::loopback() const {
  return address(loopbackIntf());
}

void Speaker::addressIs(const IntfId& intf, const IpGenAddr& address) {
  const IpGenAddr before = this->address(intf);
  if (!before.isUnset()) localRoutes_->routeDel(IpGenPrefix::host(before));
  if (!address.isUnset()) {
    localRoutes_->routeIs(IpGenPrefix::host(address), {Pim::ForwardingKind::local});
  }
  address.isUnset() ? void(addresses_.erase(intf)) : void(addresses_[intf] = address);
  world_.addressMoved(router_, before, address);
  refreshDuties();
  if (!running()) return;
  address.isUnset() ? sources_->addressDel(intf) : sources_->addressIs(intf, address);
}

Duties Speaker::dutiesBy(const Agent::DaemonConfig& config) const {
  Addresses addresses = addresses_;
  for (const Port& port : ports_) {
    if (!world_.liveness().network[port.network]) continue;
    addresses[intfOn(port.network)] = globalAddress(port.network);
  }
  return dutiesOf(config, af_, addresses);
}

void Speaker::refreshDuties() {
  const Pace before = paceOf(std::exchange(duties_, dutiesBy(world_.config(router_))));
  if (paceOf(duties_) != before) world_.paceChanged();
}

bool Speaker::owns(const IpGenAddr& address) const {
  return localRoutes_->trie().route(IpGenPrefix::host(address));
}

// --- the machines -----------------------------------------------------------------------------

void Speaker::start(const std::shared_ptr<const Pim::AllIntfStatusDir>& dir,
                    const Agent::ConfigEntities& entities) {
  startedAt_ = world_.instant();
  const RandomSource random = [this] { return random_.uniform(); };
  pim_ = std::make_unique<Pim::PimInstance>(defaultVrf(), af_, *this, *this, world_.wheel(), random,
                                            plainHellos());
  sources_ = std::make_shared<SourceIntfSm>(defaultVrf());
  bsr_ = std::make_unique<Pim::Bsr::BsrInstance>(inputs(dir, entities));
  handleConfig();
  for (const auto& [intf, address] : addresses_) sources_->addressIs(intf, address);
  for (const Port& port : ports_) {
    if (!world_.liveness().network[port.network]) continue;
    sources_->addressIs(intfOn(port.network), globalAddress(port.network));
  }
  sources_->initialDumpDoneIs(true);
}

Pim::Bsr::BsrInputs Speaker::inputs(const std::shared_ptr<const Pim::AllIntfStatusDir>& dir,
                                    const Agent::ConfigEntities& entities) {
  const Agent::FamilyEntities& family = entities.families().at({defaultVrf(), af_});
  Pim::Bsr::BsrInputs inputs{status_, pim_->pimStatus(), pim_->pamManager(), localRoutes_, dir,
                             view_,   limits_,           &world_.wheel()};
  inputs.config = family.config;
  inputs.vrfIntfConfig = family.vrfIntfConfig;
  inputs.clearConfig = family.clearConfig;
  inputs.sourceIntfSm = sources_;
  inputs.ipAclConfig = entities.accessLists(af_);
  inputs.policy = world_.policy();
  inputs.random = [this] { return random_.uniform(); };
  return inputs;
}

void Speaker::halt() {
  bsr_.reset();
  pim_.reset();
  for (Port& port : ports_) port.pim = false;
  ownHellos_ = false;
}

void Speaker::handleConfig() {
  limitsAre(*limits_, world_.config(router_).limits);
  refreshDuties();
  if (!running()) return;
  Agent::PermittedLists lists(world_.config(router_));
  for (Port& port : ports_) {
    const IntfId& intf = intfOn(port.network);
    const auto interface = settings().interfaces.find(intf.text());
    const bool wanted = interface != settings().interfaces.end();
    if (wanted) helloConfigIs(intf, interface->second, lists);
    if (std::exchange(port.pim, wanted) == wanted) continue;
    wanted ? pimIntfIs(port.network, world_.liveness().network[port.network]) : pim_->intfDel(intf);
  }
}

// What is as on most interfaces is kept once.
void Speaker::helloConfigIs(const IntfId& intf, const Agent::InterfaceSettings& settings,
                            Agent::PermittedLists& lists) {
  const Pim::HelloConfig config = Agent::helloConfig(settings, af_, firstHelloDelay, lists);
  ownHellos_ = ownHellos_ || config != plainHellos();
  if (ownHellos_) pim_->helloConfigIs(intf, config);
}

// As on a real router: what a candidate has to say about its address leaves while the interfaces of
// PIM are there.
void Speaker::networkIs(NetworkId network, bool up) {
  refreshDuties();
  if (!running()) return;
  if (!up) sources_->addressDel(intfOn(network));
  if (portOn(network).pim) pimIntfIs(network, up);
  if (up) sources_->addressIs(intfOn(network), globalAddress(network));
}

void Speaker::pimIntfIs(NetworkId network, bool up) {
  const IpGenAddr global = globalAddress(network);
  if (af_ == AddressFamily::ipv4) {
    pim_->intfIs(intfOn(network), global, {}, up);
  } else {
    pim_->intfIs(intfOn(network), Topology::linkLocal(router_), {global}, up);
  }
}

// --- packets ----------------------------------------------------------------------------------

void Speaker::receive(const Packet& packet) {
  if (!pim_) return;
  pim_->receive({intfOn(packet.network), packet.source, packet.destination, *packet.payload});
}

bool Speaker::send(const Pim::TransmitPacket& packet) {
  return world_.send(router_, af_, packet);
}

std::vector<Pim::NextHop> Speaker::nextHops(const IpGenAddr& address) const {
  std::vector<Pim::NextHop> hops;
  nextHopsInto(address, hops);
  return hops;
}

void Speaker::nextHopsInto(const IpGenAddr& address, std::vector<Pim::NextHop>& hops) const {
  hops.clear();
  for (const Hop& hop : world_.routes().hops(router_, address)) {
    hops.push_back({intfOn(hop.network), gateway(hop)});
  }
}

/// Unset for who owns the address that was asked for.
IpGenAddr Speaker::gateway(const Hop& hop) const {
  if (hop.direct) return {};
  if (af_ == AddressFamily::ipv6) return Topology::linkLocal(hop.router);
  const std::size_t place = world_.topology().network(hop.network).placeOf(hop.router);
  return Topology::onNetwork(hop.network, place, af_);
}

}  // namespace Routing::Sim
