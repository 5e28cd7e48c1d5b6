#include <gtest/gtest.h>

#include <algorithm>

#include "sim/core/Beliefs.h"
#include "sim/core/Random.h"
#include "sim/core/World.h"

namespace Routing::Sim {
namespace {

constexpr auto v4 = AddressFamily::ipv4;

// The numbers are those of the published generator, so that every build draws the same.
TEST(Random, DrawsTheSameNumbersEverywhere) {
  Random random(0);
  EXPECT_EQ(random.next(), 0x99ec5f36cb75f2b4U);
  EXPECT_EQ(random.next(), 0xbf6e1f784956452aU);
  double sum = 0;
  for (int i = 0; i < 100'000; ++i) {
    const double drawn = random.uniform();
    ASSERT_GE(drawn, 0.0);
    ASSERT_LT(drawn, 1.0);
    sum += drawn;
  }
  EXPECT_NEAR(sum / 100'000, 0.5, 0.01);
}

Liveness allUp(const Topology& topology) {
  return {std::vector<bool>(topology.routers().size(), true),
          std::vector<bool>(topology.networks().size(), true)};
}

TEST(UnicastRoutes, TakesEveryShortestWay) {
  Topology ring;
  ring.addRing(6);
  UnicastRoutes routes(ring);
  const IpGenAddr far = Topology::loopback(3, v4);
  routes.ownerIs(far, {3, true, 0});
  Liveness liveness = allUp(ring);
  routes.livenessIs(liveness);
  EXPECT_EQ(routes.hops(0, far).size(), 2U);
  ASSERT_EQ(routes.hops(1, far).size(), 1U);
  EXPECT_EQ(routes.hops(1, far)[0].router, 2U);
  EXPECT_TRUE(routes.hops(3, far).empty()) << "its own address";
  EXPECT_TRUE(routes.hops(0, Topology::loopback(9, v4)).empty()) << "nobody's address";
  liveness.network[*ring.networkNamed("r2-r3")] = false;
  routes.livenessIs(liveness);
  ASSERT_EQ(routes.hops(1, far).size(), 1U);
  EXPECT_EQ(routes.hops(1, far)[0].router, 0U) << "the long way round";
  liveness.router[4] = false;
  routes.livenessIs(liveness);
  EXPECT_TRUE(routes.hops(1, far).empty()) << "cut off";
}

TEST(UnicastRoutes, AnAddressOnALanIsReachedThroughTheNearestRouterThere) {
  Topology topology;
  topology.addLan(3);
  const RouterId far = topology.newRouter("far");
  topology.newLink(2, far);
  UnicastRoutes routes(topology);
  const IpGenAddr onLan = Topology::onNetwork(0, 0, v4);
  routes.ownerIs(onLan, {0, false, 0});
  routes.livenessIs(allUp(topology));
  ASSERT_EQ(routes.hops(1, onLan).size(), 1U);
  EXPECT_TRUE(routes.hops(1, onLan)[0].direct);
  ASSERT_EQ(routes.hops(far, onLan).size(), 1U);
  EXPECT_EQ(routes.hops(far, onLan)[0].router, 2U);
}

/// Counts what becomes of packets.
class Tally final : public WorldObserver {
 public:
  explicit Tally(World& world) : world_(world) { world.observerIs(*this); }
  void transmitted(const Packet&) override { ++sent; }
  void delivering(const Packet& packet, RouterId) override {
    ++delivered;
    early += world_.now() < packet.sentAt + 0.0099;
    unicastHops += packet.nextHop.has_value();
  }
  void lost(const Packet&, RouterId, std::string_view) override { ++lostOnes; }

  unsigned sent = 0, delivered = 0, early = 0, unicastHops = 0, lostOnes = 0;

 private:
  const World& world_;
};

TEST(World, LosesAndRepeatsAsMuchAsItIsTold) {
  Topology lan;
  Impairment bad;
  bad.delay = 0.01;
  bad.loss = 0.25;
  bad.duplicate = 0.5;
  lan.addLan(10, bad);
  World world(lan, {});
  Tally tally(world);
  for (RouterId id = 0; id < 10; ++id) world.start(id, World::Memory::kept);
  world.runUntil(3000);
  EXPECT_GT(tally.sent, 900U);
  EXPECT_EQ(tally.early, 0U);
  const double copies = tally.sent * 9 * 1.5;
  EXPECT_NEAR(tally.delivered / copies, 0.75, 0.02);
  EXPECT_NEAR(tally.lostOnes / copies, 0.25, 0.02);
}

TEST(World, AdvertisementsTravelHopByHop) {
  Topology line;
  line.addLine(5);
  World world(line, {});
  const IpGenPrefix all = IpGenPrefix::multicast(v4);
  RouterConfig bsr;
  bsr.candidateBsrs.push_back({all, {}, 64, 30, 60});
  RouterConfig rp;
  rp.candidateRps.push_back({{}, {{all, 192}}, 60, false});
  world.speaker(0, v4).configIs(bsr);
  world.speaker(4, v4).configIs(rp);
  for (RouterId id = 0; id < 5; ++id) world.start(id, World::Memory::kept);
  Tally tally(world);
  world.runUntil(200);
  EXPECT_GT(tally.unicastHops, 0U);
  EXPECT_EQ(tally.unicastHops % 4, 0U) << "four hops each";
  EXPECT_NE(world.speaker(0, v4).view()->crpSet(all), nullptr);
}

TEST(World, APartitionHasParts) {
  Topology line;
  line.addLine(4);
  World world(line, {});
  for (RouterId id = 0; id < 4; ++id) world.start(id, World::Memory::kept);
  world.networkIs(1, false);
  const auto parts = world.parts([](RouterId, NetworkId) { return true; });
  EXPECT_EQ(parts[0], parts[1]);
  EXPECT_EQ(parts[2], parts[3]);
  EXPECT_NE(parts[1], parts[2]);
}

TEST(Beliefs, FollowStartAndDeath) {
  Topology line;
  line.addLine(2);
  World world(line, {});
  const IpGenPrefix all = IpGenPrefix::multicast(v4);
  RouterConfig bsr;
  bsr.candidateBsrs.push_back({all, {}, 64, 30, 60});
  world.speaker(0, v4).configIs(bsr);
  Beliefs beliefs(world);
  std::vector<RouterId> changed;
  beliefs.listenerIs([&](RouterId id, AddressFamily, const Belief&) { changed.push_back(id); });
  for (RouterId id = 0; id < 2; ++id) {
    world.at(0, [&world, id] { world.start(id, World::Memory::kept); });
  }
  world.runUntil(100);
  ASSERT_NE(beliefs.of(1, v4).zone(all), nullptr);
  EXPECT_EQ(beliefs.of(1, v4).zone(all)->bsr, Topology::loopback(0, v4));
  EXPECT_TRUE(beliefs.of(0, v4).zone(all)->elected);
  world.at(101, [&] { world.crash(0); });
  world.runUntil(102);
  EXPECT_TRUE(beliefs.of(0, v4).zones.empty());
  EXPECT_FALSE(beliefs.of(1, v4).zones.empty());
  world.runUntil(300);
  EXPECT_TRUE(beliefs.of(1, v4).zones.empty());
  EXPECT_EQ(changed.back(), 1U);
}

}  // namespace
}  // namespace Routing::Sim
