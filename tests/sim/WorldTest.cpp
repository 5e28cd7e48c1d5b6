#include <gtest/gtest.h>

#include "sim/core/Random.h"
#include "sim/core/World.h"

namespace Routing::Sim {
namespace {

using enum AddressFamily;

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
  const IpGenAddr far = Topology::loopback(3, ipv4);
  routes.ownerIs(far, {3, true, 0});
  Liveness liveness = allUp(ring);
  routes.livenessIs(liveness);
  EXPECT_EQ(routes.hops(0, far).size(), 2U);
  ASSERT_EQ(routes.hops(1, far).size(), 1U);
  EXPECT_EQ(routes.hops(1, far)[0].router, 2U);
  EXPECT_TRUE(routes.hops(3, far).empty()) << "its own address";
  EXPECT_TRUE(routes.hops(0, Topology::loopback(9, ipv4)).empty()) << "nobody's address";
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
  const IpGenAddr onLan = Topology::onNetwork(0, 0, ipv4);
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

}  // namespace
}  // namespace Routing::Sim
