#include <gtest/gtest.h>

#include <string>

#include "tests/bsr/NeighborFixture.h"
#include "tests/support/BsrInvariants.h"

// Priming new neighbours with No-Forward messages (RFC 5059 section 3.5): who does it, with what.

namespace Routing::Pim::Bsr {
namespace {

using namespace TestKit;

const IpGenAddr us = addr("10.0.0.1"), other = addr("10.0.0.2");

struct NewNeighborTest : NeighborFixture {
  NewNeighborTest() { linkIs("eth1"); }
  void hear(const BootstrapMessage& message) {
    NeighborFixture::hear(message);
    static_cast<void>(router.sentBsms());
  }
  /// What a triggered Hello on an interface sets off: "INTF MESSAGE".
  Lines primed(const char* intf = "eth1") {
    router.triggeredHello(intf);
    Lines lines;
    for (const auto& each : router.sentBsms())
      lines.push_back(each.intf + " " + bsmText(*each.bsm));
    return lines;
  }
  void drIs(const IpGenAddr& dr, const char* intf = "eth1") {
    router.link(intf).drIs(dr, dr == us);
  }
  bool wasDr(const char* intf = "eth1") { return router.engine().wasDr(IntfId(intf)); }

  const Lines message{"eth1 10.9.9.9 64 30 tag * no-forward 225.0.0.0/8 0 1/1(10.1.1.1 150 0)"};
  const Bsm bsm = Bsm("10.9.9.9").group("225.0.0.0/8", {{"10.1.1.1"}});
};

// --- who --------------------------------------------------------------------------------------

TEST_F(NewNeighborTest, TheDesignatedRouterPrimesEveryNewNeighbour) {
  hear(bsm);
  drIs(us);
  EXPECT_EQ(primed(), message);
  EXPECT_EQ(primed(), message) << "and the next one";
  expectTraced({"8 Send No Forward BSM since we are DR  on interface eth1"});
  EXPECT_EQ(primed("eth0"), Lines{}) << "not where another router is the DR";
}

TEST_F(NewNeighborTest, WhoCeasedToBeTheDesignatedRouterPrimesOnce) {
  hear(bsm);
  drIs(us);
  drIs(other);
  EXPECT_TRUE(wasDr());
  EXPECT_EQ(primed(), message);
  EXPECT_FALSE(wasDr());
  EXPECT_EQ(primed(), Lines{});
  for (const IpGenAddr& dr : {us, other, us}) drIs(dr);
  EXPECT_EQ(primed(), message) << "as both";
  EXPECT_FALSE(wasDr());
  expectTraced({"8 We are no longer DR on interface eth1",
                "8 Send No Forward BSM since we were DR  on interface eth1",
                "8 Send No Forward BSM since we were DR we are DR  on interface eth1"});
}

TEST_F(NewNeighborTest, WhoNeverWasTheDesignatedRouterPrimesNobody) {
  hear(bsm);
  EXPECT_EQ(primed(), Lines{});
  drIs(other);
  drIs(addr("10.0.0.3"));
  EXPECT_FALSE(wasDr()) << "one of others for another of others";
  EXPECT_EQ(primed(), Lines{});
}

TEST_F(NewNeighborTest, AForwardedMessageMakesPrimingNeedless) {
  hear(bsm);
  for (const char* intf : {"eth0", "eth1"}) {
    drIs(us, intf);
    drIs(other, intf);
  }
  router.borderIs("224.0.0.0/4", "eth1");
  hear(bsm);  // forwarded on eth0 only
  EXPECT_FALSE(wasDr("eth0"));
  EXPECT_TRUE(wasDr("eth1"));
}

TEST_F(NewNeighborTest, AnInterfaceMadeAnewRemembersNothing) {
  hear(bsm);
  drIs(us);
  drIs(other);
  router.pim.pimStatus()->pimIntfDel(IntfId("eth1"));
  EXPECT_FALSE(wasDr());
  linkIs("eth1");
  EXPECT_EQ(primed(), Lines{});
  drIs(us);
  EXPECT_EQ(primed(), message) << "and is watched all the same";
}

TEST_F(NewNeighborTest, NobodyIsPrimedWithoutAnAddressFamily) {
  hear(bsm);
  drIs(us);
  router.status->afIs(AddressFamily::unset);
  EXPECT_EQ(primed(), Lines{});
  drIs(other);
  EXPECT_FALSE(wasDr());
}

// --- with what --------------------------------------------------------------------------------

TEST_F(NewNeighborTest, EveryZonesLastMessageIsSentFollowedZonesFirst) {
  drIs(us);
  EXPECT_EQ(primed(), Lines{}) << "no zone at all";
  router.candidateBsrIs("224.0.0.0/4", "10.0.0.1", 10);
  EXPECT_EQ(primed(), Lines{});
  expectTraced({"8 No last BSM available to send triggered BSM"});
  world.runUntil(20);  // elected
  hear(Bsm("10.9.9.9").zone("239.2.0.0/16"));
  hear(Bsm("10.9.9.9").zone("239.1.0.0/16"));
  EXPECT_EQ(primed(), (Lines{"eth1 10.9.9.9 64 30 tag * no-forward 239.1.0.0/16 1 0/0()",
                             "eth1 10.9.9.9 64 30 tag * no-forward 239.2.0.0/16 1 0/0()",
                             "eth1 10.0.0.1 10 30 tag * no-forward"}));
}

TEST_F(NewNeighborTest, AMessageThatCameInFragmentsIsSentWhole) {
  drIs(us);
  hear(Bsm("10.9.9.9").tag(7).piece("225.0.0.0/8", 3, {{"10.1.1.1"}, {"10.2.2.2"}}));
  hear(Bsm("10.9.9.9")
           .tag(7)
           .piece("225.0.0.0/8", 3, {{"10.3.3.3"}})
           .group("226.0.0.0/8", {{"10.4.4.4"}}));
  const Lines whole{
      "eth1 10.9.9.9 64 30 tag * no-forward 225.0.0.0/8 0 3/3(10.1.1.1 150 0, 10.2.2.2 150 0, "
      "10.3.3.3 150 0) 226.0.0.0/8 0 1/1(10.4.4.4 150 0)"};
  EXPECT_EQ(primed(), whole);
  router.mtuIs("eth1", 80);
  EXPECT_EQ(primed(),
            (Lines{"eth1 10.9.9.9 64 30 tag * no-forward 226.0.0.0/8 0 1/1(10.4.4.4 150 0)",
                   "eth1 10.9.9.9 64 30 tag * no-forward 225.0.0.0/8 0 2/3(10.1.1.1 150 0, "
                   "10.2.2.2 150 0)",
                   "eth1 10.9.9.9 64 30 tag * no-forward 225.0.0.0/8 0 1/3(10.3.3.3 150 0)"}));
}

// --- with real Hellos -------------------------------------------------------------------------

// old (10.0.0.1) knows the BSR; young (10.0.0.2) starts later on the link between them and becomes
// its designated router. Both wait 2.5 s before they say Hello.
TEST(NewNeighbor, ARouterThatStartsLearnsTheRpSetWhenItsNeighbourSaysHello) {
  VirtualWorld world;
  PimLan lan(world.wheel);
  BsrRouter old(AddressFamily::ipv4, world.wheel), young(AddressFamily::ipv4, world.wheel);
  old.linkIs("up", "10.7.7.1");
  old.neighborIs("up", "10.7.7.2");
  old.routeIs("10.9.9.9", "up", "10.7.7.2");
  old.connect("eth0", lan);
  old.mtuIs("eth0", 1500);
  old.intfIs("eth0", "10.0.0.1");
  world.runUntil(1000);
  old.hear("up", "10.7.7.2", Bsm("10.9.9.9").group("225.0.0.0/8", {{"10.1.1.1"}}));
  young.connect("eth0", lan);
  young.mtuIs("eth0", 1500);
  world.runUntil(1010);
  young.stop();
  young.start();
  young.intfIs("eth0", "10.0.0.2");
  world.runUntil(justBefore(1015));
  EXPECT_EQ(young.bsrOf("224.0.0.0/4"), "none");
  world.runUntil(1015);
  EXPECT_EQ(young.bsrOf("224.0.0.0/4"), "10.9.9.9 64 30");
  EXPECT_EQ(young.rpSetOf("224.0.0.0/4"), (Lines{"225.0.0.0/8 10.1.1.1 150 0"}));
  EXPECT_EQ(young.pimRps(), old.pimRps());
  EXPECT_EQ(young.counters().rxBsm(), 1U);
  EXPECT_EQ(old.counters().rxBsm(), 1U) << "nobody sends it on";
  EXPECT_EQ(TestKit::bsrFault(old) + TestKit::bsrFault(young), "");
}

}  // namespace
}  // namespace Routing::Pim::Bsr
