#include "sim/core/World.h"

#include <exception>
#include <utility>

#include "sim/core/Configs.h"

namespace Routing::Sim {

/// What the families of one router share.
struct World::Node {
  std::shared_ptr<Pim::AllIntfStatusDir> dir = std::make_shared<Pim::AllIntfStatusDir>();
  std::unique_ptr<Agent::DaemonConfig> config;      // while it is down
  std::unique_ptr<Agent::ConfigEntities> entities;  // while it is up, what is configured included
  bool keptStatus = false;
};

namespace {

constexpr std::string_view chance = "loss";
constexpr std::uint8_t unicastTtl = 64;
constexpr unsigned mostEventsAtOnce = 1'000'000;

double drawOrigin(Random& random) {
  return 1000.0 + static_cast<double>(random.below(1'000'000));
}

}  // namespace

World::World(const Topology& topology, const WorldOptions& options)
    : topology_(topology),
      options_(options),
      random_(options.seed),
      origin_(drawOrigin(random_)),
      clock_(origin_),
      wheel_(clock_),
      routes_(topology_),
      isTouched_(topology_.routers().size()) {
  liveness_.router.assign(topology_.routers().size(), false);
  liveness_.network.assign(topology_.networks().size(), true);
  for (RouterId id = 0; id < topology_.routers().size(); ++id) {
    auto& node = nodes_.emplace_back(std::make_unique<Node>());
    node->config =
        std::make_unique<Agent::DaemonConfig>(onAllNetworks({}, topology_, id, options_.families));
    for (const NetworkId network : topology_.router(id).networks) {
      const auto intf = node->dir->newIntfStatus(topology_.network(network).intfOf(id));
      intf->mtuIs(topology_.network(network).mtu);
      intf->upIs(true);
    }
    for (const AddressFamily af : options_.families) {
      speakers_.push_back(std::make_unique<Speaker>(*this, id, af));
      speakers_.back()->handleConfig();
    }
  }
  routes_.livenessIs(liveness_);
}

World::~World() = default;

const Pace& World::pace() const {
  if (!pace_) {
    pace_.emplace();
    for (const auto& speaker : speakers_) pace_->slowerOf(paceOf(speaker->duties()));
  }
  return *pace_;
}

const Impairment& World::impairment(NetworkId network) const {
  const auto changed = impairments_.empty() ? impairments_.end() : impairments_.find(network);
  return changed == impairments_.end() ? topology_.network(network).impairment : changed->second;
}

const Agent::DaemonConfig& World::config(RouterId router) const {
  const Node& node = *nodes_[router];
  return node.config ? *node.config : node.entities->written();
}

bool World::keptStatus(RouterId router) const {
  return nodes_[router]->keptStatus;
}

std::vector<std::uint32_t> World::parts(
    const std::function<bool(RouterId, NetworkId)>& usable) const {
  constexpr std::uint32_t none = UINT32_MAX;
  std::vector<std::uint32_t> part(topology_.routers().size(), none);
  std::vector<RouterId> reached;
  for (RouterId start = 0; start < part.size(); ++start) {
    if (part[start] != none) continue;
    part[start] = start;
    if (!liveness_.router[start]) continue;
    reached.assign(1, start);
    for (std::size_t i = 0; i < reached.size(); ++i) {
      for (const NetworkId network : topology_.router(reached[i]).networks) {
        if (!liveness_.network[network] || !usable(reached[i], network)) continue;
        for (const RouterId next : topology_.network(network).members) {
          if (part[next] != none || !liveness_.router[next] || !usable(next, network)) continue;
          part[next] = start;
          reached.push_back(next);
        }
      }
    }
  }
  return part;
}

// --- time -------------------------------------------------------------------------------------

void World::at(double time, std::function<void()> action) {
  actions_.emplace(origin_ + time, std::move(action));
}

double World::nextInstant() const {
  const double action = actions_.empty() ? never : actions_.begin()->first;
  return std::min({action, queue_.nextInstant(), wheel_.nextExpiry()});
}

void World::runUntil(double time) {
  const double end = origin_ + time;
  unsigned atOnce = 0;
  for (double instant = nextInstant(); !stopped_ && instant <= end; instant = nextInstant()) {
    atOnce = instant > clock_.now() ? 0 : atOnce + 1;
    if (atOnce > mostEventsAtOnce) {
      for (WorldObserver* observer : observers_) observer->broken("time stands still");
      return stop();
    }
    clock_.nowIs(instant);
    runEvent(instant);
    settle();
  }
  if (!stopped_) clock_.nowIs(end);
}

// Nothing that the library meets may end in an error; where it does, the run is over.
void World::runEvent(double instant) try {
  ++events_;
  if (!actions_.empty() && actions_.begin()->first <= instant) {
    auto action = actions_.extract(actions_.begin());
    action.mapped()();
  } else if (queue_.nextInstant() <= instant) {
    arrive(queue_.take());
  } else {
    wheel_.fireDue();
  }
} catch (const std::exception& error) {
  for (WorldObserver* observer : observers_) observer->broken(error.what());
  stop();
}

void World::touch(RouterId router) {
  if (isTouched_[router]) return;
  isTouched_[router] = true;
  touched_.push_back(router);
}

void World::settle() {
  for (WorldObserver* observer : observers_) observer->settled(touched_);
  for (const RouterId router : touched_) {
    isTouched_[router] = false;
    for (const auto& speaker : speakersOf(router)) speaker->settled();
  }
  touched_.clear();
}

void World::disturbed(const std::string& what) {
  lastDisturbance_ = now();
  for (WorldObserver* observer : observers_) observer->disturbed(what);
}

// --- packets ----------------------------------------------------------------------------------

bool World::send(RouterId router, AddressFamily af, const Pim::TransmitPacket& sent) {
  Packet packet;
  packet.af = af;
  packet.sender = router;
  packet.source = sent.source;
  packet.destination = sent.destination;
  packet.payload = payloads_.of(sent.payload);
  if (sent.intf.isUnset()) {
    packet.ttl = unicastTtl;
    return sendUnicast(router, std::move(packet));
  }
  const auto network = speaker(router, af).networkOn(sent.intf);
  if (!network || !liveness_.attached(router, *network)) return false;
  packet.network = *network;
  transmit(std::move(packet));
  return true;
}

bool World::sendUnicast(RouterId router, Packet packet) {
  const auto& hops = routes_.hops(router, packet.destination);
  if (hops.empty() || !liveness_.attached(router, hops.front().network)) return false;
  packet.sender = router;
  packet.network = hops.front().network;
  packet.nextHop = hops.front().router;
  transmit(std::move(packet));
  return true;
}

void World::transmit(Packet packet) {
  packet.number = ++packets_;
  packet.sentAt = now();
  const auto shared = std::make_shared<const Packet>(std::move(packet));
  for (WorldObserver* observer : observers_) observer->transmitted(*shared);
  for (const RouterId to : topology_.network(shared->network).members) {
    if (to == shared->sender || (shared->nextHop && *shared->nextHop != to)) continue;
    launch(shared, to);
  }
}

void World::launch(const std::shared_ptr<const Packet>& packet, RouterId to) {
  const Impairment& way = impairment(packet->network);
  const unsigned copies = 1 + random_.chance(way.duplicate);
  for (unsigned copy = 0; copy < copies; ++copy) {
    if (random_.chance(way.loss)) {
      lose(*packet, to, chance);
      continue;
    }
    double delay = way.delay;
    if (way.jitter > 0) delay += way.jitter * random_.uniform();
    if (random_.chance(way.reorder)) delay += way.reorderDelay * random_.uniform();
    queue_.add(clock_.now() + delay, to, packet);
  }
}

void World::lose(const Packet& packet, RouterId to, std::string_view why) {
  // Other losses follow from a change that has been noted already.
  if (why == chance) lastDisturbance_ = now();
  for (WorldObserver* observer : observers_) observer->lost(packet, to, why);
}

void World::arrive(const Arrival& arrival) {
  const Packet& packet = *arrival.packet;
  const RouterId to = arrival.to;
  if (!liveness_.attached(to, packet.network)) return lose(packet, to, "down");
  for (WorldObserver* observer : observers_) observer->delivering(packet, to);
  Speaker& receiver = speaker(to, packet.af);
  if (!packet.nextHop || receiver.owns(packet.destination)) return receiver.receive(packet);
  if (packet.ttl <= 1) return lose(packet, to, "ttl");
  Packet onward = packet;
  --onward.ttl;
  if (!sendUnicast(to, std::move(onward))) lose(packet, to, "no-route");
}

// --- what can be done to a network ------------------------------------------------------------

// Unicast routing notices a change a little later.
void World::reroute(const std::function<void()>& change) {
  if (options_.convergence <= 0) return change();
  at(now() + options_.convergence, change);
}

void World::livenessChanged() {
  reroute([this] { routes_.livenessIs(liveness_); });
}

void World::addressMoved(RouterId router, const IpGenAddr& from, const IpGenAddr& to) {
  reroute([this, router, from, to] {
    const auto* old = routes_.owner(from);
    if (old != nullptr && old->router == router) routes_.ownerDel(from);
    if (!to.isUnset()) routes_.ownerIs(to, {router, true, 0});
  });
}

void World::start(RouterId router, Memory memory) {
  if (up(router)) return;
  Node& node = *nodes_[router];
  node.keptStatus = memory == Memory::kept && speakersOf(router).front()->startedAt() > 0;
  disturbed(topology_.router(router).name + " starts" +
            (node.keptStatus ? ", its status kept" : ""));
  liveness_.router[router] = true;
  livenessChanged();
  touch(router);
  node.entities = std::make_unique<Agent::ConfigEntities>();
  node.entities->configIs(*node.config);
  node.config.reset();
  for (const auto& speaker : speakersOf(router)) {
    if (memory == Memory::lost) speaker->forget();
    speaker->start(node.dir, *node.entities);
  }
}

void World::crash(RouterId router) {
  if (!up(router)) return;
  disturbed(topology_.router(router).name + " dies");
  keepConfig(router);
  end(router);
}

void World::shutdown(RouterId router) {
  if (!up(router)) return;
  disturbed(topology_.router(router).name + " shuts down");
  keepConfig(router);
  nodes_[router]->entities->withdraw();  // who is elected says so once more, with priority 0
  for (const auto& speaker : speakersOf(router)) speaker->pim()->shutdown();
  end(router);
}

void World::keepConfig(RouterId router) {
  Node& node = *nodes_[router];
  node.config = std::make_unique<Agent::DaemonConfig>(node.entities->written());
}

void World::end(RouterId router) {
  for (const auto& speaker : speakersOf(router)) speaker->halt();
  nodes_[router]->entities.reset();
  liveness_.router[router] = false;
  livenessChanged();
  touch(router);
}

void World::networkIs(NetworkId network, bool up) {
  if (liveness_.network[network] == up) return;
  const NetworkPlan& plan = topology_.network(network);
  disturbed(plan.name + (up ? " comes up" : " goes down"));
  liveness_.network[network] = up;
  ++networkChanges_;
  livenessChanged();
  for (const RouterId member : plan.members) {
    touch(member);
    nodes_[member]->dir->newIntfStatus(plan.intfOf(member))->upIs(up);
    for (const auto& speaker : speakersOf(member)) speaker->networkIs(network, up);
  }
}

void World::impairmentIs(NetworkId network, const Impairment& impairment) {
  if (this->impairment(network) == impairment) return;
  impairments_[network] = impairment;
  ++networkChanges_;
  disturbed(topology_.network(network).name + " loses " +
            std::to_string(static_cast<int>(impairment.loss * 100)) + "% of the packets");
}

void World::configIs(RouterId router, Agent::DaemonConfig config) {
  touch(router);
  disturbed(topology_.router(router).name + " is configured anew");
  Node& node = *nodes_[router];
  config = inFamilies(std::move(config), options_.families);
  node.entities ? node.entities->configIs(config) : void(*node.config = std::move(config));
  for (const auto& speaker : speakersOf(router)) speaker->handleConfig();
}

void World::addressIs(RouterId router, AddressFamily af, const IntfId& intf,
                      const IpGenAddr& address) {
  touch(router);
  const std::string& name = topology_.router(router).name;
  disturbed(name + (address.isUnset() ? " loses its address on " : " has another address on ") +
            intf.text() + (address.isUnset() ? "" : ": " + address.text()));
  speaker(router, af).addressIs(intf, address);
}

}  // namespace Routing::Sim
