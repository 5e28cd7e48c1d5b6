#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "bsr/engine/RpSetInstaller.h"
#include "tests/support/BsrRouter.h"

// What Bootstrap messages of one BSR leave in the RP set of the global zone and in PIM's view. All
// messages come in as packets, unless a packet cannot be so.

namespace Routing::Pim::Bsr {
namespace {

using TestKit::addr;
using TestKit::Bsm;
using TestKit::BsrRouter;
using TestKit::global;
using TestKit::justBefore;
using TestKit::Lines;
using TestKit::prefix;
using TestKit::Rps;
using TestKit::TraceRecorder;
using TestKit::VirtualWorld;

struct RpSetInstallerTest : ::testing::Test {
  RpSetInstallerTest() {
    router.linkIs("eth0", "10.0.0.1");
    router.neighborIs("eth0", "10.0.0.2");
    router.routeIs("10.9.9.9", "eth0", "10.0.0.2");
  }
  static Bsm bsm() { return Bsm("10.9.9.9"); }
  void hear(const BootstrapMessage& message) { router.hear("eth0", "10.0.0.2", message); }
  Lines rps(const char* zone = global) const { return router.rpSetOf(zone); }
  std::shared_ptr<RpEntry> rp(const char* range, const char* address) const {
    return router.status->crpStatus(prefix(global))
        ->status()
        ->crpSet(prefix(range))
        ->rp(addr(address));
  }
  std::shared_ptr<PimBsrRxFragments> fragments(std::uint16_t tag) {
    return router.engine().bsmRxFragments(tag);
  }
  bool traced(int level, const std::string& text) const { return traces.ends("Sm", level, text); }

  VirtualWorld world;
  BsrRouter router{AddressFamily::ipv4, world.wheel};
  TraceRecorder traces;
};

// --- whole ranges -----------------------------------------------------------------------------

TEST_F(RpSetInstallerTest, ARangeIsInstalledWithAllThatTheMessageSays) {
  world.runUntil(5);
  hear(bsm().tag(7).hashMask(24).group("225.0.0.0/8", {{"10.5.5.5", 100, 7}}));
  const auto entry = rp("225.0.0.0/8", "10.5.5.5");
  EXPECT_EQ(entry->mode(), PimMode::sparse);
  EXPECT_EQ(entry->priority(), RpPriority(7));
  EXPECT_EQ(entry->holdTime(), CrpHoldTime(100));
  EXPECT_EQ(entry->hashMaskLen(), RpHashMaskLen(24));
  EXPECT_EQ(entry->setupTime(), 5);
  EXPECT_EQ(entry->expiryTime(), 105);
  EXPECT_EQ(router.status->crpStatus(prefix(global))->status()->rpSetType(), RpSetType::bsr);
  EXPECT_EQ(router.pimRpStatus->rpSetType(), RpSetType::bsr);
  EXPECT_TRUE(traced(4, "Creating Rp set associated with prefix 225.0.0.0/8 in zone 224.0.0.0/4"));
  EXPECT_TRUE(traced(4,
                     "Adding RP 10.5.5.5 to prefix 225.0.0.0/8 in zone 224.0.0.0/4 with setup time "
                     "of 5"));
  EXPECT_TRUE(traced(5, "RP 10.5.5.5 to expire in 100 from now"));
  EXPECT_EQ(fragments(7), nullptr);

  world.runUntil(20);
  hear(bsm().hashMask(20).bidirGroup("225.0.0.0/8", {{"10.5.5.5", 50, 3}}));
  EXPECT_EQ(rp("225.0.0.0/8", "10.5.5.5"), entry);
  EXPECT_EQ(entry->mode(), PimMode::bidirectional);
  EXPECT_EQ(entry->priority(), RpPriority(3));
  EXPECT_EQ(entry->holdTime(), CrpHoldTime(50));
  EXPECT_EQ(entry->hashMaskLen(), RpHashMaskLen(20));
  EXPECT_EQ(entry->setupTime(), 5);
  EXPECT_EQ(entry->expiryTime(), 70);
  EXPECT_TRUE(traced(4, "Updating RP 10.5.5.5 to prefix 225.0.0.0/8 in zone 224.0.0.0/4"));
  EXPECT_EQ(router.pimRps(), (Lines{"225.0.0.0/8 10.5.5.5 50 3 bidir"}));
}

TEST_F(RpSetInstallerTest, AnRpThatIsNoLongerListedStaysForItsHoldTime) {
  hear(bsm().group("225.0.0.0/8", {{"10.5.5.5", 100}, {"10.6.6.6", 200}}));
  world.runUntil(60);
  hear(bsm().group("225.0.0.0/8", {{"10.6.6.6", 200}}));
  world.runUntil(justBefore(100));
  EXPECT_EQ(rps(), (Lines{"225.0.0.0/8 10.5.5.5 100 0", "225.0.0.0/8 10.6.6.6 200 0"}));
  traces.clear();
  world.runUntil(100);
  EXPECT_EQ(rps(), (Lines{"225.0.0.0/8 10.6.6.6 200 0"}));
  EXPECT_EQ(router.pimRps(), rps());
  EXPECT_TRUE(traced(4, "Deleting RP 10.5.5.5 from prefix 225.0.0.0/8 and zone 224.0.0.0/4"));
  EXPECT_TRUE(traced(5,
                     "Deleted RP 10.5.5.5 from crpSet with prefix 225.0.0.0/8 from "
                     "rpCandidateStatus"));
}

TEST_F(RpSetInstallerTest, TheLastRpTakesRangeAndZoneWithIt) {
  hear(bsm().group("225.0.0.0/8", {{"10.5.5.5", 20}}));
  world.runUntil(20);
  EXPECT_EQ(router.status->crpStatus(prefix(global)), nullptr);
  EXPECT_TRUE(router.pimRpStatus->crpSet().empty());
  EXPECT_TRUE(traced(4, "Deleted rpset for prefix 225.0.0.0/8 in zone 224.0.0.0/4"));
  EXPECT_TRUE(traced(5, "Deleted crpSet with prefix 225.0.0.0/8 from rpCandidateStatus"));
  EXPECT_TRUE(traced(4, "Deleted zone 224.0.0.0/4 RP set "));
}

TEST_F(RpSetInstallerTest, HoldTimeZeroWithdrawsAtOnce) {
  hear(bsm().group("225.0.0.0/8", {{"10.5.5.5"}, {"10.6.6.6"}}));
  hear(bsm().group("225.0.0.0/8", {{"10.5.5.5", 0}}));
  EXPECT_EQ(rps(), (Lines{"225.0.0.0/8 10.6.6.6 150 0"}));
  EXPECT_EQ(router.pimRps(), rps());
  EXPECT_TRUE(traced(4, "Deleted RP 10.5.5.5 since holdtime is 0"));
}

TEST_F(RpSetInstallerTest, WithdrawingWhatIsNotThereChangesNothing) {
  hear(bsm().group("225.0.0.0/8", {{"10.5.5.5", 0}, {"10.6.6.6", 0}}));
  EXPECT_EQ(router.status->crpStatus(prefix(global)), nullptr);
  hear(bsm().group("226.0.0.0/8", {{"10.7.7.7"}}));
  hear(bsm().group("226.0.0.0/8", {{"10.5.5.5", 0}}));
  EXPECT_EQ(rps(), (Lines{"226.0.0.0/8 10.7.7.7 150 0"}));
  EXPECT_FALSE(traces.contains("Sm", 4, "since holdtime is 0"));
}

TEST_F(RpSetInstallerTest, AWithdrawalOfTheLastRpDoesNotLoseTheOnesThatFollowIt) {
  struct {
    Rps before, message;
    Lines after;
  } const cases[] = {
      {{{"10.1.1.1"}}, {{"10.1.1.1", 0}, {"10.2.2.2"}}, {"225.0.0.0/8 10.2.2.2 150 0"}},
      {{{"10.2.2.2"}}, {{"10.1.1.1"}, {"10.2.2.2", 0}}, {"225.0.0.0/8 10.1.1.1 150 0"}},
      {{{"10.1.1.1"}, {"10.2.2.2"}},
       {{"10.1.1.1", 0}, {"10.2.2.2", 0}, {"10.3.3.3", 40}},
       {"225.0.0.0/8 10.3.3.3 40 0"}},
      {{{"10.1.1.1"}, {"10.2.2.2"}}, {{"10.1.1.1", 0}, {"10.2.2.2", 0}}, {}},
  };
  for (const auto& each : cases) {
    router.status->crpStatusDelAll();
    hear(bsm().group("225.0.0.0/8", each.before));
    hear(bsm().group("225.0.0.0/8", each.message));
    EXPECT_EQ(rps(), each.after);
    EXPECT_EQ(router.pimRps(), each.after);
  }
}

TEST_F(RpSetInstallerTest, AnEmptyRangeIsKnownButServesNobody) {
  hear(bsm().group("225.0.0.0/8"));
  EXPECT_EQ(rps(), (Lines{"225.0.0.0/8 empty"}));
  EXPECT_EQ(router.pimRps(), Lines{});
}

// --- fragments --------------------------------------------------------------------------------

TEST_F(RpSetInstallerTest, AFragmentedRangeWaitsForItsLastPiece) {
  hear(bsm().group("225.0.0.0/8", {{"10.9.9.1"}}));  // what is installed already
  const Lines before = rps();
  hear(bsm().tag(7).piece("225.0.0.0/8", 3, {{"10.1.1.1"}}));
  world.runUntil(1);
  hear(bsm().tag(7).piece("225.0.0.0/8", 3, {{"10.2.2.2", 90}}));
  EXPECT_EQ(rps(), before);
  EXPECT_EQ(router.pimRps(), before);
  ASSERT_NE(fragments(7), nullptr);
  EXPECT_EQ(fragments(7)->groupRpData.at(prefix("225.0.0.0/8")).rps(), 2U);
  EXPECT_TRUE(traced(8, "RP Count=3 RP Frag Count=1 Fragment Tag=7"));
  EXPECT_TRUE(traced(5, "Started fragment timer to expire in 10 seconds from now"));

  world.runUntil(2);
  hear(bsm().tag(7).hashMask(8).piece("225.0.0.0/8", 3, {{"10.3.3.3", 80, 4}}));
  EXPECT_EQ(rps(), (Lines{"225.0.0.0/8 10.1.1.1 150 0", "225.0.0.0/8 10.2.2.2 90 0",
                          "225.0.0.0/8 10.3.3.3 80 4", "225.0.0.0/8 10.9.9.1 150 0"}));
  EXPECT_EQ(router.pimRps(), rps());
  EXPECT_EQ(rp("225.0.0.0/8", "10.1.1.1")->expiryTime(), 152) << "counted from the last piece";
  EXPECT_EQ(rp("225.0.0.0/8", "10.1.1.1")->hashMaskLen(), RpHashMaskLen(8));
  EXPECT_EQ(fragments(7), nullptr);
  EXPECT_TRUE(traced(8,
                     "We have received all fragments to process fragment tag 7 and prefix "
                     "225.0.0.0/8"));
  EXPECT_TRUE(traced(5, "RP 10.2.2.2 to expire in 90 seconds from now"));
  EXPECT_TRUE(traced(1, "Fragments related to 225.0.0.0/8 from fragment tag 7 processed"));
  EXPECT_TRUE(traced(5, "Stopped fragment timer"));
}

TEST_F(RpSetInstallerTest, OneMessageMayCompleteSomeRangesAndLeaveOthersOpen) {
  hear(bsm().tag(7).group("225.0.0.0/8", {{"10.1.1.1"}}).piece("226.0.0.0/8", 2, {{"10.2.2.2"}}));
  EXPECT_EQ(rps(), (Lines{"225.0.0.0/8 10.1.1.1 150 0"}));
  hear(
      bsm().tag(7).piece("226.0.0.0/8", 2, {{"10.3.3.3"}}).piece("227.0.0.0/8", 2, {{"10.4.4.4"}}));
  EXPECT_EQ(rps(), (Lines{"225.0.0.0/8 10.1.1.1 150 0", "226.0.0.0/8 10.2.2.2 150 0",
                          "226.0.0.0/8 10.3.3.3 150 0"}));
  ASSERT_NE(fragments(7), nullptr);
  EXPECT_EQ(fragments(7)->groupRpData.size(), 1U);
}

TEST_F(RpSetInstallerTest, WithdrawalsTravelInPiecesToo) {
  hear(bsm().group("225.0.0.0/8", {{"10.1.1.1"}}));
  hear(bsm().tag(7).piece("225.0.0.0/8", 2, {{"10.1.1.1", 0}}));
  EXPECT_EQ(rps(), (Lines{"225.0.0.0/8 10.1.1.1 150 0"}));
  hear(bsm().tag(7).piece("225.0.0.0/8", 2, {{"10.2.2.2"}}));
  EXPECT_EQ(rps(), (Lines{"225.0.0.0/8 10.2.2.2 150 0"}));
}

TEST_F(RpSetInstallerTest, TheSamePieceTwiceDoesNotCompleteARange) {
  for (int i = 0; i < 3; ++i) hear(bsm().tag(7).piece("225.0.0.0/8", 2, {{"10.1.1.1"}}));
  EXPECT_EQ(rps(), Lines{});
  hear(bsm().tag(7).piece("225.0.0.0/8", 2, {{"10.2.2.2"}}));
  EXPECT_EQ(rps().size(), 2U);
}

TEST_F(RpSetInstallerTest, PiecesOfDifferentTagsAndRangesDoNotMix) {
  // Zones of their own, so that a new tag of one does not end what the other has.
  const auto piece = [&](const char* zone, unsigned tag, const char* range, const char* address) {
    return bsm().zone(zone).tag(tag).piece(range, 2, {{address}});
  };
  hear(piece("239.1.0.0/16", 7, "239.1.1.0/24", "10.1.1.1"));
  hear(piece("239.2.0.0/16", 8, "239.2.2.0/24", "10.2.2.2"));
  hear(piece("239.2.0.0/16", 8, "239.2.3.0/24", "10.3.3.3"));
  EXPECT_EQ(rps("239.1.0.0/16"), (Lines{"239.1.0.0/16 empty"}));
  hear(piece("239.1.0.0/16", 7, "239.1.1.0/24", "10.8.8.8"));
  hear(piece("239.2.0.0/16", 8, "239.2.2.0/24", "10.9.9.1"));
  EXPECT_EQ(rps("239.1.0.0/16"), (Lines{"239.1.0.0/16 empty", "239.1.1.0/24 10.1.1.1 150 0",
                                        "239.1.1.0/24 10.8.8.8 150 0"}));
  EXPECT_EQ(rps("239.2.0.0/16"), (Lines{"239.2.0.0/16 empty", "239.2.2.0/24 10.2.2.2 150 0",
                                        "239.2.2.0/24 10.9.9.1 150 0"}));
  EXPECT_NE(fragments(8), nullptr) << "239.2.3.0/24 is still open";
}

TEST_F(RpSetInstallerTest, AZonesNewTagEndsItsOldPieces) {
  hear(bsm().tag(7).piece("225.0.0.0/8", 2, {{"10.1.1.1"}}));
  hear(bsm().tag(8).piece("225.0.0.0/8", 2, {{"10.2.2.2"}}));
  hear(bsm().tag(7).piece("225.0.0.0/8", 2, {{"10.2.2.2"}}));
  EXPECT_EQ(rps(), Lines{});
}

TEST_F(RpSetInstallerTest, PiecesThatContradictEachOtherAreDropped) {
  const std::string dropped =
      "Dropping fragments of 225.0.0.0/8 with fragment tag 7 since they contradict each other";
  hear(bsm().tag(7).piece("225.0.0.0/8", 3, {{"10.1.1.1"}, {"10.2.2.2"}}));
  hear(bsm().tag(7).piece("225.0.0.0/8", 4, {{"10.3.3.3"}}));
  EXPECT_EQ(traces.count("Sm", 1, dropped), 1U) << "another count";
  EXPECT_EQ(fragments(7), nullptr);
  hear(bsm().tag(7).piece("225.0.0.0/8", 3, {{"10.1.1.1"}, {"10.2.2.2"}}));
  hear(bsm().tag(7).piece("225.0.0.0/8", 3, {{"10.3.3.3"}, {"10.4.4.4"}}));
  EXPECT_EQ(traces.count("Sm", 1, dropped), 2U) << "more RPs than announced";
  EXPECT_EQ(fragments(7), nullptr);
  EXPECT_EQ(rps(), Lines{});
  hear(bsm().tag(7).piece("225.0.0.0/8", 3, {{"10.1.1.1"}}));
  hear(bsm().tag(7).piece("225.0.0.0/8", 3, {{"10.2.2.2"}, {"10.3.3.3"}}));
  EXPECT_EQ(rps().size(), 3U) << "what comes after that counts";
}

TEST_F(RpSetInstallerTest, ARepeatedLastPieceOpensTheRangeAnewAndIsForgotten) {
  hear(bsm().tag(7).piece("225.0.0.0/8", 2, {{"10.1.1.1"}}));
  hear(bsm().tag(7).piece("225.0.0.0/8", 2, {{"10.2.2.2"}}));
  hear(bsm().tag(7).piece("225.0.0.0/8", 2, {{"10.2.2.2"}}));
  EXPECT_EQ(rps().size(), 2U);
  EXPECT_NE(fragments(7), nullptr);
  world.runUntil(30);
  EXPECT_EQ(fragments(7), nullptr);
}

// --- fragments that stay incomplete -----------------------------------------------------------

TEST_F(RpSetInstallerTest, APartialRangeIsDiscardedAtTheFirstRunAfterItsTime) {
  hear(bsm().tag(7).piece("225.0.0.0/8", 2, {{"10.1.1.1"}}));
  world.runUntil(20);
  EXPECT_NE(fragments(7), nullptr);
  EXPECT_TRUE(traced(1, "fragment 225.0.0.0/8 around for 10 seconds"));
  EXPECT_TRUE(traced(1, "fragment 225.0.0.0/8 around for 20 seconds"));
  EXPECT_TRUE(traced(5, "Next fragmentTimerTimeout in 10 seconds from now"));
  world.runUntil(justBefore(30));
  EXPECT_NE(fragments(7), nullptr);
  traces.clear();
  world.runUntil(30);
  EXPECT_EQ(fragments(7), nullptr);
  EXPECT_TRUE(traced(1, "Deleted Group fragment 225.0.0.0/8 due to timeout. Num Rps=1"));
  EXPECT_TRUE(traced(1, "Deleted fragment 7 due to timeout"));
  EXPECT_TRUE(traced(5, "Stopped fragment timer"));
  EXPECT_FALSE(traces.contains("Sm", 5, "Next fragmentTimerTimeout"));
  traces.clear();
  world.runUntil(45);
  EXPECT_FALSE(traces.contains("Sm", 1, "around for")) << "the timer rests";
  hear(bsm().tag(7).piece("225.0.0.0/8", 2, {{"10.2.2.2"}}));
  EXPECT_EQ(rps(), Lines{});
}

struct AgeCase {
  double created;
  double gone;
};

TEST_F(RpSetInstallerTest, TheCadenceOfTheFirstTagServesAllOfThem) {
  // Runs at 10, 20, 30 ...; ages are rounded to whole seconds. One zone each, see above.
  const AgeCase cases[] = {{0, 30}, {5, 30}, {5.4, 30}, {5.6, 40}, {9.9, 40}, {10, 40}, {12, 40}};
  unsigned zone = 0;
  const auto zoneText = [](unsigned n) { return "239." + std::to_string(n) + ".0.0/16"; };
  for (const AgeCase& each : cases) {
    world.runUntil(each.created);
    ++zone;
    hear(bsm().zone(zoneText(zone)).tag(zone).piece("225.0.0.0/8", 2, {{"10.1.1.1"}}));
  }
  for (const double at : {30.0, 40.0}) {
    world.runUntil(justBefore(at));
    for (unsigned n = 0; n < zone; ++n) {
      EXPECT_EQ(fragments(static_cast<std::uint16_t>(n + 1)) != nullptr, cases[n].gone >= at)
          << cases[n].created << " just before " << at;
    }
    world.runUntil(at);
    for (unsigned n = 0; n < zone; ++n) {
      EXPECT_EQ(fragments(static_cast<std::uint16_t>(n + 1)) != nullptr, cases[n].gone > at)
          << cases[n].created << " at " << at;
    }
  }
}

TEST_F(RpSetInstallerTest, TheTimerStopsWithTheLastTagAndNotBefore) {
  hear(bsm().zone("239.1.0.0/16").tag(1).piece("239.1.1.0/24", 2, {{"10.1.1.1"}}));
  world.runUntil(4);
  hear(bsm().zone("239.2.0.0/16").tag(2).piece("239.2.1.0/24", 2, {{"10.1.1.1"}}));
  traces.clear();
  hear(bsm().zone("239.1.0.0/16").tag(1).piece("239.1.1.0/24", 2, {{"10.2.2.2"}}));
  EXPECT_FALSE(traces.contains("Sm", 5, "fragment timer"));
  world.runUntil(10);
  EXPECT_TRUE(traced(1, "fragment 239.2.1.0/24 around for 6 seconds")) << "not re-armed";
  hear(bsm().zone("239.2.0.0/16").tag(2).piece("239.2.1.0/24", 2, {{"10.2.2.2"}}));
  EXPECT_TRUE(traced(5, "Stopped fragment timer"));
}

// --- refreshing -------------------------------------------------------------------------------

TEST_F(RpSetInstallerTest, ARefreshTouchesOnlyWhatIsThere) {
  PimBsrSm& engine = router.engine();
  const IpGenPrefix zone = prefix(global);
  const auto message =
      bsm()
          .group("225.0.0.0/8", {{"10.1.1.1", 0}, {"10.2.2.2", 99, 9}, {"10.3.3.3"}})
          .group("226.0.0.0/8", {{"10.4.4.4"}})
          .group("227.0.0.0/8")
          .piece("228.0.0.0/8", 3, {{"10.5.5.5", 99}, {"10.6.6.6"}})
          .noForward()
          .make();
  engine.refreshRpSet(zone, message);
  EXPECT_EQ(router.status->crpStatus(zone), nullptr);
  EXPECT_TRUE(message->forward());

  hear(bsm()
           .group("225.0.0.0/8", {{"10.1.1.1"}, {"10.2.2.2"}})
           .group("228.0.0.0/8", {{"10.5.5.5"}}));
  world.runUntil(50);
  engine.refreshRpSet(zone, nullptr);
  engine.refreshRpSet(zone, message);
  EXPECT_EQ(rps(), (Lines{"225.0.0.0/8 10.2.2.2 99 9", "228.0.0.0/8 10.5.5.5 99 0"}));
  EXPECT_EQ(rp("225.0.0.0/8", "10.2.2.2")->expiryTime(), 149);
  EXPECT_EQ(rp("225.0.0.0/8", "10.2.2.2")->setupTime(), 0);
  EXPECT_EQ(router.pimRps(), rps());
  EXPECT_EQ(fragments(message->fragmentTag()), nullptr) << "nothing is waited for";
}

TEST_F(RpSetInstallerTest, WhenTheBsrFallsSilentEveryPieceOfItsLastMessageIsRefreshed) {
  hear(bsm().tag(7).group("225.0.0.0/8", {{"10.1.1.1"}}).piece("226.0.0.0/8", 2, {{"10.2.2.2"}}));
  world.runUntil(1);
  hear(bsm().tag(7).piece("226.0.0.0/8", 2, {{"10.3.3.3"}}).group("227.0.0.0/8", {{"10.4.4.4"}}));
  world.runUntil(131);
  for (const auto& [range, address] : {std::pair{"225.0.0.0/8", "10.1.1.1"},
                                       {"226.0.0.0/8", "10.2.2.2"},
                                       {"226.0.0.0/8", "10.3.3.3"},
                                       {"227.0.0.0/8", "10.4.4.4"}}) {
    EXPECT_EQ(rp(range, address)->expiryTime(), 281) << address;
  }
}

// --- what no packet can say -------------------------------------------------------------------

TEST_F(RpSetInstallerTest, AHashMaskLengthOutOfRangeIsRefusedBeforeAnythingIsWritten) {
  const auto bad = bsm().hashMask(129).group("225.0.0.0/8", {{"10.1.1.1"}}).make();
  router.engine().storeRpSet(prefix(global), *bad, false);
  EXPECT_TRUE(traced(1,
                     "RP set of zone 224.0.0.0/4 not installed: RpHashMaskLen::value < 0 or > 128 "
                     "not allowed"));
  EXPECT_EQ(router.status->crpStatus(prefix(global)), nullptr);
}

TEST_F(RpSetInstallerTest, MoreRpsThanAnnouncedIsAFailedAssertion) {
  const TestKit::ThrowingAssertions guard;
  const auto bad = bsm().tag(7).piece("225.0.0.0/8", 1, {{"10.1.1.1"}, {"10.2.2.2"}}).make();
  try {
    router.engine().storeRpSet(prefix(global), *bad, false);
    FAIL() << "no assertion";
  } catch (const AssertionError& error) {
    EXPECT_STREQ(error.what(), "fragment->rpCount() == fragment->rps()");
  }
}

TEST_F(RpSetInstallerTest, NothingIsInstalledWithoutAnAddressFamily) {
  router.status->afIs(AddressFamily::unset);
  PimBsrSm& engine = router.engine();
  const auto message = bsm().tag(7).group("225.0.0.0/8", {{"10.1.1.1"}}).make();
  engine.storeRpSet(prefix(global), *message, false);
  engine.refreshRpSet(prefix(global), message);
  engine.forwardBsm(prefix(global), message);
  engine.doSendTriggeredBsm(prefix(global), false, IntfId("eth0"), message);
  engine.doAddGroupData(*message, nullptr, prefix("226.0.0.0/8"), 0);
  EXPECT_EQ(engine.bsmRxFragments(7), nullptr);
  EXPECT_EQ(router.status->crpStatus(prefix(global)), nullptr);
  EXPECT_TRUE(router.sentBsms().empty());
  EXPECT_EQ(message->groupRpData().size(), 1U);
}

// --- bounds -----------------------------------------------------------------------------------

TEST_F(RpSetInstallerTest, RangesBeyondTheLimitAreRefusedAndCounted) {
  router.limits->maxGroupsIs(2);
  hear(bsm()
           .group("225.0.0.0/8", {{"10.1.1.1"}})
           .group("226.0.0.0/8", {{"10.1.1.1", 50}})
           .group("227.0.0.0/8", {{"10.1.1.1"}}));
  hear(bsm().zone("239.1.0.0/16").group("239.1.1.0/24", {{"10.2.2.2"}}));
  EXPECT_EQ(rps(), (Lines{"225.0.0.0/8 10.1.1.1 150 0", "226.0.0.0/8 10.1.1.1 50 0"}));
  EXPECT_EQ(rps("239.1.0.0/16"), Lines{});
  EXPECT_EQ(router.limits->refusedGroups(), 3U);
  EXPECT_TRUE(
      traced(1, "No room for a set for prefix 227.0.0.0/8 in zone 224.0.0.0/4 besides 2 sets"));
  world.runUntil(50);  // makes room for one
  hear(bsm().group("227.0.0.0/8", {{"10.1.1.1"}}));
  EXPECT_EQ(rps(), (Lines{"225.0.0.0/8 10.1.1.1 150 0", "227.0.0.0/8 10.1.1.1 150 0"}));
  EXPECT_EQ(router.limits->refusedGroups(), 3U);
}

TEST_F(RpSetInstallerTest, RpsBeyondTheLimitAreRefusedAndCounted) {
  router.limits->maxRpsIs(3);
  hear(bsm()
           .group("225.0.0.0/8", {{"10.1.1.1"}, {"10.2.2.2"}})
           .group("226.0.0.0/8", {{"10.1.1.1"}, {"10.2.2.2"}}));
  EXPECT_EQ(rps(), (Lines{"225.0.0.0/8 10.1.1.1 150 0", "225.0.0.0/8 10.2.2.2 150 0",
                          "226.0.0.0/8 10.1.1.1 150 0"}));
  EXPECT_EQ(router.limits->refusedRps(), 1U);
  EXPECT_TRUE(traced(1, "No room for RP 10.2.2.2 of prefix 226.0.0.0/8 besides 3 RPs"));
  hear(bsm().group("227.0.0.0/8", {{"10.1.1.1"}, {"10.2.2.2"}}));
  EXPECT_EQ(router.limits->refusedRps(), 3U);
  EXPECT_EQ(router.status->crpStatus(prefix("224.0.0.0/4"))->status()->crpSet().size(), 2U)
      << "no set is left without an RP that would end it";
  world.runUntil(10);
  hear(bsm().group("225.0.0.0/8", {{"10.1.1.1", 200}, {"10.2.2.2", 0}}));  // known ones go on
  hear(bsm().group("226.0.0.0/8", {{"10.2.2.2"}}));
  EXPECT_EQ(rps(), (Lines{"225.0.0.0/8 10.1.1.1 200 0", "226.0.0.0/8 10.1.1.1 150 0",
                          "226.0.0.0/8 10.2.2.2 150 0"}));
  EXPECT_EQ(router.limits->refusedRps(), 3U);
}

TEST_F(RpSetInstallerTest, PartialRangesBeyondTheLimitAreRefusedAndCounted) {
  router.limits->maxFragmentsIs(2);
  hear(bsm()
           .tag(7)
           .piece("225.0.0.0/8", 2, {{"10.1.1.1"}})
           .piece("226.0.0.0/8", 2, {{"10.1.1.1"}})
           .piece("227.0.0.0/8", 2, {{"10.1.1.1"}}));
  hear(bsm().zone("239.1.0.0/16").tag(8).piece("239.1.1.0/24", 2, {{"10.1.1.1"}}));
  EXPECT_EQ(router.limits->refusedFragments(), 2U);
  EXPECT_EQ(fragments(8), nullptr) << "not even an empty record";
  EXPECT_TRUE(traced(1, "Dropping fragment of 239.1.1.0/24 since 2 ranges are incomplete"));
  hear(bsm().tag(7).piece("226.0.0.0/8", 2, {{"10.2.2.2"}}));  // completes what was taken
  EXPECT_EQ(rps().size(), 2U);
  hear(bsm().tag(7).piece("227.0.0.0/8", 2, {{"10.1.1.1"}}));  // and that makes room
  hear(bsm().tag(7).piece("227.0.0.0/8", 2, {{"10.2.2.2"}}));
  EXPECT_EQ(rps().size(), 4U);
  EXPECT_EQ(router.limits->refusedFragments(), 2U);
}

TEST_F(RpSetInstallerTest, RoomIsRegainedHoweverPartialRangesEnd) {
  router.limits->maxFragmentsIs(1);
  hear(bsm().tag(7).piece("225.0.0.0/8", 2, {{"10.1.1.1"}}));
  hear(bsm().tag(7).piece("225.0.0.0/8", 3, {{"10.1.1.1"}}));  // contradiction
  hear(bsm().tag(8).piece("225.0.0.0/8", 2, {{"10.1.1.1"}}));
  hear(bsm().tag(9).group("226.0.0.0/8", {{"10.1.1.1"}}));  // a new tag ends the old one
  hear(bsm().tag(9).piece("225.0.0.0/8", 2, {{"10.1.1.1"}}));
  world.runUntil(31);  // age
  hear(bsm().tag(10).piece("225.0.0.0/8", 2, {{"10.1.1.1"}}));
  EXPECT_EQ(router.limits->refusedFragments(), 0U);
  EXPECT_NE(fragments(10), nullptr);
}

}  // namespace
}  // namespace Routing::Pim::Bsr
