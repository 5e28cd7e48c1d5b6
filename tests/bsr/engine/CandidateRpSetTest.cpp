#include <gtest/gtest.h>

#include <string>
#include <vector>

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

// --- one RP of one range ----------------------------------------------------------------------

/// An advertisement, some time after the one before.
struct Adv {
  double pause;
  unsigned holdtime;
  unsigned priority = 0;
  unsigned flags = 0;
};

/// What the BSR has of an RP.
struct HeldRp {
  const char* text;  // "HOLDTIME PRIORITY", nothing if it is not held
  double lives;
  bool another;  // it is a new entry since the last advertisement
  double next;   // so soon the next message follows; at first it is 45 s
};

struct AdvCase {
  const char* what;
  std::vector<Adv> advs;
  HeldRp held;
  Lines traces;  // "LEVEL TEXT"
};

const char* const bothModes =
    "4 CRP 10.9.9.1 has both PIM-SM and PIM-BIDIR instances. We prefer BIDIR. ";

const AdvCase advCases[] = {
    {"new",
     {{0, 200, 7}},
     {"200 7", 200, true, 10},
     {"7 , group flags: 0, Bidir: false", "4 Creating CrpStatus for zone 224.0.0.0/4",
      "4 Creating CrpSet with prefix 225.0.0.0/8",
      "4 Adding RP 10.9.9.1 into CrpSet with prefix 225.0.0.0/8",
      "5 Setting bootstrap timer to expire in BS_MIN_INTERVAL for zone 224.0.0.0/4"}},
    {"a message is near",
     {{37, 200}},
     {"200 0", 200, true, 8},
     {"5 Bootstrap timer to expire in 8 seconds"}},
    {"refreshed", {{0, 200, 7}, {20, 300, 9}}, {"300 9", 300, false, 50}, {}},
    {"2.5 periods are raised to three",
     {{0, 150}},
     {"180 0", 180, true, 10},
     {"8 C-RP Adv message contains holdtime 150 seconds which is less than 2.5 times bsPeriod of "
      "60 seconds."}},
    {"more than 2.5 periods are not", {{0, 151}}, {"151 0", 151, true, 10}, {}},
    {"one second is no withdrawal", {{0, 1}}, {"180 0", 180, true, 10}, {}},
    {"withdrawn, it lives on as it would have",
     {{0, 200}, {20, 0}},
     {"0 0", 200, false, 10},
     {"4 C-RP 10.9.9.1 updated with holdtime 0"}},
    {"withdrawn twice",
     {{0, 200}, {20, 0}, {3, 0}},
     {"0 0", 197, false, 7},
     {"4 Ignoring duplicate C-RP advertisement with 0 holdtime"}},
    {"withdrawn and back", {{0, 200}, {20, 0}, {4, 250}}, {"250 0", 250, false, 6}, {}},
    {"withdrawn, and never known", {{0, 0}}, {"", 0, false, 45}, {}},
    {"bidirectional replaces sparse",
     {{0, 300, 7}, {20, 200, 5, bidir}},
     {"200 5 bidir", 200, true, 10},
     {"7 , group flags: 128, Bidir: true",
      std::string(bothModes) + "Hence deleting existing PIM-SM CRP entry"}},
    {"sparse does not replace bidirectional",
     {{0, 200, 5, bidir}, {20, 300, 7}},
     {"200 5 bidir", 180, false, 50},
     {std::string(bothModes) + "Hence ignoring PIM-SM CRP Advertisement"}},
    {"nor ends it", {{0, 200, 5, bidir}, {20, 0, 7}}, {"200 5 bidir", 180, false, 50}, {}},
    {"bidirectional ends sparse", {{0, 200}, {20, 0, 0, bidir}}, {"", 0, false, 50}, {}},
};

struct AdvertisedRp : CandidateRpSetTest, ::testing::WithParamInterface<AdvCase> {};

TEST_P(AdvertisedRp, IsHeldAnnouncedAndUsedAtOnce) {
  const AdvCase& each = GetParam();
  standAndWin();
  wait(15);
  for (const Adv& adv : each.advs) {
    wait(adv.pause);
    traces.clear();
    advertise(range, rpA, adv.holdtime, adv.priority, adv.flags);
  }
  const std::string held(each.held.text);
  ASSERT_EQ(router.rpSetOf(global), held.empty() ? Lines{} : Lines{"225.0.0.0/8 10.9.9.1 " + held});
  EXPECT_EQ(router.pimRps(), router.rpSetOf(global)) << "the BSR sees what all will see";
  expectTimerAndRecord(now() + each.held.next);
  expectTraced(each.traces);
  EXPECT_EQ(traces.contains("CandidateSm", 4, "Adding RP"), each.held.another);
  expectErrors(0);
  if (held.empty()) return;
  EXPECT_EQ(rp(range, rpA).setupTime() == now(), each.held.another);
  EXPECT_DOUBLE_EQ(rp(range, rpA).expiryTime(), now() + each.held.lives);
  EXPECT_EQ(rp(range, rpA).hashMaskLen().value(), 30u);
}

INSTANTIATE_TEST_SUITE_P(CandidateRpSet, AdvertisedRp, ::testing::ValuesIn(advCases));

void PrintTo(const AdvCase& each, std::ostream* out) {
  *out << each.what;
}

TEST_F(CandidateRpSetTest, HoldTimesAreMeasuredByThePeriod) {
  struct {
    unsigned period, holdtime;
    const char* held;
    double lives;
  } const cases[] = {
      // Two and a half periods need not be a whole number.
      {21, 52, "63 0", 63},
      {21, 53, "53 0", 53},
      // Three long ones saturate the field and not the timer.
      {30000, 65535, "65535 0", 90000},
      {21845, 54000, "65535 0", 65535},
  };
  stand();
  wait(5);
  for (const auto& each : cases) {
    router.status->cbsr(prefix(global))->bsPeriodIs(each.period);
    advertise(range, rpA, each.holdtime);
    EXPECT_EQ(router.rpSetOf(global), Lines{"225.0.0.0/8 10.9.9.1 " + std::string(each.held)});
    EXPECT_DOUBLE_EQ(rp(range, rpA).expiryTime(), now() + each.lives);
  }
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
  EXPECT_EQ(router.rpSetOf(global), Lines{"225.0.0.0/8 10.9.9.2 300 0"});
  EXPECT_EQ(router.pimRps(), Lines{"225.0.0.0/8 10.9.9.2 300 0"});
  goTo(heard + 300);
  EXPECT_TRUE(router.status->crpStatus().empty());
  EXPECT_TRUE(router.pimRpStatus->crpSet().empty());
  TracedTest::expectTraced({"4 Deleting RP 10.9.9.1 from prefix 225.0.0.0/8 and zone 224.0.0.0/4",
                            "4 Deleted rpset for prefix 225.0.0.0/8 in zone 224.0.0.0/4",
                            "4 Deleted zone 224.0.0.0/4 RP set "});
}

TEST_F(CandidateRpSetTest, AWithdrawnRpIsAnnouncedOnceMoreAndGoes) {
  standAndWin();
  advertise(range, rpA);
  advertise(range, rpB);
  wait(20);
  router.sentBsms();
  advertise(range, rpA, 0);
  EXPECT_EQ(announcedSoon(), (Lines{"225.0.0.0/8 10.9.9.1 0", "225.0.0.0/8 10.9.9.2 200"}));
  advertise(range, rpA, 0);
  expectTraced({"4 Holdtime value of C-RP Advertisement is 0. Ignoring message"});
  EXPECT_EQ(router.rpSetOf(global), Lines{"225.0.0.0/8 10.9.9.2 200 0"});
  EXPECT_EQ(router.pimRps(), Lines{"225.0.0.0/8 10.9.9.2 200 0"});
}

// --- the Zone bit -----------------------------------------------------------------------------

TEST_F(CandidateRpSetTest, TheZoneBitIsLoggedAndChangesNothing) {
  standAndWin();
  advertise(range, rpA, 200, 0, zoneBit);
  EXPECT_EQ(traces.logs(),
            Lines{"PIMBSR_MESSAGE_CRP_ZONE 5 C-RP advertisement received from 10.9.9.1 with Zone "
                  "bit set."});
  expectTraced({"7 Zone bit set in Candidate RP Advertisement from 10.9.9.1"});
  EXPECT_EQ(router.rpSetOf(global), Lines{"225.0.0.0/8 10.9.9.1 200 0"});
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
  standAndFollow();
  advertise(range, rpA);  // the other BSR's
  expectErrors(1);
  wait(timeout + backOffFrom192 + 1);
  hear(Bsm("192.0.2.9", 192).zone(site));
  Pim::CrpAdvMessage adv;
  adv.prefixCountIs(4);
  adv.holdtimeIs(200);
  adv.rpAddressIs(addr(rpA));
  for (const char* each : {"239.1.2.0/24", "239.1.3.0/24", "225.0.0.0/8", "239.1.0.0/16"}) {
    adv.groupData().emplace_back(prefix(each));
  }
  hearAdv(adv, rpA);
  expectErrors(2);
  EXPECT_EQ(router.rpSetOf(global), Lines{"225.0.0.0/8 10.9.9.1 200 0"})
      << "its other ranges count";
  TracedTest::expectTraced(
      {"3 Rx Error - Dropping Crp Adv Message to Candidate BSR 10.0.0.1 for zone 239.1.0.0/16",
       "8 Passing Crp Adv Message to Candidate BSR 10.0.0.1 for zone 224.0.0.0/4"});
  hearAdv(adv, rpA);
  expectErrors(3);
  EXPECT_EQ(router.counters().rxCrpAdvSuccess(), 3u);
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
  EXPECT_EQ(router.rpSetOf(global), held);
  advertise("225.0.0.0/8", rpA, 300);
  advertise("226.0.0.0/8", rpB, 200, 0, bidir);
  EXPECT_EQ(router.rpSetOf(global),
            (Lines{"225.0.0.0/8 10.9.9.1 300 0", "226.0.0.0/8 10.9.9.1 200 0",
                   "226.0.0.0/8 10.9.9.2 200 0 bidir"}))
      << "refreshed and replaced";
  EXPECT_EQ(router.limits->refusedRps(), 1u);
}

}  // namespace
}  // namespace Routing::TestKit
