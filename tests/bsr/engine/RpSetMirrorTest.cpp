#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <ostream>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "bsr/engine/RpSetMirror.h"
#include "tests/bsr/NeighborFixture.h"
#include "tests/support/BsrInvariants.h"

// What PIM sees of the RP sets of nested zones: 224.0.0.0/4 > 239.0.0.0/8 > 239.1.0.0/16 >
// 239.1.2.0/24. BS time-out 130 s; a silent BSR's RPs are refreshed once more when it times out.

namespace Routing::Pim::Bsr {
namespace {

using namespace TestKit;

struct RpSetMirrorTest : NeighborFixture {
  static Bsm bsm(const char* zone, const char* bsr = "10.9.9.9") {
    Bsm message(bsr);
    return std::string(zone) == "224.0.0.0/4" ? message : message.zone(zone);
  }
  void hear(const BootstrapMessage& message) {
    NeighborFixture::hear(message);
    EXPECT_EQ(bsrFault(router), "");
  }
  void goTo(double instant) {
    world.runUntil(instant);
    EXPECT_EQ(bsrFault(router), "");
  }
  Lines pim() const { return router.pimRps(); }
};

TEST_F(RpSetMirrorTest, AWiderZoneCannotTakeWhatAMoreSpecificOneHas) {
  hear(bsm("239.1.0.0/16").group("239.1.1.0/24", {{"10.2.2.2"}}));
  hear(bsm("224.0.0.0/4")
           .group("239.1.1.0/24", {{"10.1.1.1"}})
           .group("239.1.9.0/24", {{"10.1.1.1"}}));
  EXPECT_EQ(pim(), (Lines{"239.1.1.0/24 10.2.2.2 150 0"}));
  expectTraced(
      {"8 Not updating RpCandidateStatus since our zone 224.0.0.0/4 does not match the "
       "longest prefix match 239.1.0.0/16 for prefix 239.1.1.0/24"});
}

TEST_F(RpSetMirrorTest, ASilentZoneKeepsWhatNobodyElseServesAndGivesBackTheRest) {
  hear(bsm("239.1.0.0/16")
           .group("239.1.1.0/24", {{"10.2.2.2"}})
           .group("239.1.2.0/24", {{"10.2.2.3"}})
           .group("239.1.3.0/24", {{"10.2.2.3"}, {"10.2.2.4", 200}}));
  goTo(20);
  hear(bsm("224.0.0.0/4").group("239.1.1.0/24", {{"10.1.1.1", 900}}));
  goTo(justBefore(130));
  EXPECT_EQ(pim().front(), "239.1.1.0/24 10.2.2.2 150 0");
  goTo(130);  // the BSR is gone; its RPs are good for another hold time
  ASSERT_EQ(router.bsrOf("239.1.0.0/16"), "none");
  EXPECT_EQ(pim(), (Lines{"239.1.1.0/24 10.1.1.1 900 0", "239.1.2.0/24 10.2.2.3 150 0",
                          "239.1.3.0/24 10.2.2.3 150 0", "239.1.3.0/24 10.2.2.4 200 0"}));
  goTo(140);
  hear(bsm("224.0.0.0/4").group("239.1.2.0/24", {{"10.1.1.2", 900}}));
  const Lines wider{"239.1.1.0/24 10.1.1.1 900 0", "239.1.2.0/24 10.1.1.2 900 0"};
  EXPECT_EQ(pim()[1], wider[1]) << "also what a wider one comes to serve later";
  goTo(280);
  EXPECT_EQ(pim(), (Lines{wider[0], wider[1], "239.1.3.0/24 10.2.2.4 200 0"}));
  goTo(330);
  EXPECT_EQ(pim(), wider);
  hear(bsm("239.1.0.0/16").group("239.1.1.0/24", {{"10.2.2.4"}}));
  EXPECT_EQ(pim(), Lines{"239.1.1.0/24 10.2.2.4 150 0"}) << "and it comes back";
}

TEST_F(RpSetMirrorTest, SetsThatAreDeletedWholeLeaveNothing) {
  hear(
      bsm("224.0.0.0/4").group("225.0.0.0/8", {{"10.1.1.1"}}).group("226.0.0.0/8", {{"10.1.1.1"}}));
  router.status->crpStatus(prefix("224.0.0.0/4"))->status()->crpSetDelAll();
  EXPECT_EQ(pim(), Lines{});
  EXPECT_EQ(router.status->crpStatus(prefix("224.0.0.0/4")), nullptr) << "the zone goes with them";
  expectTraced({"5 Deleted crpSet with prefix 226.0.0.0/8 from rpCandidateStatus"});
  hear(bsm("224.0.0.0/4").group("225.0.0.0/8", {{"10.1.1.1"}}));
  router.status->crpStatusDel(prefix("224.0.0.0/4"));
  EXPECT_EQ(pim(), Lines{});
  goTo(1);
  EXPECT_EQ(world.wheel.armed(), 1U) << "the BS timer alone";
}

TEST_F(RpSetMirrorTest, OthersThatCleanPimsViewUpDoNoHarm) {
  hear(bsm("224.0.0.0/4")
           .group("225.0.0.0/8", {{"10.1.1.1", 20}})
           .group("226.0.0.0/8", {{"10.1.1.1"}}));
  router.pimRpStatus->crpSetDelAll();
  world.runUntil(20);
  hear(bsm("224.0.0.0/4").group("226.0.0.0/8", {{"10.1.1.1"}}));
  EXPECT_EQ(pim(), (Lines{"226.0.0.0/8 10.1.1.1 150 0"}));
  expectTraced({"8 Nothing to do since the CrpSet has already been deleted from rpCandidateStatus",
                "8 225.0.0.0/8 already deleted from rpCandidateStatus",
                "5 Forced creation of crpSet with prefix 226.0.0.0/8 in rpCandidateStatus",
                "5 Forced creation of RP 10.1.1.1 in Rp Set for prefix 226.0.0.0/8 in zone "
                "224.0.0.0/4"});
}

TEST_F(RpSetMirrorTest, ARestartTakesPimsViewOver) {
  hear(bsm("224.0.0.0/4").group("225.0.0.0/8", {{"10.1.1.1"}, {"10.1.1.2", 40}}));
  const auto stale = [&](const char* range) {
    router.pimRpStatus->newCrpSet(prefix(range))->newRp(addr("10.7.7.7"))->expiryTimeIs(1e9);
  };
  router.stop();
  stale("225.0.0.0/8");
  stale("230.0.0.0/8");
  world.runUntil(50);
  router.start();
  EXPECT_EQ(pim(), (Lines{"225.0.0.0/8 10.1.1.1 150 0", "225.0.0.0/8 10.1.1.2 40 0"}));
  goTo(51);
  EXPECT_EQ(pim(), (Lines{"225.0.0.0/8 10.1.1.1 150 0"})) << "what had passed goes at once";
  goTo(150);
  EXPECT_EQ(pim(), Lines{});
}

// --- any order of events ----------------------------------------------------------------------

const char* const zones[] = {"224.0.0.0/4", "239.0.0.0/8", "239.1.0.0/16", "239.1.2.0/24"};
const char* const ranges[] = {"224.0.0.0/4",  "225.0.0.0/8",   "239.0.0.0/8", "239.1.0.0/16",
                              "239.1.2.0/24", "239.1.2.64/26", "239.1.3.0/24"};

/// One message, some time after the one before.
struct Step {
  unsigned pause;
  unsigned zone;
  bool better;  // which of the two BSRs
  bool forward;
  std::vector<std::pair<unsigned, Rps>> ranges;
};

std::ostream& operator<<(std::ostream& out, const Step& step) {
  out << '+' << step.pause << ' ' << zones[step.zone] << (step.better ? " better" : "")
      << (step.forward ? "" : " no-forward");
  for (const auto& [range, rps] : step.ranges) {
    out << ' ' << ranges[range] << '(';
    for (const auto& rp : rps) out << rp.address << ' ' << rp.holdtime << ' ';
    out << ')';
  }
  return out;
}

rc::Gen<Step> genStep() {
  return rc::gen::exec([] {
    Step step;
    step.pause = *rc::gen::weightedElement<unsigned>(
        {{3, 0}, {3, 1}, {3, 7}, {2, 15}, {1, 20}, {1, 33}, {1, 60}});
    step.zone = *rc::gen::inRange(0U, 4U);
    step.better = *rc::gen::arbitrary<bool>();
    step.forward = *rc::gen::weightedElement<bool>({{4, true}, {1, false}});
    const unsigned count = *rc::gen::inRange(0U, 4U);
    for (unsigned i = 0; i < count; ++i) {
      Rps rps;
      for (unsigned rp = 1; rp <= 3; ++rp) {
        if (*rc::gen::arbitrary<bool>()) continue;
        const unsigned hold = *rc::gen::element(0U, 5U, 18U, 30U, 60U);
        rps.push_back({"10.5.5." + std::to_string(rp), hold, *rc::gen::inRange(0U, 3U)});
      }
      step.ranges.emplace_back(*rc::gen::inRange(0U, 7U), rps);
    }
    return step;
  });
}

/// Runs to an instant and looks after every turn of the wheel.
std::string faultUntil(VirtualWorld& world, BsrRouter& router, double instant) {
  while (world.wheel.nextExpiry() <= instant) {
    world.clock.nowIs(world.wheel.nextExpiry());
    while (world.wheel.nextExpiry() <= world.clock.now()) world.wheel.fireDue();
    const std::string fault = bsrFault(router);
    if (!fault.empty()) return fault + " at " + std::to_string(world.clock.now());
  }
  world.clock.nowIs(instant);
  return {};
}

TEST(RpSetMirror, AgreesWithTheZonesAfterEveryEvent) {
  ASSERT_TRUE(rc::check("any messages in any zones at any time", [] {
    VirtualWorld world;
    BsrRouter router(AddressFamily::ipv4, world.wheel);
    router.status->bsTimeoutIs(20);
    router.status->szTimeoutIs(50);
    router.limits->maxRpsIs(20);
    router.limits->maxGroupsIs(12);
    router.linkIs("eth0", "10.0.0.1");
    router.neighborIs("eth0", "10.0.0.2");
    for (const char* bsr : {"10.9.9.1", "10.9.9.9"}) router.routeIs(bsr, "eth0", "10.0.0.2");
    const auto steps = *rc::gen::container<std::vector<Step>>(30, genStep());
    for (const Step& step : steps) {
      RC_ASSERT(faultUntil(world, router, world.clock.now() + step.pause) == "");
      Bsm bsm(step.better ? "10.9.9.9" : "10.9.9.1");
      if (step.zone != 0) bsm.zone(zones[step.zone]);
      if (!step.forward) bsm.noForward();
      std::set<unsigned> seen;
      for (const auto& [range, rps] : step.ranges) {
        const bool zoneEntry = step.zone != 0 && ranges[range] == std::string(zones[step.zone]);
        if (!zoneEntry && seen.insert(range).second) bsm.group(ranges[range], rps);
      }
      router.hear("eth0", "10.0.0.2", bsm);
      RC_ASSERT(bsrFault(router) == "");
    }
    RC_ASSERT(faultUntil(world, router, world.clock.now() + 1000) == "");
    RC_ASSERT(router.pimRps().empty());
    RC_ASSERT(world.wheel.armed() == 0U);
  }));
}

}  // namespace
}  // namespace Routing::Pim::Bsr
