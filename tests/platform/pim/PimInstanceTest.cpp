#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/pim/PimCodec.h"
#include "platform/pim/PimInstance.h"
#include "tests/support/PimLan.h"

// Routers on one link:   a .1   b .2   c .3
//                          |      |      |
//                        --+------+------+--   eth0, 10.0.0.0/24 or fe80::/64

namespace Routing::Pim {
namespace {

using Lines = std::vector<std::string>;
using TestKit::addr;
using TestKit::hex;
using TestKit::PimRouter;

const IntfId eth0("eth0");

struct PimInstanceTest : ::testing::Test {
  void goTo(double instant) { world.runUntil(instant); }
  void connectAll() {
    a.connect("eth0", lan);
    b.connect("eth0", lan);
    c.connect("eth0", lan);
  }
  static Lines neighborsOf(const PimRouter& router) {
    Lines all;
    for (const auto& entry : router.intf("eth0").neighbor()) all.push_back(entry.first.text());
    return all;
  }
  static std::string drOf(const PimRouter& router) {
    const PimInterface& intf = router.intf("eth0");
    return intf.usedDr().text() + (intf.isDr() ? " self" : "");
  }
  static BootstrapMessage bsm() {
    BootstrapMessage bsm;
    bsm.bsrAddressIs(addr("192.0.2.1"));
    return bsm;
  }

  TestKit::VirtualWorld world;
  TestKit::PimLan lan{world.wheel};
  // Random delays of 1, 2 and 3 seconds.
  PimRouter a{AddressFamily::ipv4, world.wheel, 0.2};
  PimRouter b{AddressFamily::ipv4, world.wheel, 0.4};
  PimRouter c{AddressFamily::ipv4, world.wheel, 0.6};
};

TEST_F(PimInstanceTest, PrioritiesDecideTheDrTheMomentTheyChange) {
  connectAll();
  a.pim.drPriorityIs(eth0, 7);  // before the interface exists
  a.intfIs("eth0", "10.0.0.1");
  b.intfIs("eth0", "10.0.0.2");
  goTo(10);
  EXPECT_EQ(drOf(b), "10.0.0.1");
  b.pim.drPriorityIs(eth0, 8);
  EXPECT_EQ(drOf(b), "10.0.0.2 self");
  goTo(10);
  EXPECT_EQ(drOf(a), "10.0.0.2") << "told at once";
  b.pim.drPriorityDel(eth0);
  goTo(10);
  EXPECT_EQ(drOf(a), "10.0.0.1 self");
  EXPECT_EQ(drOf(b), "10.0.0.1");
  a.pim.intfDel(eth0);
  goTo(10);
  EXPECT_EQ(drOf(b), "10.0.0.2 self");
  a.intfIs("eth0", "10.0.0.1");
  EXPECT_EQ(a.intf("eth0").drPriority(), 7u) << "the override outlives the interface";
}

TEST_F(PimInstanceTest, AChangedHelloConfigurationIsToldAtOnce) {
  connectAll();
  a.intfIs("eth0", "10.0.0.1");
  b.intfIs("eth0", "10.0.0.2");
  goTo(100);
  const auto told = [&] { return b.intf("eth0").neighbor(addr("10.0.0.1")); };
  Pim::HelloConfig config;
  config.holdtime = 7;
  config.helloPeriod = 2;
  config.overrideInterval = 99;
  a.pim.helloConfigIs(eth0, config);
  goTo(100);
  EXPECT_EQ(told()->holdtime(), 7);
  EXPECT_EQ(told()->overrideInterval(), 99);
  a.sentLines();
  a.pim.helloConfigIs(eth0, config);
  EXPECT_EQ(a.sentLines(), Lines{}) << "nothing is told twice";
  goTo(150);
  EXPECT_NE(told(), nullptr) << "the new period holds as well";
}

// What decides whether a newcomer is told the Bootstrap message: a router that was DR until the
// newcomer appeared must know it has lost before its Hello to the newcomer is counted.
TEST_F(PimInstanceTest, LosingTheDrIsSeenBeforeTheTriggeredHelloIsCounted) {
  connectAll();
  b.intfIs("eth0", "10.0.0.2");
  goTo(50);
  ASSERT_EQ(drOf(b), "10.0.0.2 self");
  Lines seen;
  const PimInterface& intf = b.intf("eth0");
  const auto note = [&](const char* what) {
    seen.push_back(std::to_string(world.clock.now()).substr(0, 5) + " " + what + ": " + drOf(b));
  };
  const auto subscriptions = {intf.isDrReactor([&] { note("isDr"); }),
                              intf.usedDrReactor([&] { note("usedDr"); }),
                              intf.triggeredHelloSentReactor([&] { note("triggeredHelloSent"); })};
  c.intfIs("eth0", "10.0.0.3");
  goTo(60);
  EXPECT_EQ(seen, (Lines{"53.00 usedDr: 10.0.0.3", "53.00 isDr: 10.0.0.3",
                         "55.00 triggeredHelloSent: 10.0.0.3"}));
  EXPECT_EQ(neighborsOf(c), (Lines{"10.0.0.2"}));

  seen.clear();
  c.pim.shutdown();
  goTo(61);
  EXPECT_EQ(seen, (Lines{"60.00 usedDr: 10.0.0.2 self", "60.00 isDr: 10.0.0.2 self"}));
  EXPECT_EQ(subscriptions.size(), 3u);
}

TEST_F(PimInstanceTest, FindsTheRpfNeighborByItsIpv6AddressList) {
  TestKit::PimLan lan6(world.wheel);
  PimRouter left(AddressFamily::ipv6, world.wheel), right(AddressFamily::ipv6, world.wheel);
  for (PimRouter* router : {&left, &right}) router->connect("eth0", lan6);
  left.intfIs("eth0", "fe80::1", {addr("2001:db8::1")});
  right.intfIs("eth0", "fe80::2", {addr("2001:db8::2")});
  left.routes[addr("2001:db8:9::1")] = {{eth0, addr("2001:db8::2")}};
  EXPECT_EQ(left.pim.rpfTable()->doLookup(addr("2001:db8:9::1")), std::nullopt);
  goTo(10);
  const auto rpf = left.pim.rpfTable()->doLookup(addr("2001:db8:9::1"));
  ASSERT_TRUE(rpf.has_value());
  EXPECT_EQ(rpf->address, addr("fe80::2"));
  EXPECT_EQ(rpf->intf, eth0);
  right.intfIs("eth0", "fe80::2", {});
  goTo(10);
  EXPECT_EQ(left.pim.rpfTable()->doLookup(addr("2001:db8:9::1")), std::nullopt);
}

TEST_F(PimInstanceTest, CountsWhatItRefusesByReason) {
  struct Case {
    const char* reason;
    const char* intf;
    const char* source;
    const char* destination;
    std::string octets;
  };
  const std::string hello = "2000dfff";  // no options
  const std::string bootstrap = "2400fabc 00011e40 0100c0000201";
  const Case cases[] = {
      {"no-pim-interface", "eth1", "10.0.0.2", "224.0.0.13", hello},
      {"own-packet", "eth0", "10.0.0.1", "224.0.0.13", hello},
      {"wrong-destination", "eth0", "10.0.0.2", "10.0.0.1", hello},
      {"bad-family", "eth0", "fe80::2", "ff02::d", "2000ff2f"},
      {"bad-source", "eth0", "224.0.0.1", "224.0.0.13", hello},
      {"bad-checksum", "eth0", "10.0.0.2", "224.0.0.13", "2000dffe"},
      {"bad-version", "eth0", "10.0.0.2", "224.0.0.13", "1000efff"},
      {"short-header", "eth0", "10.0.0.2", "224.0.0.13", "2000df"},
      {"short-header", "eth0", "10.0.0.2", "224.0.0.13", ""},
      {"truncated", "eth0", "10.0.0.2", "224.0.0.13", "2000dffc 00010002"},
      {"not-a-neighbor", "eth0", "10.0.0.2", "224.0.0.13", bootstrap},
  };
  a.intfIs("eth0", "10.0.0.1");
  const auto& counters = *a.pim.pamManager()->counters();
  for (const Case& each : cases) {
    const std::uint32_t before = a.dropped(each.reason);
    a.hear(each.intf, each.source, each.destination, hex(each.octets));
    EXPECT_EQ(a.dropped(each.reason), before + 1) << each.reason;
  }
  EXPECT_EQ(counters.rxHello(), 0u);
  EXPECT_TRUE(neighborsOf(a).empty());

  a.hear("eth0", "10.0.0.2", "224.0.0.13", hex("2300dcff"));
  EXPECT_EQ(counters.rxOther(), 1u) << "Join/Prune is for others";
  a.hear("eth0", "10.0.0.2", "224.0.0.13", hex(hello));
  EXPECT_EQ(counters.rxHello(), 1u);
  EXPECT_EQ(neighborsOf(a), (Lines{"10.0.0.2"})) << "a Hello needs no option";
  const auto& info = *a.pim.pamManager()->bsmRxInfo();
  EXPECT_EQ(info.count(), 0u);
  a.hear("eth0", "10.0.0.2", "224.0.0.13", hex(bootstrap));
  EXPECT_EQ(info.count(), 1u) << "from a neighbour now";
  EXPECT_EQ(counters.rxBootstrap(), 1u);
  EXPECT_EQ(info.neighborAddr(), addr("10.0.0.2"));
  EXPECT_EQ(info.intfId(), eth0);
}

TEST_F(PimInstanceTest, HandsMessagesToThePortAndLeavesTheCountOfThoseThatFail) {
  a.intfIs("eth0", "10.0.0.1");
  MessageInfo& info = *a.pim.pamManager()->bsmTxInfo();
  const auto& counters = *a.pim.pamManager()->counters();
  info.intfIdIs(eth0);
  const auto message = std::make_shared<BootstrapMessage>(bsm());
  info.messageIs(message);
  info.countInc(1);
  EXPECT_EQ(a.sentLines(), (Lines{"0 eth0 10.0.0.1 BSM tag 0 hash 0 BSR 192.0.2.1*0"}));
  message->fragmentTagIs(7);
  info.countInc(1);
  EXPECT_EQ(a.sentLines(), (Lines{"0 eth0 10.0.0.1 BSM tag 7 hash 0 BSR 192.0.2.1*0"}));
  EXPECT_EQ(info.count(), 2u);

  a.mute = true;
  info.countInc(1);
  a.mute = false;
  info.intfIdIs(IntfId("eth1"));
  info.countInc(1);
  info.messageIs(std::make_shared<BootstrapMessage>());  // without a BSR address
  info.intfIdIs(eth0);
  info.countInc(1);
  EXPECT_EQ(info.count(), 2u);
  EXPECT_EQ(counters.txBootstrap(), 2u);
  EXPECT_EQ(counters.txError(), 3u);
  EXPECT_TRUE(a.sent.empty());
}

TEST_F(PimInstanceTest, RemovedInterfacesAndInstancesLeaveNothingBehind) {
  connectAll();
  a.intfIs("eth0", "10.0.0.1");
  std::shared_ptr<PamManager> shared;
  {
    PimRouter mortal(AddressFamily::ipv4, world.wheel);
    mortal.connect("eth0", lan);
    mortal.intfIs("eth0", "10.0.0.2");
    goTo(10);
    mortal.pim.intfDel(eth0);
    mortal.pim.intfDel(eth0);
    EXPECT_EQ(mortal.pim.pimStatus()->pimIntf(eth0), nullptr);
    goTo(10);
    EXPECT_TRUE(neighborsOf(a).empty());
    mortal.intfIs("eth0", "10.0.0.2");
    goTo(20);
    EXPECT_EQ(neighborsOf(a), (Lines{"10.0.0.2"}));
    shared = mortal.pim.pamManager();
    lan.detach(mortal);
  }
  const std::size_t sentBefore = a.sent.size();
  const std::uint32_t heardBefore = shared->counters()->rxHello();
  shared->receive({eth0, addr("10.0.0.3"), addr("224.0.0.13"), hex("2000dfff")});
  EXPECT_EQ(shared->counters()->rxHello(), heardBefore + 1)
      << "counted, and nobody is there to take it";
  goTo(200);
  EXPECT_GT(a.sent.size(), sentBefore);
  EXPECT_TRUE(neighborsOf(a).empty()) << "no timer of the dead sends any more";
}

// Whatever an instance keeps changes in this play; at each change in turn a reactor deletes.
struct DeletedByReactor : PacketPort, UnicastRouting {
  enum class Victim { nobody, intf, instance };

  DeletedByReactor(Victim victim, int change) : victim_(victim), countdown_(change) {
    pim_ = std::make_unique<PimInstance>(VrfName("default"), AddressFamily::ipv4, *this, *this,
                                         world_.wheel, [] { return 0.5; });
    const auto packets = pim_->pamManager();
    watch(*pim_->pimStatus());
    watch(*packets->counters());
    for (const auto& info : {packets->bsmRxInfo(), packets->bsmTxInfo()}) watch(*info);
  }
  ~DeletedByReactor() override {
    if (!pim_) {
      EXPECT_EQ(world_.wheel.armed(), 0u);
    }
  }

  /// The changes that were still to come.
  int play() {
    const std::uint8_t garbage[] = {1, 2, 3};
    HelloConfig config;
    config.drPriority = 3;
    step([](PimInstance& pim) { pim.intfIs(eth0, addr("10.0.0.1"), {addr("10.0.1.1")}, true); });
    for (const std::uint32_t generation : {7, 7, 8}) {
      hear("10.0.0.2", 105, generation);
      hear("10.0.0.3", 5, generation);
    }
    step([&](PimInstance& pim) {
      pim.receive({eth0, addr("10.0.0.2"), addr("10.0.0.1"), garbage});
    });
    step([](PimInstance& pim) {
      const auto info = pim.pamManager()->bsmTxInfo();
      info->intfIdIs(eth0);
      info->messageIs(std::make_shared<BootstrapMessage>(PimInstanceTest::bsm()));
    });
    step([](PimInstance& pim) { pim.pamManager()->bsmTxInfo()->countInc(1); });
    world_.runUntil(200);
    hear("10.0.0.2", 105, 9);
    hear("10.0.0.2", 0, 9);
    step([&](PimInstance& pim) { pim.helloConfigIs(eth0, config); });
    step([](PimInstance& pim) { clearMessageCounters(*pim.pamManager()->counters()); });
    step([](PimInstance& pim) { pim.intfDel(eth0); });
    step([](PimInstance& pim) { pim.intfIs(eth0, addr("10.0.0.1"), {}, true); });
    step([](PimInstance& pim) { pim.shutdown(); });
    step([](PimInstance& pim) { pim.intfIs(eth0, addr("10.0.0.9"), {}, true); });
    return countdown_;
  }

 private:
  template <class Step>
  void step(Step&& act) {
    if (pim_) act(*pim_);
  }
  void hear(const char* source, std::uint16_t holdtime, std::uint32_t generation) {
    HelloMessage hello;
    hello.holdtimeIs(holdtime);
    hello.drPriorityIs(1);
    hello.generationIdIs(generation);
    hello.addressListIs({addr("10.0.7.7"), addr(std::string(source) + "0")});
    std::vector<std::uint8_t> octets;
    ASSERT_TRUE(encode(hello, addr(source), allPimRouters(AddressFamily::ipv4), octets));
    step([&](PimInstance& pim) {
      pim.receive({eth0, addr(source), allPimRouters(AddressFamily::ipv4), octets});
    });
  }
  void watch(const Entity& tree) {
    changes_.push_back(tree.treeReactor([this](const TreeChange&) {
      if (countdown_-- != 0) return;
      if (victim_ == Victim::intf) pim_->intfDel(eth0);
      if (victim_ == Victim::instance) pim_.reset();
    }));
  }
  bool send(const TransmitPacket&) override { return true; }
  std::vector<NextHop> nextHops(const IpGenAddr&) const override { return {}; }

  TestKit::VirtualWorld world_;
  const Victim victim_;
  int countdown_;
  std::unique_ptr<PimInstance> pim_;
  std::vector<Subscription> changes_;
};

TEST(PimInstance, MayBeDeletedByReactorsOfWhateverItKeeps) {
  using Victim = DeletedByReactor::Victim;
  const int changes = -DeletedByReactor(Victim::nobody, 0).play();
  EXPECT_GT(changes, 50);
  for (int change = 0; change < changes; ++change) {
    SCOPED_TRACE(change);
    EXPECT_LT(DeletedByReactor(Victim::intf, change).play(), 0);
    EXPECT_LT(DeletedByReactor(Victim::instance, change).play(), 0);
  }
}

}  // namespace
}  // namespace Routing::Pim
