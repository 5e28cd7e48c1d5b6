#include "sim/core/Speaker.h"

#include <algorithm>
#include <utility>

#include "sim/core/Digest.h"
#include "sim/core/StatusWriter.h"
#include "sim/core/World.h"

namespace Routing::Sim {
namespace {

const VrfName& vrf() {
  static const VrfName name{std::string(VrfName::defaultName)};
  return name;
}

/// As the daemon has it: the first Hello comes at once, so that neighbours prime a newcomer soon.
Pim::HelloConfig helloConfig() {
  Pim::HelloConfig config;
  config.firstDelay = 0.5;
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
      loopback_(Topology::loopback(router, af)),
      limits_(std::make_shared<Pim::Bsr::PimBsrLimits>()),
      localRoutes_(std::make_shared<Pim::PimUcastRouteStatus>(af)) {
  forget();
  publishAddresses();
}

Speaker::~Speaker() = default;

void Speaker::newStatus() {
  status_ = std::make_shared<Pim::Bsr::Status>(vrf());
  status_->afIs(af_);
  const auto counters = status_->countersIs("counters");
  view_ = std::make_shared<Pim::RpCandidateStatus>(vrf());
  statusChanges_ =
      status_->treeReactor([this, counters = counters.get()](const TreeChange& change) {
        if (&change.entity != counters) world_.touch(router_);
      });
  viewChanges_ = view_->treeReactor([this](const TreeChange&) { world_.touch(router_); });
}

void Speaker::forget() {
  newStatus();
  statusIs(*status_, config_, world_.topology(), loopback_);
}

IpGenAddr Speaker::globalAddress(NetworkId network) const {
  const auto& members = world_.topology().network(network).members;
  const auto place = std::find(members.begin(), members.end(), router_) - members.begin();
  return Topology::onNetwork(network, static_cast<std::size_t>(place), af_);
}

// Who has which address is known to the routing of everyone and to the forwarding table here.
void Speaker::publishAddresses() {
  const auto tell = [&](const IpGenAddr& address, const UnicastRoutes::Owner& owner) {
    world_.routes().ownerIs(address, owner);
    localRoutes_->routeIs(IpGenPrefix::host(address), {Pim::ForwardingKind::local});
  };
  tell(loopback_, {router_, true, 0});
  for (const NetworkId network : world_.topology().router(router_).networks) {
    tell(globalAddress(network), {router_, false, network});
  }
}

void Speaker::loopbackIs(const IpGenAddr& address) {
  const IpGenAddr before = std::exchange(loopback_, address);
  localRoutes_->routeDel(IpGenPrefix::host(before));
  localRoutes_->routeIs(IpGenPrefix::host(address), {Pim::ForwardingKind::local});
  world_.loopbackMoved(router_, before, address);
  configIs(config_);
}

void Speaker::configIs(const RouterConfig& config) {
  config_ = config;
  statusIs(*status_, config_, world_.topology(), loopback_);
}

void Speaker::start(const std::shared_ptr<const Pim::AllIntfStatusDir>& dir) {
  startedAt_ = world_.instant();
  const RandomSource random = [this] { return random_.uniform(); };
  pim_ = std::make_unique<Pim::PimInstance>(vrf(), af_, *this, *this, world_.wheel(), random,
                                            helloConfig());
  Pim::Bsr::BsrInputs inputs{status_, pim_->pimStatus(), pim_->pamManager(), localRoutes_, dir,
                             view_,   limits_,           &world_.wheel()};
  inputs.policy = world_.policy();
  inputs.random = random;
  bsr_ = std::make_unique<Pim::Bsr::BsrInstance>(inputs);
  for (const NetworkId network : world_.topology().router(router_).networks) {
    networkIs(network, world_.liveness().network[network]);
  }
}

void Speaker::halt() {
  bsr_.reset();
  pim_.reset();
}

void Speaker::networkIs(NetworkId network, bool up) {
  if (!pim_) return;
  const IpGenAddr global = globalAddress(network);
  const IntfId intf(world_.topology().network(network).name);
  if (af_ == AddressFamily::ipv4) {
    pim_->intfIs(intf, global, {}, up);
  } else {
    pim_->intfIs(intf, Topology::linkLocal(router_), {global}, up);
  }
}

bool Speaker::owns(const IpGenAddr& address) const {
  return address == loopback_ || localRoutes_->trie().route(IpGenPrefix::host(address));
}

void Speaker::receive(const Packet& packet) {
  if (!pim_) return;
  const IntfId intf(world_.topology().network(packet.network).name);
  pim_->receive({intf, packet.source, packet.destination, *packet.payload});
}

bool Speaker::send(const Pim::TransmitPacket& packet) {
  return world_.send(router_, af_, packet);
}

std::vector<Pim::NextHop> Speaker::nextHops(const IpGenAddr& address) const {
  std::vector<Pim::NextHop> result;
  for (const Hop& hop : world_.routes().hops(router_, address)) {
    IpGenAddr gateway;
    if (!hop.direct) {
      const auto& members = world_.topology().network(hop.network).members;
      const auto place = std::find(members.begin(), members.end(), hop.router) - members.begin();
      gateway = af_ == AddressFamily::ipv4
                    ? Topology::onNetwork(hop.network, static_cast<std::size_t>(place), af_)
                    : Topology::linkLocal(hop.router);
    }
    result.push_back({IntfId(world_.topology().network(hop.network).name), gateway});
  }
  return result;
}

}  // namespace Routing::Sim
