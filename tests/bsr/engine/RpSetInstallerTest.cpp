#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "bsr/engine/RpSetInstaller.h"
#include "tests/bsr/NeighborFixture.h"

// What Bootstrap messages of one BSR leave in the RP set of the global zone and in PIM's view. All
// messages come in as packets, unless a packet cannot be so.

namespace Routing::Pim::Bsr {
namespace {

using namespace TestKit;

struct RpSetInstallerTest : NeighborFixture {
  static Bsm bsm() { return Bsm("10.9.9.9"); }
  Lines rps(const char* zone = global) const { return router.rpSetOf(zone); }
  std::shared_ptr<RpEntry> rp(const char* range, const char* address) const {
    const auto set = router.status->crpStatus(prefix(global))->status();
    return set->crpSet(prefix(range))->rp(addr(address));
  }
};

// --- whole ranges -----------------------------------------------------------------------------

TEST_F(RpSetInstallerTest, ARangeIsInstalledWithAllThatTheMessageSays) {
  world.runUntil(5);
  hear(bsm().tag(7).hashMask(24).group("225.0.0.0/8", {{"10.5.5.5", 100, 7}}));
  const auto entry = rp("225.0.0.0/8", "10.5.5.5");
  EXPECT_EQ(rps(), Lines{"225.0.0.0/8 10.5.5.5 100 7"});
  EXPECT_EQ(entry->hashMaskLen(), RpHashMaskLen(24));
  EXPECT_EQ(entry->setupTime(), 5);
  EXPECT_EQ(entry->expiryTime(), 105);
  EXPECT_EQ(router.status->crpStatus(prefix(global))->status()->rpSetType(), RpSetType::bsr);
  EXPECT_EQ(router.pimRpStatus->rpSetType(), RpSetType::bsr);
  expectTraced({"4 Creating Rp set associated with prefix 225.0.0.0/8 in zone 224.0.0.0/4",
                "4 Adding RP 10.5.5.5 to prefix 225.0.0.0/8 in zone 224.0.0.0/4 with setup time "
                "of 5",
                "5 RP 10.5.5.5 to expire in 100 from now"});

  world.runUntil(20);
  hear(bsm().hashMask(20).bidirGroup("225.0.0.0/8", {{"10.5.5.5", 50, 3}}));
  EXPECT_EQ(rp("225.0.0.0/8", "10.5.5.5"), entry);
  EXPECT_EQ(router.pimRps(), Lines{"225.0.0.0/8 10.5.5.5 50 3 bidir"});
  EXPECT_EQ(entry->hashMaskLen(), RpHashMaskLen(20));
  EXPECT_EQ(entry->setupTime(), 5);
  EXPECT_EQ(entry->expiryTime(), 70);
  expectTraced({"4 Updating RP 10.5.5.5 to prefix 225.0.0.0/8 in zone 224.0.0.0/4"});
}

TEST_F(RpSetInstallerTest, WhatAloneIsDifferentIsTakenToo) {
  const Bsm first = bsm().group("225.0.0.0/8", {{"10.5.5.5", 100, 7}});
  struct {
    Bsm change;
    const char* after;
    unsigned hashMaskLen;
    double expiryTime;
  } const cases[] = {
      {first, "100 7", 30, 100},
      {bsm().hashMask(20).group("225.0.0.0/8", {{"10.5.5.5", 100, 7}}), "100 7", 20, 100},
      {bsm().group("225.0.0.0/8", {{"10.5.5.5", 50, 7}}), "50 7", 30, 50},
      {bsm().group("225.0.0.0/8", {{"10.5.5.5", 100, 3}}), "100 3", 30, 100},
      {bsm().bidirGroup("225.0.0.0/8", {{"10.5.5.5", 100, 7}}), "100 7 bidir", 30, 100},
  };
  for (const auto& each : cases) {
    hear(first);
    hear(each.change);
    EXPECT_EQ(rps(), Lines{"225.0.0.0/8 10.5.5.5 " + std::string(each.after)});
    EXPECT_EQ(router.pimRps(), rps());
    const auto shown = router.pimRpStatus->crpSet(prefix("225.0.0.0/8"))->rp(addr("10.5.5.5"));
    for (const auto& entry : {rp("225.0.0.0/8", "10.5.5.5"), shown}) {
      EXPECT_EQ(entry->hashMaskLen(), RpHashMaskLen(each.hashMaskLen)) << each.after;
      EXPECT_EQ(entry->expiryTime(), each.expiryTime) << each.after;
    }
  }
}

TEST_F(RpSetInstallerTest, AnRpThatIsNoLongerListedStaysForItsHoldTime) {
  hear(bsm().group("225.0.0.0/8", {{"10.5.5.5", 100}, {"10.6.6.6", 200}}));
  world.runUntil(60);
  hear(bsm().group("225.0.0.0/8", {{"10.6.6.6", 200}}));
  world.runUntil(justBefore(100));
  EXPECT_EQ(rps(), (Lines{"225.0.0.0/8 10.5.5.5 100 0", "225.0.0.0/8 10.6.6.6 200 0"}));
  world.runUntil(100);
  EXPECT_EQ(rps(), Lines{"225.0.0.0/8 10.6.6.6 200 0"});
  EXPECT_EQ(router.pimRps(), rps());
  expectTraced(
      {"5 Deleted RP 10.5.5.5 from crpSet with prefix 225.0.0.0/8 from "
       "rpCandidateStatus"});
}

TEST_F(RpSetInstallerTest, HoldTimeZeroWithdrawsAtOnceAndNothingElse) {
  struct {
    Rps before, message;
    Lines after;
  } const cases[] = {
      {{}, {{"10.1.1.1", 0}, {"10.2.2.2", 0}}, {}},
      {{{"10.1.1.1"}, {"10.2.2.2"}}, {{"10.1.1.1", 0}}, {"225.0.0.0/8 10.2.2.2 150 0"}},
      // The last RP's going does not lose the ones that follow it.
      {{{"10.1.1.1"}},
       {{"10.1.1.1", 0}, {"10.2.2.2"}, {"10.3.3.3"}},
       {"225.0.0.0/8 10.2.2.2 150 0", "225.0.0.0/8 10.3.3.3 150 0"}},
      {{{"10.2.2.2"}}, {{"10.1.1.1"}, {"10.2.2.2", 0}}, {"225.0.0.0/8 10.1.1.1 150 0"}},
      {{{"10.1.1.1"}, {"10.2.2.2"}},
       {{"10.1.1.1", 0}, {"10.2.2.2", 0}, {"10.3.3.3", 40}},
       {"225.0.0.0/8 10.3.3.3 40 0"}},
      {{{"10.1.1.1"}, {"10.2.2.2"}}, {{"10.1.1.1", 0}, {"10.2.2.2", 0}}, {}},
  };
  for (const auto& each : cases) {
    forget();
    if (!each.before.empty()) hear(bsm().group("225.0.0.0/8", each.before));
    hear(bsm().group("225.0.0.0/8", each.message));
    EXPECT_EQ(rps(), each.after);
    EXPECT_EQ(router.pimRps(), each.after);
  }
  expectTraced({"4 Deleted RP 10.1.1.1 since holdtime is 0"});
}

TEST_F(RpSetInstallerTest, AnEmptyRangeIsKnownButServesNobody) {
  hear(bsm().group("225.0.0.0/8"));
  EXPECT_EQ(rps(), Lines{"225.0.0.0/8 empty"});
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
  world.runUntil(2);
  hear(bsm().tag(7).hashMask(8).piece("225.0.0.0/8", 3, {{"10.3.3.3", 80, 4}}));
  EXPECT_EQ(rps(), (Lines{"225.0.0.0/8 10.1.1.1 150 0", "225.0.0.0/8 10.2.2.2 90 0",
                          "225.0.0.0/8 10.3.3.3 80 4", "225.0.0.0/8 10.9.9.1 150 0"}));
  EXPECT_EQ(router.pimRps(), rps());
  EXPECT_EQ(rp("225.0.0.0/8", "10.1.1.1")->expiryTime(), 152) << "counted from the last piece";
  EXPECT_EQ(rp("225.0.0.0/8", "10.1.1.1")->hashMaskLen(), RpHashMaskLen(8));
  expectTraced({"8 RP Count=3 RP Frag Count=1 Fragment Tag=7",
                "5 Started fragment timer to expire in 10 seconds from now",
                "8 We have received all fragments to process fragment tag 7 and prefix 225.0.0.0/8",
                "5 RP 10.2.2.2 to expire in 90 seconds from now",
                "1 Fragments related to 225.0.0.0/8 from fragment tag 7 processed"});
}

TEST_F(RpSetInstallerTest, PiecesAddUpUnlessTheyContradictEachOther) {
  const auto piece = [](unsigned tag, unsigned count, const Rps& rps) {
    return bsm().tag(tag).piece("225.0.0.0/8", count, rps);
  };
  const Bsm first = piece(7, 2, {{"10.1.1.1"}}), second = piece(7, 2, {{"10.2.2.2"}});
  const Bsm two = piece(7, 3, {{"10.1.1.1"}, {"10.2.2.2"}});
  const Bsm three = piece(7, 3, {{"10.3.3.3"}}), others = piece(7, 3, {{"10.3.3.3"}, {"10.4.4.4"}});
  const Bsm installed = bsm().group("225.0.0.0/8", {{"10.1.1.1"}});
  const Bsm gone = piece(7, 2, {{"10.1.1.1", 0}});
  const Lines both{"225.0.0.0/8 10.1.1.1 150 0", "225.0.0.0/8 10.2.2.2 150 0"};
  const Lines all{both[0], both[1], "225.0.0.0/8 10.3.3.3 150 0"};
  struct {
    const char* what;
    bool open;  // something is still waited for
    std::vector<Bsm> messages;
    Lines after;
  } const cases[] = {
      {"one piece again and again", true, {first, first, first}, {}},
      {"and then the other", false, {first, first, second}, both},
      {"the last one again opens the range anew", true, {first, second, second}, both},
      {"a withdrawal in pieces", false, {installed, gone, second}, {both[1]}},
      {"another tag between them", true, {first, piece(8, 2, {{"10.2.2.2"}}), second}, {}},
      {"another count", false, {two, piece(7, 4, {{"10.3.3.3"}})}, {}},
      {"more RPs than announced", false, {two, others}, {}},
      {"what comes after that counts", true, {two, others, two}, {}},
      {"and completes", false, {two, others, three, two}, all},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.what);
    forget();
    for (const Bsm& message : each.messages) hear(message);
    EXPECT_EQ(rps(), each.after);
    EXPECT_EQ(fragments(7) != nullptr, each.open);
  }
  expectTraced({"8 Removing saved fragments related to tag 7"}, "NonCandidateSm");
  EXPECT_EQ(traces.count("Sm", 1,
                         "Dropping fragments of 225.0.0.0/8 with fragment tag 7 since they "
                         "contradict each other"),
            4U);
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

// --- fragments that stay incomplete -----------------------------------------------------------

TEST_F(RpSetInstallerTest, APartialRangeIsDiscardedAtTheFirstRunAfterItsTime) {
  hear(bsm().tag(7).piece("225.0.0.0/8", 2, {{"10.1.1.1"}}));
  world.runUntil(justBefore(30));
  EXPECT_NE(fragments(7), nullptr);
  expectTraced({"1 fragment 225.0.0.0/8 around for 10 seconds",
                "1 fragment 225.0.0.0/8 around for 20 seconds",
                "5 Next fragmentTimerTimeout in 10 seconds from now"});
  traces.clear();
  world.runUntil(30);
  EXPECT_EQ(fragments(7), nullptr);
  expectTraced({"1 Deleted Group fragment 225.0.0.0/8 due to timeout. Num Rps=1",
                "1 Deleted fragment 7 due to timeout", "5 Stopped fragment timer"});
  traces.clear();
  world.runUntil(45);
  EXPECT_FALSE(traces.contains("Sm", 1, "around for")) << "the timer rests";
}

TEST_F(RpSetInstallerTest, TheCadenceOfTheFirstTagServesAllOfThem) {
  // Runs at 10, 20, 30 ...; ages are rounded to whole seconds. One zone each, see above.
  struct {
    double created, gone;
  } const cases[] = {{0, 30}, {5, 30}, {5.4, 30}, {5.6, 40}, {9.9, 40}, {10, 40}, {12, 40}};
  unsigned zone = 0;
  const auto zoneText = [](unsigned n) { return "239." + std::to_string(n) + ".0.0/16"; };
  for (const auto& each : cases) {
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
  expectTraced({"1 fragment 239.2.1.0/24 around for 6 seconds"});  // not re-armed
  hear(bsm().zone("239.2.0.0/16").tag(2).piece("239.2.1.0/24", 2, {{"10.2.2.2"}}));
  expectTraced({"5 Stopped fragment timer"});
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
  EXPECT_FALSE(message->forward()) << "others may hold it";

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

TEST_F(RpSetInstallerTest, MoreRpsThanAnnouncedIsAFailedAssertion) {
  const Bsm bad = bsm().tag(7).piece("225.0.0.0/8", 1, {{"10.1.1.1"}, {"10.2.2.2"}});
  EXPECT_EQ(refusal([&] { router.engine().storeRpSet(prefix(global), bad, false); }),
            "fragment->rpCount() == fragment->rps()");
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
  expectTraced({"1 No room for a set for prefix 227.0.0.0/8 in zone 224.0.0.0/4 besides 2 sets"});
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
  expectTraced({"1 No room for RP 10.2.2.2 of prefix 226.0.0.0/8 besides 3 RPs"});
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
  expectTraced({"1 Dropping fragment of 239.1.1.0/24 since 2 ranges are incomplete"});
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
