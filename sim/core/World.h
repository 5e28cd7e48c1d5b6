#pragma once

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/time/Clock.h"
#include "platform/time/TimerWheel.h"
#include "sim/core/PacketQueue.h"
#include "sim/core/PayloadStore.h"
#include "sim/core/Random.h"
#include "sim/core/Speaker.h"
#include "sim/core/Topology.h"
#include "sim/core/UnicastRoutes.h"
#include "sim/core/WorldObserver.h"

namespace Routing::Sim {

struct WorldOptions {
  std::uint64_t seed = 1;
  std::vector<AddressFamily> families{AddressFamily::ipv4};
  double convergence = 0.2;  ///< seconds that unicast routing lags behind a failure
  Pim::Bsr::BsrPolicy policy = Pim::Bsr::BsrPolicy::continuous();  ///< of every router
};

/// A network of routers in virtual time. All chance comes from one seed: the same seed gives the
/// same run to the octet. Times are seconds since the start of the run, unless they are called
/// instants, which are those of the clock (it starts at an origin that the seed decides).
///
/// One event is one packet that arrives, one action, or one turn of the timer wheel; at the same
/// instant they come in this order: actions, packets, timers. A packet never arrives inside the
/// call that sent it.
class World {
 public:
  /// The topology must outlive it.
  World(const Topology& topology, const WorldOptions& options);
  World(const World&) = delete;
  World& operator=(const World&) = delete;
  ~World();

  const Topology& topology() const { return topology_; }
  const std::vector<AddressFamily>& families() const { return options_.families; }
  std::uint64_t seed() const { return options_.seed; }
  double convergence() const { return options_.convergence; }
  const Pim::Bsr::BsrPolicy& policy() const { return options_.policy; }
  TimerWheel& wheel() { return wheel_; }
  const TimerWheel& wheel() const { return wheel_; }
  Random& random() { return random_; }
  UnicastRoutes& routes() { return routes_; }
  const Liveness& liveness() const { return liveness_; }
  /// How a network treats packets at present.
  const Impairment& impairment(NetworkId network) const;
  /// Which routers can reach each other over the interfaces that are usable; the same number in one
  /// connected part.
  std::vector<std::uint32_t> parts(const std::function<bool(RouterId, NetworkId)>& usable) const;

  /// The family must be one of families().
  const Speaker& speaker(RouterId router, AddressFamily af) const {
    return *speakers_[router * options_.families.size() + placeOf(af)];
  }
  Speaker& speaker(RouterId router, AddressFamily af) {
    return const_cast<Speaker&>(std::as_const(*this).speaker(router, af));
  }
  bool up(RouterId router) const { return liveness_.router[router]; }
  /// Whether the router's last start found the status that it had left.
  bool keptStatus(RouterId router) const;
  /// What is configured on a router, in every family of the network. At first PIM runs on all its
  /// interfaces by default, and it is no candidate.
  const Agent::DaemonConfig& config(RouterId router) const;
  /// The slowest timers of all routers' duties.
  const Pace& pace() const;

  double instant() const { return clock_.now(); }
  double now() const { return clock_.now() - origin_; }
  double origin() const { return origin_; }
  std::uint64_t events() const { return events_; }
  std::uint64_t packets() const { return packets_; }
  /// Bootstrap and advertisement messages on their way.
  std::size_t messagesInFlight() const { return queue_.messages(); }
  std::size_t inFlight() const { return queue_.size(); }
  /// Time of the last change or failure, or of a packet lost by chance.
  double lastDisturbance() const { return lastDisturbance_; }
  /// How often carriers and impairments of networks have changed.
  std::uint64_t networkChanges() const { return networkChanges_; }

  /// Observers are called in the order in which they came and must outlive the world's runs.
  void observerIs(WorldObserver& observer) { observers_.push_back(&observer); }
  /// Runs something at a time.
  void at(double time, std::function<void()> action);
  /// Runs all events up to and including a time and leaves the clock there.
  void runUntil(double time);
  /// Ends runUntil() after the present event.
  void stop() { stopped_ = true; }
  bool stopped() const { return stopped_; }

  // What can be done to a network. Each counts as a disturbance.
  enum class Memory { kept, lost };
  /// Starts a router; `lost` with an empty status.
  void start(RouterId router, Memory memory);
  /// Ends a router without a word.
  void crash(RouterId router);
  /// Ends a router that withdraws its candidacies and says goodbye to its neighbours first.
  void shutdown(RouterId router);
  /// The carrier of a network comes or goes.
  void networkIs(NetworkId network, bool up);
  void impairmentIs(NetworkId network, const Impairment& impairment);
  /// Configures a router as a reload does; judge() must find no error in the configuration. Of its
  /// VRFs the default one counts; a family that it leaves out runs on no interface.
  void configIs(RouterId router, Agent::DaemonConfig config);
  /// An interface that leads to no network, such as "lo", gets an address, in place of another one
  /// of the family; unset: it loses it.
  void addressIs(RouterId router, AddressFamily af, const IntfId& intf, const IpGenAddr& address);

  /// For speakers: sends a packet of a router; false if it cannot leave.
  bool send(RouterId router, AddressFamily af, const Pim::TransmitPacket& packet);
  /// For speakers: the address that leads to the router is another one now; unset: none.
  void addressMoved(RouterId router, const IpGenAddr& from, const IpGenAddr& to);
  /// For speakers: the timers of the router's duties are other ones now.
  void paceChanged() { pace_.reset(); }
  /// For speakers: the state of the router changes in the present event.
  void touch(RouterId router);

 private:
  struct Node;

  std::size_t placeOf(AddressFamily af) const {
    for (std::size_t place = 0; place < options_.families.size(); ++place) {
      if (options_.families[place] == af) return place;
    }
    throw std::out_of_range("the routers do not speak this address family");
  }
  std::span<const std::unique_ptr<Speaker>> speakersOf(RouterId router) const {
    const std::size_t families = options_.families.size();
    return std::span(speakers_).subspan(router * families, families);
  }
  void disturbed(const std::string& what);
  void settle();
  void runEvent(double instant);
  void reroute(const std::function<void()>& change);
  void livenessChanged();
  void keepConfig(RouterId router);
  void end(RouterId router);
  void arrive(const Arrival& arrival);
  bool sendUnicast(RouterId router, Packet packet);
  void transmit(Packet packet);
  void launch(const std::shared_ptr<const Packet>& packet, RouterId to);
  void lose(const Packet& packet, RouterId to, std::string_view why);
  double nextInstant() const;

  const Topology& topology_;
  const WorldOptions options_;
  Random random_;
  const double origin_;
  VirtualClock clock_;
  TimerWheel wheel_;
  Liveness liveness_;
  std::unordered_map<NetworkId, Impairment> impairments_;  // where it is not what was planned
  UnicastRoutes routes_;
  std::multimap<double, std::function<void()>> actions_;  // by instant
  PayloadStore payloads_;
  PacketQueue queue_;
  std::vector<WorldObserver*> observers_;
  std::vector<RouterId> touched_;
  std::vector<bool> isTouched_;
  std::uint64_t events_ = 0;
  std::uint64_t packets_ = 0;
  double lastDisturbance_ = 0.0;
  std::uint64_t networkChanges_ = 0;
  mutable std::optional<Pace> pace_;  // until it changes
  bool stopped_ = false;
  std::vector<std::unique_ptr<Node>> nodes_;
  std::vector<std::unique_ptr<Speaker>> speakers_;  // by router, then by place of the family; die
                                                    // first: what is in them uses all of the above
};

}  // namespace Routing::Sim
