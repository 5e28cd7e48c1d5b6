#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "bsr/engine/BsrNonCandidateSm.h"
#include "tests/bsr/NeighborFixture.h"

// A router between the BSR's side (eth0) and the rest (eth1), in the global zone and in a scoped
// one of either family. BS time-out 130 s, scope-zone time-out 1300 s.

namespace Routing::Pim::Bsr {
namespace {

using State = BsrNonCandidateState;
using namespace TestKit;

/// A zone to test in, with addresses of its family. `bsr` has the address between the two others.
struct Place {
  const char* name;
  AddressFamily af;
  const char* zone;
  bool scoped;
  const char* hosts;  // what all addresses begin with
  const char* group;
};

constexpr Place places[] = {
    {"Global4", AddressFamily::ipv4, "224.0.0.0/4", false, "10.9.9.", "239.1.1.0/24"},
    {"Scoped4", AddressFamily::ipv4, "239.1.0.0/16", true, "10.9.9.", "239.1.1.0/24"},
    {"Global6", AddressFamily::ipv6, "ff00::/8", false, "2001:db8::", "ff05:1::/32"},
    {"Scoped6", AddressFamily::ipv6, "ff05::/16", true, "2001:db8::", "ff05:1::/32"},
};

struct FollowerTest : TracedTest, ::testing::WithParamInterface<Place> {
  FollowerTest() {
    const bool v4 = place.af == AddressFamily::ipv4;
    neighbor = v4 ? "10.0.0.2" : "fe80::2";
    for (const char* intf : {"eth0", "eth1"}) {
      router.linkIs(intf, v4 ? "10.0.0.1" : "fe80::1");
      router.neighborIs(intf, neighbor);
    }
    for (const char* bsr : {"1", "5", "9"}) router.routeIs(host(bsr), "eth0", neighbor);
  }

  std::string host(const std::string& last) const { return place.hosts + last; }
  /// A message of the zone with one RP of 150 s.
  Bsm bsm(const std::string& bsr, unsigned priority, const std::string& rp = "77") const {
    Bsm message(host(bsr), priority);
    if (place.scoped) message.zone(place.zone);
    return message.group(place.group, {{host(rp)}});
  }
  void hear(const BootstrapMessage& message) { router.hear("eth0", neighbor, message); }
  std::shared_ptr<BsrNonCandidateSm> machine() { return router.follower(place.zone); }
  std::shared_ptr<ElectedBsrStatus> record() {
    return router.status->bootstrapRouter(prefix(place.zone));
  }
  /// The RPs of the one range, without its zone's own empty entry.
  Lines rps() const {
    Lines lines = router.rpSetOf(place.zone);
    std::erase(lines, std::string(place.zone) + " empty");
    return lines;
  }
  std::string rpLine(const std::string& rp) const {
    return std::string(place.group) + " " + host(rp) + " 150 0";
  }
  void expectMachine(State state, double bsExpiry, double szExpiry = never) {
    EXPECT_EQ(machine()->state(), state);
    EXPECT_EQ(machine()->bsExpiry(), bsExpiry);
    EXPECT_EQ(machine()->szExpiry(), szExpiry);
    EXPECT_EQ(record() ? record()->expiryTime() : never, bsExpiry);
  }
  /// The record of a BSR as a trace has it.
  std::string recordText(const char* bsr, unsigned priority) const {
    return "BSR state: IP=" + host(bsr) + ", Priority=" + std::to_string(priority) +
           ", hashMaskLen=" + hashMaskLen() + " for Zone " + place.zone;
  }
  std::string hashMaskLen() const { return place.af == AddressFamily::ipv4 ? "30" : "126"; }
  void expectTraced(const Lines& lines) { TracedTest::expectTraced(lines, "NonCandidateSm"); }
  std::string szTimerIn(const std::string& state) const {
    return "2 Invalid event Scope Zone Timer Expiry in state " + state + " for zone " + place.zone;
  }
  std::string stateIs(const std::string& state) const {
    return "1 void Routing::Pim::Bsr::BsrNonCandidateSm::" + state + ", Zone=" + place.zone;
  }

  const Place place = GetParam();
  std::string neighbor;
  VirtualWorld world;
  BsrRouter router{place.af, world.wheel};
};

INSTANTIATE_TEST_SUITE_P(Zones, FollowerTest, ::testing::ValuesIn(places),
                         [](const auto& info) { return std::string(info.param.name); });

// --- initialisation ---------------------------------------------------------------------------

TEST_P(FollowerTest, StartsAccordingToItsZoneWithoutTimers) {
  const std::string initial = place.scoped ? "noInfo" : "acceptAny";
  BsrNonCandidateSm fresh(prefix(place.zone), router.status, world.wheel, world.wheel,
                          router.engine());
  fresh.start();
  EXPECT_EQ(enumName(fresh.state()), initial);
  EXPECT_EQ(fresh.bsExpiry(), never);
  EXPECT_EQ(fresh.szExpiry(), never);
  EXPECT_EQ(fresh.lastBsm(), nullptr);
  expectTraced({stateIs("handleInitialized(), state=" + initial), "9 Initialized=True, bsm=0"});
  fresh.handleBsrTimerExpiry();
  expectTraced({"2 Invalid event Bootstrap Timer Expiry in state " + initial});
  if (place.scoped) {
    fresh.handleSzTimerExpiry();
    expectTraced({szTimerIn("noInfo")});
  }
  EXPECT_EQ(enumName(fresh.state()), initial);
}

TEST_P(FollowerTest, GoesOnFollowingARecordedBsr) {
  const auto old = router.status->newBootstrapRouter(prefix(place.zone));
  old->ipAddrIs(addr(host("5")));
  old->priorityIs(64);
  old->expiryTimeIs(3);
  world.runUntil(10);
  router.stop();
  router.start();
  expectMachine(State::acceptPreferred, 140);
  expectTraced({stateIs("handleInitialized(), state=acceptPreferred"),
                "5  Next BS timer expiry is in 130 seconds from now."});
}

TEST_P(FollowerTest, ARecordThatNamesNobodyIsNoRecord) {
  const auto half = router.status->newBootstrapRouter(prefix(place.zone));
  half->ipAddrIs(addr(host("5")));  // without priority
  router.stop();
  router.start();
  EXPECT_NE(machine()->state(), State::acceptPreferred);
  hear(bsm("1", 0));
  EXPECT_EQ(machine()->state(), State::acceptPreferred);
  EXPECT_EQ(router.bsrOf(place.zone), host("1") + " 0 " + hashMaskLen());
}

// --- a message while no BSR is recorded -------------------------------------------------------

TEST_P(FollowerTest, TheFirstMessageMakesItsSenderTheBsr) {
  world.runUntil(7);
  hear(bsm("5", 64));
  ASSERT_NE(machine(), nullptr);
  expectMachine(State::acceptPreferred, 137);
  EXPECT_EQ(router.bsrOf(place.zone), host("5") + " 64 " + hashMaskLen());
  EXPECT_EQ(record()->setupTime(), 7);
  EXPECT_EQ(record()->expires(), 130);
  EXPECT_EQ(rps(), Lines{rpLine("77")});
  ASSERT_NE(machine()->lastBsm(), nullptr);
  EXPECT_EQ(router.sentBsms().size(), 2U) << "on both links, the one it came from included";
  expectTraced({stateIs("handleBsm(), state=acceptPreferred"), "4 Created " + recordText("5", 64),
                "5  Next BS timer expiry is in 130 seconds from now."});
}

TEST_P(FollowerTest, AMessageAfterTheBsrWasLostStartsAfresh) {
  hear(bsm("9", 200, "77"));
  world.runUntil(130);
  ASSERT_EQ(machine()->state(), State::acceptAny);
  world.runUntil(200);
  traces.clear();
  static_cast<void>(router.sentBsms());
  hear(bsm("1", 0, "88"));
  expectMachine(State::acceptPreferred, 330);  // and the zone is alive again
  EXPECT_EQ(record()->ipAddr(), addr(host("1")));
  EXPECT_EQ(rps(), Lines{rpLine("88")}) << "what the old BSR said is gone";
  EXPECT_EQ(router.pimRps(), rps());
  EXPECT_EQ(router.sentBsms().size(), 2U);
  expectTraced(
      {std::string("4 Clearing RP Set for zone ") + place.zone + " since we have a new BSR"});
}

TEST_P(FollowerTest, ANoForwardMessageIsTakenButNotPassedOn) {
  hear(bsm("5", 64).noForward());
  expectMachine(State::acceptPreferred, 130);
  EXPECT_EQ(rps(), Lines{rpLine("77")});
  EXPECT_NE(machine()->lastBsm(), nullptr);
  EXPECT_TRUE(router.sentBsms().empty());
  expectTraced({"4 Not Forwarding bootstrap message since noForward bit is set"});
}

// --- a message while a BSR is recorded --------------------------------------------------------

struct Rival {
  const char* what;
  const char* bsr;  // 5 is recorded, with priority 64
  unsigned priority;
  bool preferred;
};

TEST_P(FollowerTest, TheRecordedBsrYieldsToABetterOneOnly) {
  const Rival rivals[] = {
      {"itself", "5", 64, true},
      {"itself, higher", "5", 65, true},
      {"itself, lowered", "5", 63, true},
      {"itself, at the bottom", "5", 0, true},
      {"higher priority, lower address", "1", 65, true},
      {"equal priority, higher address", "9", 64, true},
      {"equal priority, lower address", "1", 64, false},
      {"lower priority, higher address", "9", 63, false},
      {"lowest priority", "9", 0, false},
  };
  double now = 0;
  for (const Rival& rival : rivals) {
    SCOPED_TRACE(rival.what);
    router.stop();
    router.status->bootstrapRouterDelAll();
    router.status->crpStatusDelAll();
    router.start();
    hear(bsm("5", 64, "77"));
    world.runUntil(now += 100);
    static_cast<void>(router.sentBsms());
    traces.clear();

    hear(bsm(rival.bsr, rival.priority, "88"));
    const bool other = rival.bsr != std::string("5");
    expectMachine(State::acceptPreferred, now + (rival.preferred ? 130 : 30));
    EXPECT_EQ(router.sentBsms().size(), rival.preferred ? 2U : 0U);
    EXPECT_EQ(record()->ipAddr(), addr(host(rival.preferred ? rival.bsr : "5")));
    EXPECT_EQ(record()->priority(), rival.preferred ? rival.priority : 64);
    EXPECT_EQ(record()->setupTime(), rival.preferred && other ? now : now - 100);
    EXPECT_EQ(machine()->lastBsm()->bsrAddress(), record()->ipAddr());
    if (!rival.preferred) {
      EXPECT_EQ(rps(), Lines{rpLine("77")});
      expectTraced({"4 Received Non Preferred BSM. Nothing to be done."});
    } else {
      EXPECT_EQ(rps(), other ? (Lines{rpLine("88")}) : (Lines{rpLine("77"), rpLine("88")}));
      expectTraced({"4 Received preferred " + recordText(rival.bsr, rival.priority)});
      EXPECT_EQ(
          traces.ends("NonCandidateSm", 4, "since we have a new BSR. Old BSR was " + host("5")),
          other);
    }
    EXPECT_EQ(router.pimRps(), rps());
  }
}

// --- timers -----------------------------------------------------------------------------------

TEST_P(FollowerTest, ASilentBsrIsForgottenAtTheInstant) {
  hear(bsm("5", 64));
  world.runUntil(justBefore(130));
  expectMachine(State::acceptPreferred, 130);
  static_cast<void>(router.sentBsms());
  world.runUntil(130);
  expectMachine(State::acceptAny, never, place.scoped ? 1430 : never);
  EXPECT_EQ(record(), nullptr);
  EXPECT_EQ(machine()->lastBsm(), nullptr) << "nobody is to hear of that BSR any more";
  EXPECT_TRUE(router.sentBsms().empty());
  expectTraced({stateIs("handleBsrTimerExpiry(), state=acceptAny"),
                "4 Removing BSR " + host("5") + " state for zone " + place.zone});
  if (place.scoped) expectTraced({"5  Next SZ timer expiry is in 1300 seconds from now."});
  // What it said of RPs holds for another hold time.
  world.runUntil(justBefore(280));
  EXPECT_EQ(rps(), Lines{rpLine("77")});
  EXPECT_EQ(router.pimRps(), rps());
  world.runUntil(280);
  EXPECT_EQ(rps(), Lines{});
  EXPECT_EQ(router.pimRps(), Lines{});
}

TEST_P(FollowerTest, AScopedZoneIsForgottenAtTheInstantAndTheGlobalOneNever) {
  const bool v4 = place.af == AddressFamily::ipv4;
  hear(bsm("5", 64).group(v4 ? "239.1.2.0/24" : "ff05:2::/32", {{host("78"), 65535}}));
  world.runUntil(justBefore(1430));
  ASSERT_NE(machine(), nullptr);
  EXPECT_EQ(machine()->state(), State::acceptAny);
  world.runUntil(1430);
  const IpGenPrefix zone = prefix(place.zone);
  if (place.scoped) {
    EXPECT_EQ(machine(), nullptr);
    EXPECT_EQ(router.status->crpStatus(zone), nullptr);
    EXPECT_EQ(router.instance->bsmIntake().lastBsm(zone), nullptr);
    expectTraced({stateIs("handleSzTimerExpiry(), state=noInfo"),
                  std::string("4 Deleted Zone ") + place.zone});
  } else {
    world.runUntil(1e6);
    ASSERT_NE(machine(), nullptr);
    EXPECT_EQ(machine()->state(), State::acceptAny);
    EXPECT_NE(router.instance->bsmIntake().lastBsm(zone), nullptr);
  }
  EXPECT_EQ(world.wheel.armed(), 0U);
}

TEST_P(FollowerTest, AMessageInTheLastInstantKeepsTheZone) {
  hear(bsm("5", 64));
  hear(bsm("5", 64).hashMask(7));
  EXPECT_EQ(record()->hashMaskLen(), 7U);
  const auto kept = machine();
  world.runUntil(justBefore(1430));
  hear(bsm("1", 0));
  world.runUntil(1500);
  EXPECT_EQ(machine(), kept);
  EXPECT_EQ(kept->state(), State::acceptPreferred);
  world.runUntil(1560);
  expectMachine(State::acceptAny, never, place.scoped ? justBefore(1430) + 130 + 1300 : never);
}

TEST_P(FollowerTest, TimersInStatesThatHaveNoneAreInvalid) {
  hear(bsm("5", 64));
  const std::string before = router.statusText();
  machine()->handleSzTimerExpiry();
  expectTraced({szTimerIn("acceptPreferred")});
  EXPECT_EQ(machine()->state(), State::acceptPreferred);
  EXPECT_EQ(router.statusText(), before);

  world.runUntil(130);
  const std::string after = router.statusText();
  traces.clear();
  machine()->handleBsrTimerExpiry();
  expectTraced({"2 Invalid event Bootstrap Timer Expiry in state acceptAny"});
  EXPECT_EQ(machine()->state(), State::acceptAny);
  EXPECT_EQ(router.statusText(), after);
}

// --- time-outs that change --------------------------------------------------------------------

TEST_P(FollowerTest, AChangedBsTimeoutOnlyShortensTheTimer) {
  struct {
    std::uint32_t timeout;
    double expiry;  // of a timer that would run out at 130, when the change comes at 30
  } const cases[] = {{1000, 130}, {101, 130}, {100, 130}, {99, 129}, {5, 35}};
  double start = 0;
  for (const auto& each : cases) {
    SCOPED_TRACE(each.timeout);
    router.status->bsTimeoutIs(130);
    hear(bsm("5", 64));
    world.runUntil(start + 30);
    traces.clear();
    router.status->bsTimeoutIs(each.timeout);
    expectMachine(State::acceptPreferred, start + each.expiry);
    EXPECT_EQ(traces.ends("NonCandidateSm", 5,
                          "BS timer expiry was in 100 seconds from now. Resetting BS timer expiry "
                          "to " +
                              std::to_string(each.timeout) + " seconds from now."),
              each.timeout <= 100);
    hear(bsm("5", 64));
    expectMachine(State::acceptPreferred, start + 30 + each.timeout);  // the next message counts
    start += 30;
  }
  world.runUntil(start + 5);
  router.status->bsTimeoutIs(3);
  EXPECT_EQ(machine()->bsExpiry(), never);
  expectTraced({"5 BS timer not set. Nothing to be done. "});
}

TEST_P(FollowerTest, AChangedScopeZoneTimeoutOnlyShortensTheTimer) {
  hear(bsm("5", 64));
  router.status->szTimeoutIs(1000);
  expectTraced({"5 SZ timer not set. Nothing to be done. "});
  world.runUntil(130);
  if (!place.scoped) {
    EXPECT_EQ(machine()->szExpiry(), never);
    return;
  }
  EXPECT_EQ(machine()->szExpiry(), 1130);
  world.runUntil(230);  // 900 s are left
  router.status->szTimeoutIs(901);
  EXPECT_EQ(machine()->szExpiry(), 1130);
  router.status->szTimeoutIs(900);
  EXPECT_EQ(machine()->szExpiry(), 1130);
  expectTraced(
      {"5 SZ timer expiry was in 900 seconds from now. Restting SZ timer expiry to 900 "
       "seconds from now."});
  router.status->szTimeoutIs(20);
  world.runUntil(justBefore(250));
  EXPECT_NE(machine(), nullptr);
  world.runUntil(250);
  EXPECT_EQ(machine(), nullptr);
}

// --- messages that cannot be installed whole --------------------------------------------------

TEST_P(FollowerTest, AMessageThatCannotBeInstalledStillKeepsTheBsrAlive) {
  // No packet has such a hash mask length; the codec sees to that.
  hear(bsm("5", 64));
  world.runUntil(50);
  traces.clear();
  const auto bad = bsm("5", 64, "88").hashMask(129).make();
  machine()->bsmIs(bad);
  EXPECT_TRUE(traces.ends("Sm", 1,
                          std::string("RP set of zone ") + place.zone +
                              " not installed: RpHashMaskLen::value < 0 or > 128 not allowed"));
  EXPECT_EQ(rps(), Lines{rpLine("77")}) << "nothing is half written";
  expectMachine(State::acceptPreferred, 180);
  EXPECT_EQ(machine()->lastBsm(), bad);
  world.runUntil(180);
  EXPECT_EQ(record(), nullptr) << "nor does it keep the record from its end";
}

}  // namespace
}  // namespace Routing::Pim::Bsr
