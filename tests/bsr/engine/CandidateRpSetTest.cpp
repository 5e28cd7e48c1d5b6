#include <gtest/gtest.h>

#include <string>

#include "bsr/engine/CandidateRpSet.h"
#include "tests/bsr/engine/CandidateFixture.h"

// What the elected BSR makes of candidate-RP advertisements. This router is the BSR 64@10.0.0.1
// with a period of 60 s; advertisements reach it as octets.

namespace Routing::TestKit {
namespace {

constexpr unsigned bidir = 0x80;
constexpr unsigned zoneBit = 0x01;
const char* const range = "225.0.0.0/8";
const char* const rpA = "10.9.9.1";
const char* const rpB = "10.9.9.2";

struct CandidateRpSetTest : CandidateFixture {
  bool tracedByRoot(int level, std::string_view text) { return traces.ends("Sm", level, text); }
  /// What the next message, ten seconds from now at the latest, says of the ranges.
  Lines announcedSoon() {
    wait(10);
    const auto bsms = router.sentBsms();
    Lines ranges;
    if (bsms.empty()) return ranges;
    for (const auto& group : bsms.front().bsm->groupRpData()) {
      for (const auto& [address, data] : group.rpList()) {
        ranges.push_back(group.prefix().text() + " " + address.text() + " " +
                         std::to_string(data.rpHoldtime()) + (group.bidir() ? " bidir" : ""));
      }
    }
    return ranges;
  }
  void expectErrors(unsigned rejected) {
    EXPECT_EQ(router.counters().rxError(), rejected);
    EXPECT_EQ(router.counters().rxCrpAdvError(), rejected);
    EXPECT_EQ(router.counters().errCounters().rxScopeMismatch(), rejected);
  }
};

// --- new and known RPs ------------------------------------------------------------------------

TEST_F(CandidateRpSetTest, ANewRpIsHeldAnnouncedAndUsedAtOnce) {
  standAndWin();
  wait(15);
  traces.clear();
  advertise(range, rpA, 200, 7);
  EXPECT_EQ(router.rpSetOf(g4), Lines{"225.0.0.0/8 10.9.9.1 200 7"});
  EXPECT_EQ(router.pimRps(), Lines{"225.0.0.0/8 10.9.9.1 200 7"})
      << "the BSR sees what all will see";
  const Pim::RpEntry& held = rp(range, rpA);
  EXPECT_EQ(held.setupTime(), now());
  EXPECT_DOUBLE_EQ(held.expiryTime(), now() + 200);
  EXPECT_EQ(held.hashMaskLen().value(), 30u);
  EXPECT_DOUBLE_EQ(machine().bsExpiry(), now() + 10) << "45 s were left";
  EXPECT_DOUBLE_EQ(record().expiryTime(), now() + 10);
  EXPECT_TRUE(
      tracedByRoot(8, "Passing Crp Adv Message to Candidate BSR 10.0.0.1 for zone 224.0.0.0/4"));
  EXPECT_TRUE(traced(7, ", group flags: 0, Bidir: false"));
  EXPECT_TRUE(traced(4, "Creating CrpStatus for zone 224.0.0.0/4"));
  EXPECT_TRUE(traced(4, "Creating CrpSet with prefix 225.0.0.0/8"));
  EXPECT_TRUE(traced(4, "Adding RP 10.9.9.1 into CrpSet with prefix 225.0.0.0/8"));
  EXPECT_TRUE(traced(5,
                     "Setting bootstrap timer to expire in BS_MIN_INTERVAL for zone "
                     "224.0.0.0/4"));
  EXPECT_EQ(announcedSoon(), Lines{"225.0.0.0/8 10.9.9.1 200"});
  EXPECT_DOUBLE_EQ(machine().bsExpiry(), now() + 60);
}

TEST_F(CandidateRpSetTest, AKnownRpIsRefreshedWithoutHaste) {
  standAndWin();
  advertise(range, rpA, 200, 7);
  const double setup = now();
  wait(20);
  const double next = machine().bsExpiry();
  traces.clear();
  advertise(range, rpA, 300, 9);
  EXPECT_EQ(router.pimRps(), Lines{"225.0.0.0/8 10.9.9.1 300 9"});
  EXPECT_EQ(rp(range, rpA).setupTime(), setup);
  EXPECT_DOUBLE_EQ(rp(range, rpA).expiryTime(), now() + 300);
  EXPECT_DOUBLE_EQ(machine().bsExpiry(), next);
  EXPECT_EQ(traces.count("CandidateSm", 4, "Adding RP"), 0u);
}

// --- hold times -------------------------------------------------------------------------------

TEST_F(CandidateRpSetTest, AShortHoldTimeIsRaisedToThreePeriods) {
  standAndWin();
  advertise(range, rpA, 150);
  EXPECT_EQ(router.rpSetOf(g4), Lines{"225.0.0.0/8 10.9.9.1 180 0"});
  EXPECT_DOUBLE_EQ(rp(range, rpA).expiryTime(), now() + 180);
  EXPECT_TRUE(traced(8,
                     "C-RP Adv message contains holdtime 150 seconds which is less than 2.5 "
                     "times bsPeriod of 60 seconds."));
  traces.clear();
  advertise(range, rpA, 151);
  EXPECT_EQ(router.rpSetOf(g4), Lines{"225.0.0.0/8 10.9.9.1 151 0"});
  EXPECT_DOUBLE_EQ(rp(range, rpA).expiryTime(), now() + 151);
  EXPECT_FALSE(traces.contains("CandidateSm", 8, "less than 2.5 times"));
  advertise(range, rpA, 1);
  EXPECT_EQ(router.rpSetOf(g4), Lines{"225.0.0.0/8 10.9.9.1 180 0"});
  router.status->cbsr(prefix(g4))->bsPeriodIs(21);  // 2.5 periods are no whole number
  advertise(range, rpA, 52);
  EXPECT_EQ(router.rpSetOf(g4), Lines{"225.0.0.0/8 10.9.9.1 63 0"});
  advertise(range, rpA, 53);
  EXPECT_EQ(router.rpSetOf(g4), Lines{"225.0.0.0/8 10.9.9.1 53 0"});
}

TEST_F(CandidateRpSetTest, ThreeLongPeriodsSaturateTheFieldAndNotTheTimer) {
  router.candidateBsrIs(g4, "10.0.0.1", 64, 30, 30000);
  wait(5);
  advertise(range, rpA, 65535);
  EXPECT_EQ(router.rpSetOf(g4), Lines{"225.0.0.0/8 10.9.9.1 65535 0"});
  EXPECT_DOUBLE_EQ(rp(range, rpA).expiryTime(), now() + 90000);
  router.status->cbsr(prefix(g4))->bsPeriodIs(21845);
  advertise(range, rpA, 54000);
  EXPECT_EQ(router.rpSetOf(g4), Lines{"225.0.0.0/8 10.9.9.1 65535 0"});
  EXPECT_DOUBLE_EQ(rp(range, rpA).expiryTime(), now() + 65535);
}

TEST_F(CandidateRpSetTest, AnRpLivesUntilItsHoldTimeAndLeavesNothingBehind) {
  standAndWin();
  advertise(range, rpA, 200);
  advertise(range, rpB, 300);
  const double heard = now();
  goTo(justBefore(heard + 200));
  EXPECT_EQ(router.pimRps().size(), 2u);
  traces.clear();
  goTo(heard + 200);
  EXPECT_EQ(router.rpSetOf(g4), Lines{"225.0.0.0/8 10.9.9.2 300 0"});
  EXPECT_EQ(router.pimRps(), Lines{"225.0.0.0/8 10.9.9.2 300 0"});
  EXPECT_TRUE(tracedByRoot(4, "Deleting RP 10.9.9.1 from prefix 225.0.0.0/8 and zone 224.0.0.0/4"));
  goTo(heard + 300);
  EXPECT_TRUE(router.status->crpStatus().empty());
  EXPECT_TRUE(router.pimRpStatus->crpSet().empty());
  EXPECT_TRUE(tracedByRoot(4, "Deleted rpset for prefix 225.0.0.0/8 in zone 224.0.0.0/4"));
  EXPECT_TRUE(tracedByRoot(4, "Deleted zone 224.0.0.0/4 RP set "));
  EXPECT_EQ(state(), "eBsr");
}

// --- withdrawal -------------------------------------------------------------------------------

TEST_F(CandidateRpSetTest, AWithdrawnRpIsAnnouncedOnceMoreAndGoes) {
  standAndWin();
  advertise(range, rpA, 200);
  advertise(range, rpB, 200);
  wait(20);
  router.sentBsms();
  traces.clear();
  advertise(range, rpA, 0);
  EXPECT_EQ(router.rpSetOf(g4), (Lines{"225.0.0.0/8 10.9.9.1 0 0", "225.0.0.0/8 10.9.9.2 200 0"}));
  EXPECT_DOUBLE_EQ(rp(range, rpA).expiryTime(), now() + 200) << "of the hold time that it had";
  EXPECT_DOUBLE_EQ(machine().bsExpiry(), now() + 10);
  EXPECT_TRUE(traced(4, "C-RP 10.9.9.1 updated with holdtime 0"));
  wait(3);
  advertise(range, rpA, 0);
  EXPECT_TRUE(traced(4, "Ignoring duplicate C-RP advertisement with 0 holdtime"));
  EXPECT_DOUBLE_EQ(rp(range, rpA).expiryTime(), now() + 197);
  EXPECT_EQ(announcedSoon(), (Lines{"225.0.0.0/8 10.9.9.1 0", "225.0.0.0/8 10.9.9.2 200"}));
  EXPECT_TRUE(tracedByRoot(5, "RP 10.9.9.1 to expire now since holdtime is 0"));
  EXPECT_EQ(router.rpSetOf(g4), Lines{"225.0.0.0/8 10.9.9.2 200 0"});
  EXPECT_EQ(router.pimRps(), Lines{"225.0.0.0/8 10.9.9.2 200 0"});
  wait(50);
  EXPECT_EQ(announcedSoon(), Lines{"225.0.0.0/8 10.9.9.2 200"});
}

TEST_F(CandidateRpSetTest, NothingIsMadeForAWithdrawalOfTheUnknown) {
  standAndWin();
  const double next = machine().bsExpiry();
  advertise(range, rpA, 0);
  EXPECT_TRUE(router.status->crpStatus().empty());
  advertise(range, rpA);
  advertise("226.0.0.0/8", rpA, 0);
  EXPECT_EQ(router.rpSetOf(g4), Lines{"225.0.0.0/8 10.9.9.1 200 0"});
  goTo(next);
  const double after = machine().bsExpiry();
  advertise(range, rpB, 0);
  EXPECT_TRUE(traced(4, "Holdtime value of C-RP Advertisement is 0. Ignoring message"));
  EXPECT_EQ(router.rpSetOf(g4), Lines{"225.0.0.0/8 10.9.9.1 200 0"});
  EXPECT_DOUBLE_EQ(machine().bsExpiry(), after);
  expectErrors(0);
}

// --- sparse and bidirectional -----------------------------------------------------------------

TEST_F(CandidateRpSetTest, BidirectionalReplacesSparse) {
  standAndWin();
  advertise(range, rpA, 300, 7);
  wait(20);
  router.sentBsms();
  advertise(range, rpA, 200, 5, bidir);
  EXPECT_TRUE(traced(7, ", group flags: 128, Bidir: true"));
  EXPECT_TRUE(traced(4,
                     "CRP 10.9.9.1 has both PIM-SM and PIM-BIDIR instances. We prefer BIDIR. "
                     "Hence deleting existing PIM-SM CRP entry"));
  EXPECT_EQ(router.rpSetOf(g4), Lines{"225.0.0.0/8 10.9.9.1 200 5 bidir"});
  EXPECT_EQ(router.pimRps(), Lines{"225.0.0.0/8 10.9.9.1 200 5 bidir"});
  EXPECT_EQ(rp(range, rpA).setupTime(), now()) << "another RP, as it were";
  EXPECT_EQ(announcedSoon(), Lines{"225.0.0.0/8 10.9.9.1 200 bidir"});
}

TEST_F(CandidateRpSetTest, SparseDoesNotReplaceBidirectional) {
  standAndWin();
  advertise(range, rpA, 200, 5, bidir);
  const std::string before = treeText(rp(range, rpA));
  wait(20);
  for (const unsigned holdtime : {300u, 0u}) {
    traces.clear();
    advertise(range, rpA, holdtime, 7);
    EXPECT_TRUE(traced(4,
                       "CRP 10.9.9.1 has both PIM-SM and PIM-BIDIR instances. We prefer BIDIR. "
                       "Hence ignoring PIM-SM CRP Advertisement"));
    EXPECT_EQ(treeText(rp(range, rpA)), before) << "hold time " << holdtime;
  }
}

TEST_F(CandidateRpSetTest, ABidirectionalWithdrawalEndsTheSparseEntryToo) {
  standAndWin();
  advertise(range, rpA);
  advertise(range, rpB);
  advertise(range, rpA, 0, 0, bidir);
  EXPECT_EQ(router.rpSetOf(g4), Lines{"225.0.0.0/8 10.9.9.2 200 0"});
  EXPECT_TRUE(traced(4, "Holdtime value of C-RP Advertisement is 0. Ignoring message"));
  advertise(range, rpB, 0, 0, bidir);
  EXPECT_TRUE(router.status->crpStatus().empty());
}

// --- the Zone bit -----------------------------------------------------------------------------

TEST_F(CandidateRpSetTest, TheZoneBitIsLoggedAndChangesNothing) {
  standAndWin();
  advertise(range, rpA, 200, 0, zoneBit);
  EXPECT_EQ(traces.logs(),
            Lines{"PIMBSR_MESSAGE_CRP_ZONE 5 C-RP advertisement received from 10.9.9.1 with Zone "
                  "bit set."});
  EXPECT_TRUE(traced(7, "Zone bit set in Candidate RP Advertisement from 10.9.9.1"));
  EXPECT_EQ(router.rpSetOf(g4), Lines{"225.0.0.0/8 10.9.9.1 200 0"});
  for (const SysLogMessage* message : SysLogMessage::all()) {
    if (message->id() != "PIMBSR_MESSAGE_CRP_ZONE") continue;
    EXPECT_EQ(message->explanation(),
              "Indicated C-RP is a ZBR. This message is logged in compliance to RFC 5059.");
    EXPECT_EQ(message->recommendedAction(),
              "If C-RP is not a ZBR contact support. This message is safe to ignore otherwise.");
  }
}

// --- whose range it is ------------------------------------------------------------------------

TEST_F(CandidateRpSetTest, RangesThatNobodyTakesCountOncePerMessage) {
  stand();
  advertise(range, rpA);  // pending
  EXPECT_TRUE(traces.contains(
      "Sm", 3, "Rx Error - Dropping Crp Adv Message to Candidate BSR 10.0.0.1 for zone "));
  expectErrors(1);
  wait(5);
  hear(Bsm("192.0.2.9", 192).zone(site));
  Pim::CrpAdvMessage adv;
  adv.prefixCountIs(4);
  adv.holdtimeIs(200);
  adv.rpAddressIs(addr(rpA));
  for (const char* each : {"239.1.2.0/24", "239.1.3.0/24", "225.0.0.0/8", "239.1.0.0/16"}) {
    adv.groupData().emplace_back(prefix(each));
  }
  hearAdv(adv, rpA);
  EXPECT_TRUE(traces.ends("Sm", 3,
                          "Rx Error - Dropping Crp Adv Message to Candidate BSR 10.0.0.1 "
                          "for zone 239.1.0.0/16"));
  expectErrors(2);
  EXPECT_EQ(router.rpSetOf(g4), Lines{"225.0.0.0/8 10.9.9.1 200 0"}) << "its other ranges count";
  hearAdv(adv, rpA);
  expectErrors(3);
  EXPECT_EQ(router.counters().rxCrpAdvSuccess(), 3u);
}

// --- what the message can say -----------------------------------------------------------------

TEST_F(CandidateRpSetTest, ARangeOfBothModesIsAnnouncedInTheLastRpsMode) {
  standAndWin();
  advertise(range, rpA);
  advertise(range, rpB, 200, 0, bidir);
  EXPECT_EQ(announcedSoon(),
            (Lines{"225.0.0.0/8 10.9.9.1 200 bidir", "225.0.0.0/8 10.9.9.2 200 bidir"}));
  advertise("226.0.0.0/8", rpA, 200, 0, bidir);
  advertise("226.0.0.0/8", rpB);
  const Lines both = announcedSoon();
  EXPECT_EQ(Lines(both.begin() + 2, both.end()),
            (Lines{"226.0.0.0/8 10.9.9.1 200", "226.0.0.0/8 10.9.9.2 200"}));
}

TEST_F(CandidateRpSetTest, OfOneRange255RpsAreAnnounced) {
  standAndWin();
  for (int i = 0; i < 256; ++i) {
    advertise(range, "10.8." + std::to_string(i / 128) + "." + std::to_string(1 + i % 128));
  }
  EXPECT_EQ(router.rpSetOf(g4).size(), 256u);
  wait(10);
  std::size_t rps = 0;
  for (const auto& each : router.sentBsms()) {
    if (each.intf != "eth0") continue;
    EXPECT_EQ(each.bsm->fragmentTag(), machine().lastBsm()->fragmentTag());
    for (const auto& group : each.bsm->groupRpData()) {
      EXPECT_EQ(group.rpCount(), 255);
      EXPECT_EQ(group.rpList().find(addr("10.8.1.128")), nullptr) << "the last one in order";
      rps += group.rpList().size();
    }
  }
  EXPECT_EQ(rps, 255u);
  EXPECT_TRUE(tracedByRoot(3, "Announcing 255 of 256 RPs of 225.0.0.0/8"));
}

// --- bounds -----------------------------------------------------------------------------------

TEST_F(CandidateRpSetTest, BoundsRefuseWhatIsNewAndKeepWhatIsHeld) {
  standAndWin();
  router.limits->maxGroupsIs(2);
  router.limits->maxRpsIs(3);
  advertise("225.0.0.0/8", rpA);
  advertise("226.0.0.0/8", rpA);
  advertise("227.0.0.0/8", rpA);
  EXPECT_EQ(router.limits->refusedGroups(), 1u);
  advertise("226.0.0.0/8", rpB);
  advertise("225.0.0.0/8", rpB);
  EXPECT_EQ(router.limits->refusedRps(), 1u);
  const Lines held{"225.0.0.0/8 10.9.9.1 200 0", "226.0.0.0/8 10.9.9.1 200 0",
                   "226.0.0.0/8 10.9.9.2 200 0"};
  EXPECT_EQ(router.rpSetOf(g4), held);
  advertise("225.0.0.0/8", rpA, 300);
  advertise("226.0.0.0/8", rpB, 200, 0, bidir);
  EXPECT_EQ(router.rpSetOf(g4), (Lines{"225.0.0.0/8 10.9.9.1 300 0", "226.0.0.0/8 10.9.9.1 200 0",
                                       "226.0.0.0/8 10.9.9.2 200 0 bidir"}))
      << "refreshed and replaced";
  EXPECT_EQ(router.limits->refusedRps(), 1u);
  wait(200);
  advertise("227.0.0.0/8", rpA);
  EXPECT_EQ(router.rpSetOf(g4), (Lines{"225.0.0.0/8 10.9.9.1 300 0", "227.0.0.0/8 10.9.9.1 200 0"}))
      << "there is room again";
}

}  // namespace
}  // namespace Routing::TestKit
