#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/pim/hello/DrElection.h"
#include "platform/pim/hello/HelloSm.h"
#include "tests/support/PimLan.h"

// One router's Hello machine, RFC 7761 section 4.3, fed with octets and time.

namespace Routing::Pim {
namespace {

using Lines = std::vector<std::string>;
using TestKit::addr;
using TestKit::justBefore;

/// A Hello as other routers send it.
struct From {
  std::string source = "10.0.0.2";
  std::optional<std::uint16_t> holdtime = 105;
  std::optional<std::uint32_t> drPriority = 1;
  std::optional<std::uint32_t> generationId = 7;
  std::vector<std::string> secondaries = {};
};

class HelloSmTest : public ::testing::Test {
 protected:
  /// Brings the interface up at 0; the random source gives 0.5, the generation ID is 80000000.
  void start(const HelloConfig& config = {}) {
    router.emplace(AddressFamily::ipv4, world.wheel, 0.5, config);
    router->intfIs("eth0", "10.0.0.1");
  }
  void hear(const From& from) {
    HelloMessage hello;
    hello.holdtimeIs(from.holdtime);
    hello.drPriorityIs(from.drPriority);
    hello.generationIdIs(from.generationId);
    std::vector<IpGenAddr> list;
    for (const auto& text : from.secondaries) list.push_back(addr(text));
    hello.addressListIs(list);
    router->hear("eth0", from.source, hello);
  }
  const PimInterface& intf() const { return router->intf("eth0"); }
  std::shared_ptr<PimNeighbor> neighbor(const std::string& address) const {
    return intf().neighbor(addr(address));
  }
  std::shared_ptr<PimNeighbor> neighborOf(const std::string& address) const {
    return intf().neighborOf(addr(address));
  }
  void goTo(double instant) { world.runUntil(instant); }
  std::size_t sentUntil(double instant) {
    goTo(instant);
    return router->sentLines().size();
  }

  TestKit::VirtualWorld world;
  std::optional<TestKit::PimRouter> router;
};

const char* const options = " delay 500+2500 DR 1 ID 80000000";

std::string line(const std::string& at, const std::string& source, const std::string& holdtime) {
  return at + " eth0 " + source + " Hello " + holdtime + options;
}

TEST_F(HelloSmTest, ListsItsSecondaryAddressesAndTellsChangesAtOnce) {
  router.emplace(AddressFamily::ipv6, world.wheel);
  const auto own = addr("2001:db8::1"), second = addr("2001:db8::2"), primary = addr("fe80::1");
  router->intfIs("eth0", "fe80::1", {own, primary, addr("10.0.0.1"), addr("ff02::5")});
  goTo(3);
  const std::string says = std::string(" eth0 fe80::1 Hello 105s") + options;
  EXPECT_EQ(router->sentLines(), (Lines{"2.5" + says + " 2001:db8::1"}));
  router->intfIs("eth0", "fe80::1", {own, second});
  EXPECT_EQ(router->sentLines(), (Lines{"3" + says + " 2001:db8::1 2001:db8::2"}));
  router->intfIs("eth0", "fe80::1", {second, own});
  EXPECT_TRUE(router->sentLines().empty()) << "nothing changed";
  router->intfIs("eth0", "fe80::1", {});
  EXPECT_EQ(router->sentLines(), (Lines{"3" + says}));
}

TEST_F(HelloSmTest, AnswersANewNeighborWithOneTriggeredHello) {
  start();
  goTo(10);
  router->sentLines();
  router->draw = 0.8;
  hear({});
  router->draw = 0.1;
  goTo(11);
  hear({.source = "10.0.0.3"});  // served by the pending one
  goTo(justBefore(14));
  EXPECT_TRUE(router->sentLines().empty());
  EXPECT_EQ(intf().triggeredHelloSent(), 0u);
  goTo(14);
  EXPECT_EQ(router->sentLines(), (Lines{line("14", "10.0.0.1", "105s")}));
  EXPECT_EQ(intf().triggeredHelloSent(), 1u);
  hear({.source = "10.0.0.3"});  // known by now
  goTo(justBefore(32.5));
  EXPECT_TRUE(router->sentLines().empty());
  goTo(32.5);
  EXPECT_EQ(router->sentLines().size(), 1u) << "the period is not shifted";
  EXPECT_EQ(intf().triggeredHelloSent(), 1u) << "periodic Hellos do not count";
}

TEST_F(HelloSmTest, IsSilentWhereAnotherProgramSpeaksForTheInterface) {
  start({.passive = true});
  goTo(10);
  hear({.drPriority = 3});
  EXPECT_TRUE(neighborOf("10.0.0.2"));
  EXPECT_TRUE(intf().triggeredHelloDue());
  hear(
      {.source = "10.0.0.1", .drPriority = 5, .generationId = 99});  // the other one's, looped back
  EXPECT_EQ(intf().neighbor().size(), 1U);
  EXPECT_TRUE(intf().isDr()) << "by the priority that the neighbours hear";
  EXPECT_EQ(intf().generationId(), 99U);
  EXPECT_TRUE(router->pim.pamManager()->counters()->rxDropped().empty());
  goTo(justBefore(15));
  EXPECT_EQ(intf().triggeredHelloSent(), 0U);
  goTo(15);
  EXPECT_EQ(intf().triggeredHelloSent(), 1U) << "by now the other one has answered the neighbour";
  goTo(60);
  router->pim.helloConfigIs(IntfId("eth0"), {});
  goTo(63);
  EXPECT_EQ(router->sentLines(), (Lines{line("62.5", "10.0.0.1", "105s")}));
  router->pim.helloConfigIs(IntfId("eth0"), {.passive = true});
  router->intfIs("eth0", "10.0.0.1", {}, false);
  EXPECT_TRUE(router->sentLines().empty()) << "a goodbye would take the other one down";
}

TEST_F(HelloSmTest, CountsATriggeredHelloOnlyAfterItHasLeft) {
  start();
  std::size_t hellosWhenCounted = 0;
  const auto subscription =
      intf().triggeredHelloSentReactor([&] { hellosWhenCounted = router->sent.size(); });
  goTo(10);
  router->sentLines();
  router->mute = true;
  hear({});
  goTo(20);
  EXPECT_EQ(intf().triggeredHelloSent(), 0u) << "it could not be sent";
  EXPECT_EQ(router->pim.pamManager()->counters()->txError(), 1u);
  router->mute = false;
  goTo(justBefore(32.5));
  EXPECT_EQ(intf().triggeredHelloSent(), 0u);
  goTo(32.5);
  EXPECT_EQ(intf().triggeredHelloSent(), 1u) << "the next Hello makes up for it";
  EXPECT_EQ(hellosWhenCounted, 1u);
  router->mute = true;
  hear({.source = "10.0.0.3"});
  goTo(40);
  router->intfIs("eth0", "10.0.0.1", {}, false);
  router->mute = false;
  router->intfIs("eth0", "10.0.0.1");
  goTo(70);
  EXPECT_EQ(intf().triggeredHelloSent(), 1u) << "what was owed ended with the interface";
}

TEST_F(HelloSmTest, TakesAnotherGenerationIdForARestart) {
  start();
  hear({.drPriority = 9, .secondaries = {"10.0.1.2"}});
  goTo(10);
  hear({});
  goTo(20);
  ASSERT_EQ(intf().triggeredHelloSent(), 1u);
  EXPECT_EQ(neighbor("10.0.0.2")->setupTime(), 0.0);

  const std::optional<std::uint32_t> restarts[] = {8, std::nullopt, 0};
  for (std::uint32_t n = 0; n < std::size(restarts); ++n) {
    SCOPED_TRACE(n);
    const auto before = neighbor("10.0.0.2");
    hear({.drPriority = std::nullopt, .generationId = restarts[n]});
    EXPECT_NE(neighbor("10.0.0.2"), before);
    EXPECT_EQ(neighbor("10.0.0.2")->setupTime(), world.clock.now());
    EXPECT_EQ(neighbor("10.0.0.2")->drPriorityPresent(), false);
    EXPECT_EQ(neighbor("10.0.0.2")->drPriority(), 1u) << "what it said before is gone";
    EXPECT_EQ(neighborOf("10.0.1.2"), nullptr);
    goTo(world.clock.now() + 2.5);
    EXPECT_EQ(intf().triggeredHelloSent(), n + 2);
  }
}

// Seen by the reactors of the interface, to the last value: "n" neighbour, "d" the DR, "i" whether
// it is this router, "h" whether a triggered Hello is due, "s" how many were sent.
TEST_F(HelloSmTest, ARestartedNeighborIsGoneBeforeItComesBack) {
  start();
  router->intfIs("eth0", "10.0.0.5");
  std::string seen;
  const auto note = [&seen](char what, bool value) { seen += {' ', what, value ? '+' : '-'}; };
  const Subscription subscriptions[] = {
      intf().neighborReactor([&](const IpGenAddr& n) { note('n', bool(intf().neighbor(n))); }),
      intf().usedDrReactor([&] { seen += " d" + intf().usedDr().text(); }),
      intf().isDrReactor([&] { note('i', intf().isDr()); }),
      intf().triggeredHelloDueReactor([&] { note('h', intf().triggeredHelloDue()); }),
      intf().triggeredHelloSentReactor([&] { seen += intf().triggeredHelloDue() ? " !" : " s"; }),
  };
  const auto until = [&](double instant) {
    goTo(instant);
    return std::exchange(seen, {});
  };
  hear({.source = "10.0.0.9"});
  EXPECT_EQ(until(10), " n+ d10.0.0.9 i- h+ h- s");
  hear({.source = "10.0.0.9", .generationId = 8});
  EXPECT_EQ(until(20), " n- d10.0.0.5 i+ n+ d10.0.0.9 i- h+ h- s") << "the DR but for it";
  hear({.source = "10.0.0.2"});
  EXPECT_EQ(until(30), " n+ h+ h- s");
  hear({.source = "10.0.0.2", .generationId = 8});
  EXPECT_EQ(until(40), " n- n+ h+ h- s");
  hear({.source = "10.0.0.7"});
  hear({.source = "10.0.0.9", .generationId = 9});
  EXPECT_EQ(until(50), " n+ h+ n- d10.0.0.7 n+ d10.0.0.9 h- s") << "another would be the DR";

  hear({.source = "10.0.0.9", .generationId = 10});
  router->intfIs("eth0", "10.0.0.5", {}, false);
  EXPECT_EQ(until(60), " n- d10.0.0.7 n+ d10.0.0.9 h+ h- n- n- n- dunset") << "none will be sent";
  router->intfIs("eth0", "10.0.0.5");
  hear({.source = "10.0.0.9"});
  const auto stopper = intf().isDrReactor([&] { router->intfIs("eth0", "10.0.0.5", {}, false); });
  hear({.source = "10.0.0.9", .generationId = 8});
  EXPECT_TRUE(intf().neighbor().empty()) << "it does not come back on an interface that stopped";
  EXPECT_FALSE(intf().triggeredHelloDue());
}

TEST_F(HelloSmTest, BoundsWhatHellosMakeItRemember) {
  HelloConfig config;
  config.limits = {.neighbors = 3, .secondaryAddresses = 2};
  start(config);
  for (const char* source : {"10.0.0.2", "10.0.0.3", "10.0.0.4", "10.0.0.5"}) {
    hear({.source = source, .secondaries = {"10.0.9.1", "10.0.9.1", "10.0.9.2", "10.0.9.3"}});
  }
  EXPECT_EQ(intf().neighbor().size(), 3u);
  EXPECT_EQ(neighbor("10.0.0.5"), nullptr);
  EXPECT_EQ(neighbor("10.0.0.4")->secondaryAddress().size(), 2u);
  EXPECT_EQ(router->dropped("too-many-neighbors"), 1u);
  hear({.source = "10.0.0.4", .secondaries = {"10.0.9.4", "10.0.9.5"}});
  EXPECT_EQ(neighborOf("10.0.9.4"), neighbor("10.0.0.4")) << "known ones are still served";
  hear({.source = "10.0.0.3", .holdtime = 0});
  hear({.source = "10.0.0.5"});
  EXPECT_NE(neighbor("10.0.0.5"), nullptr) << "there is room again";
}

TEST_F(HelloSmTest, HasThePermittedNeighborsAlone) {
  HelloConfig config;
  start(config);
  for (const char* source : {"10.0.0.2", "10.0.0.3", "10.0.1.4"}) hear({.source = source});
  config.neighbors = {TestKit::prefix("10.0.0.0/24"), TestKit::prefix("10.0.0.3/32")};
  router->pim.helloConfigIs(IntfId("eth0"), config);
  EXPECT_EQ(neighbor("10.0.1.4"), nullptr) << "it goes with the next configuration";
  EXPECT_EQ(intf().neighbor().size(), 2u);
  hear({.source = "10.0.1.4"});
  EXPECT_EQ(router->dropped("neighbor-filter"), 1u);
  EXPECT_EQ(router->pim.forgetNeighbor(addr("10.0.0.2")), 1u);
  EXPECT_EQ(router->pim.forgetNeighbor(addr("10.0.1.4")), 0u);
  EXPECT_EQ(intf().neighbor().size(), 1u);
  hear({.source = "10.0.0.2"});
  EXPECT_NE(neighbor("10.0.0.2"), nullptr) << "its next Hello brings it back";
  config.neighbors->clear();
  router->pim.helloConfigIs(IntfId("eth0"), config);
  EXPECT_TRUE(intf().neighbor().empty());
}

TEST_F(HelloSmTest, LetsTheSilentGiveWayToNewcomers) {
  HelloConfig config;
  config.limits.neighbors = 3;
  start(config);
  for (const char* forged : {"10.0.0.2", "10.0.0.3", "10.0.0.4"}) {
    hear({.source = forged, .holdtime = 65535});
  }
  goTo(60);
  hear({.source = "10.0.0.2", .holdtime = 65535});
  hear({.source = "10.0.0.9"});
  EXPECT_EQ(neighbor("10.0.0.9"), nullptr) << "all have been heard from lately";
  goTo(110);
  hear({.source = "10.0.0.9"});
  hear({.source = "10.0.0.8"});
  hear({.source = "10.0.0.7"});
  EXPECT_NE(neighbor("10.0.0.9"), nullptr);
  EXPECT_NE(neighbor("10.0.0.8"), nullptr);
  EXPECT_NE(neighbor("10.0.0.2"), nullptr) << "which goes on saying Hello";
  EXPECT_EQ(neighbor("10.0.0.7"), nullptr);
}

TEST_F(HelloSmTest, ForgetsTheAddressesThatAreNoLongerListed) {
  const auto intf = std::make_shared<PimInterface>(IntfId("eth0"));
  intf->addressIs(addr("10.0.0.1"));
  intf->upIs(true);
  const VrfName vrf("default");
  NeighborTable table(vrf, *intf, {}, world.wheel, [](const IpGenAddr&) {});
  const auto hello = [](const char* source, std::uint32_t secondary) {
    HelloMessage hello;
    hello.sourceIs(addr(source));
    hello.addressListIs({IpGenAddr::v4(secondary)});
    return hello;
  };
  for (std::uint32_t n = 0; n < 100; ++n) table.helloIs(hello("10.0.0.2", 0x0a000100 + n));
  table.helloIs(hello("10.0.0.3", 0x0a000200));
  EXPECT_EQ(table.listedBy().size(), 2u);
  table.neighborDel(addr("10.0.0.2"));
  EXPECT_EQ(table.listedBy().size(), 1u);
  table.neighborDelAll();
  EXPECT_TRUE(table.listedBy().empty());
}

TEST_F(HelloSmTest, SaysGoodbyeFromTheOldAddressAndStartsAnew) {
  start();
  goTo(10);
  hear({});
  hear({.source = "10.0.0.9"});
  router->sentLines();
  router->draw = 0.25;
  router->intfIs("eth0", "10.0.0.9");
  EXPECT_EQ(router->sentLines(), (Lines{line("10", "10.0.0.1", "0s")}));
  EXPECT_EQ(intf().generationId(), 0x40000000u);
  EXPECT_NE(neighbor("10.0.0.2"), nullptr) << "the neighbours stay";
  EXPECT_EQ(neighbor("10.0.0.9"), nullptr) << "but for the one whose address is ours now";
  EXPECT_TRUE(intf().isDr());
  goTo(41.25);
  const std::string says = " eth0 10.0.0.9 Hello 105s delay 500+2500 DR 1 ID 40000000";
  EXPECT_EQ(router->sentLines(), (Lines{"11.25" + says, "41.25" + says}))
      << "the pending triggered Hello went with the old address";
}

TEST_F(HelloSmTest, GoesDownWithAGoodbyeAndComesBackAsANewRouter) {
  start();
  hear({.source = "10.0.0.2", .drPriority = 0});
  goTo(10);
  router->sentLines();
  router->intfIs("eth0", "10.0.0.1", {}, false);
  EXPECT_EQ(router->sentLines(), (Lines{line("10", "10.0.0.1", "0s")}));
  EXPECT_TRUE(intf().neighbor().empty());
  EXPECT_EQ(world.wheel.armed(), 0u);
  EXPECT_TRUE(intf().usedDr().isUnset());
  EXPECT_FALSE(intf().isDr());
  hear({});
  EXPECT_TRUE(intf().neighbor().empty());
  EXPECT_EQ(router->dropped("interface-down"), 1u);
  EXPECT_EQ(sentUntil(200), 0u);

  router->intfIs("eth0", "10.0.0.1");
  EXPECT_EQ(intf().generationId(), 0x80000001u) << "never the old one, even if it is drawn again";
  EXPECT_TRUE(intf().isDr());
  EXPECT_EQ(sentUntil(202.5), 1u);
}

TEST_F(HelloSmTest, NeedsAnAddressOfItsFamily) {
  router.emplace(AddressFamily::ipv4, world.wheel);
  for (const char* none : {"unset", "fe80::1", "224.0.0.1", "255.255.255.255", "0.0.0.0"}) {
    router->intfIs("eth0", none);
    EXPECT_TRUE(intf().address().isUnset()) << none;
    EXPECT_FALSE(intf().isDr());
  }
  EXPECT_EQ(sentUntil(100), 0u);
  router->intfIs("eth0", "10.0.0.1");
  EXPECT_EQ(sentUntil(102.5), 1u);
  router->intfIs("eth0", "unset");
  EXPECT_EQ(router->sentLines(), (Lines{line("102.5", "10.0.0.1", "0s")}));
  EXPECT_EQ(sentUntil(200), 0u);
}

TEST_F(HelloSmTest, IsSilentAfterAShutdown) {
  start();
  hear({});
  router->pim.shutdown();
  EXPECT_EQ(router->sentLines(), (Lines{line("0", "10.0.0.1", "0s")}));
  hear({.source = "10.0.0.3"});
  router->intfIs("eth0", "10.0.0.1", {addr("10.0.1.1")});
  EXPECT_EQ(sentUntil(100), 0u);
  router->pim.shutdown();
  EXPECT_EQ(sentUntil(101), 0u) << "goodbye is said once";
  EXPECT_NE(neighbor("10.0.0.3"), nullptr) << "it still listens";
}

/// The neighbours of an interface, remembered the slow and obvious way.
struct Oracle {
  struct Known {
    double expiry;
    std::set<IpGenAddr> secondaries;
    bool operator==(const Known&) const = default;
  };
  std::map<IpGenAddr, Known> known;

  void timeIs(double now) {
    std::erase_if(known, [&](const auto& entry) { return entry.second.expiry <= now; });
  }
  void hear(double now, const From& from) {
    known.erase(addr(from.source));
    if (from.holdtime == 0) return;
    const std::uint16_t hold = from.holdtime.value_or(105);
    Known said{hold == 65535 ? never : now + hold, {}};
    for (const auto& text : from.secondaries) {
      if (text == from.source) continue;
      for (auto& [source, other] : known) other.secondaries.erase(addr(text));
      said.secondaries.insert(addr(text));
    }
    known[addr(from.source)] = said;
  }
  static Oracle of(const PimInterface& intf) {
    Oracle seen;
    for (const auto& [address, neighbor] : intf.neighbor()) {
      seen.known[address] = {neighbor->expiryTime(), neighbor->secondaryAddress()};
    }
    return seen;
  }
};

From anyHello() {
  const auto address = [] { return "10.0.0." + std::to_string(*rc::gen::inRange(2, 8)); };
  From from;
  from.source = address();
  from.holdtime =
      *rc::gen::element<std::optional<std::uint16_t>>(0, 1, 30, 31, 65535, std::nullopt);
  from.drPriority = *rc::gen::element<std::optional<std::uint32_t>>(1, 2, std::nullopt);
  from.secondaries.resize(*rc::gen::inRange<std::size_t>(0, 4));
  for (auto& secondary : from.secondaries) secondary = address();
  return from;
}

RC_GTEST_FIXTURE_PROP(HelloSmTest, RemembersWhatAnOracleRemembers, ()) {
  start();
  Oracle oracle;
  const auto steps = *rc::gen::inRange(1, 60);
  for (int step = 0; step < steps; ++step) {
    goTo(world.clock.now() + *rc::gen::element(0, 1, 15, 30, 100));
    oracle.timeIs(world.clock.now());
    const From from = anyHello();
    oracle.hear(world.clock.now(), from);
    hear(from);
    RC_ASSERT(Oracle::of(intf()).known == oracle.known);
    for (const auto& [address, heard] : oracle.known) {
      RC_ASSERT(neighborOf(address.text()) == neighbor(address.text()));
    }
    RC_ASSERT(intf().usedDr() == electDr(intf()));
    RC_ASSERT(intf().isDr() == (intf().usedDr() == intf().address()));
    const auto mortal = std::ranges::count_if(
        oracle.known, [](const auto& entry) { return entry.second.expiry != never; });
    RC_ASSERT(world.wheel.armed() <= static_cast<std::size_t>(mortal) + 2);
  }
}

}  // namespace
}  // namespace Routing::Pim
