#include <gtest/gtest.h>

#include <string>

#include "tests/bsr/engine/CandidateFixture.h"

// What becomes of a candidate BSR when its configuration changes or ends, and what it sends where.

namespace Routing::TestKit {
namespace {

using BsrCandidateChangesTest = CandidateFixture;

// --- the BS time-out --------------------------------------------------------------------------

TEST_F(BsrCandidateChangesTest, ATimeoutNotAboveThePeriodIsOverridden) {
  const std::string overridden =
      "130 secs, which is less than this C-BSR BSM interval of 130 secs. Overriding this with "
      "value "
      "( 2 * BS_Period ) + 10 as recommended by RFC 5059.";
  router.candidateBsrIs(global, "10.0.0.1", 64, 30, 130);
  EXPECT_EQ(machine().bsTimeout(), 270u) << "equality included";
  expectTraced({"8 BS holdtime is set to " + overridden});
  const auto own = router.status->cbsr(prefix(global));
  own->bsPeriodIs(129);
  EXPECT_EQ(machine().bsTimeout(), 130u);
  EXPECT_FALSE(traces.ends("CandidateSm", 8, "BS holdtime is " + overridden));
  own->bsPeriodIs(130);
  expectTraced({"8 BS holdtime is " + overridden});
  hear(better());
  expectTimerAndRecord(now() + 270);
  own->bsPeriodIs(129);
  expectTimerAndRecord(now() + 130);
  own->bsPeriodIs(130);
  traces.clear();
  router.status->bsTimeoutIs(20);
  EXPECT_EQ(machine().bsTimeout(), 270u);
  EXPECT_TRUE(traces.contains("CandidateSm", 8, "BS holdtime is set to 20 secs"));
}

TEST_F(BsrCandidateChangesTest, AShorterTimeoutCutsTheWaitAndALongerOneDoesNotExtendIt) {
  standAndFollow();
  const double heard = now();
  wait(30);
  router.status->bsTimeoutIs(101);
  expectTimerAndRecord(heard + 130);
  traces.clear();
  router.status->bsTimeoutIs(100);  // exactly what is left
  expectTimerAndRecord(now() + 100);
  expectTraced(
      {"5 BS timer expiry was in 100 seconds from now. Resetting BS timer expiry to 100 "
       "seconds from now."});
  router.status->bsTimeoutIs(70);
  expectTimerAndRecord(now() + 70);
  router.status->bsTimeoutIs(1000);
  expectTimerAndRecord(now() + 70);
  hear(better());
  expectTimerAndRecord(now() + 1000);
}

// --- configuration changes --------------------------------------------------------------------

TEST_F(BsrCandidateChangesTest, ElectedItTakesNewValuesIntoItsRecordAndItsNextMessage) {
  standAndWin();
  advertise("228.0.0.0/8", "10.6.6.6");
  const double next = machine().bsExpiry();
  const auto own = router.status->cbsr(prefix(global));
  traces.clear();
  own->priorityIs(99);
  EXPECT_EQ(router.bsrOf(global), "10.0.0.1 99 30");
  own->hashMaskLenIs(17);
  EXPECT_EQ(router.bsrOf(global), "10.0.0.1 99 17");
  EXPECT_EQ(rp("228.0.0.0/8", "10.6.6.6").hashMaskLen().value(), 17u);
  EXPECT_EQ(rpIn(*router.pimRpStatus, "228.0.0.0/8", "10.6.6.6").hashMaskLen().value(), 17u);
  const double setup = record().setupTime();
  wait(1);
  own->priorityIs(100);
  EXPECT_EQ(router.bsrOf(global), "10.0.0.1 100 17") << "no change undoes another";
  EXPECT_EQ(record().setupTime(), setup);
  own->addressIs(addr("10.0.1.1"));
  EXPECT_EQ(router.bsrOf(global), "10.0.1.1 100 17");
  EXPECT_EQ(record().setupTime(), now()) << "others see another BSR";
  expectTraced({"4 Changing priority to 99 for zone 224.0.0.0/4",
                "4 Changing priority of Elected BSR to 99",
                "4 Changing hashmask lenth of Elected BSR to 17",
                "4 Changing IP address to 10.0.1.1 for zone 224.0.0.0/4"});
  EXPECT_EQ(stored(), "10.0.1.1 100 17");
  EXPECT_EQ(sent(), Lines{}) << "announced with the next message";
  EXPECT_DOUBLE_EQ(machine().bsExpiry(), next);
  goTo(next);
  EXPECT_EQ(sent(), onBoth(next, "10.0.1.1 100 17 tag * 228.0.0.0/8 0 1/1(10.6.6.6 200 0)"));
}

TEST_F(BsrCandidateChangesTest, ARaisedPriorityIsContestedAndALoweredOneIsNot) {
  standAndFollow();
  const auto own = router.status->cbsr(prefix(global));
  wait(10);
  own->priorityIs(192);
  EXPECT_EQ(state(), "cBsr") << "the BSR's address is higher";
  own->priorityIs(20);
  EXPECT_EQ(state(), "cBsr");
  own->priorityIs(193);
  EXPECT_EQ(state(), "pBsr");
  expectTraced({"1 , state=pBsr, zone=224.0.0.0/4"});
  expectTimer(now() + 6);  // no priority term, a large address term
  wait(2);
  hear(better());
  EXPECT_EQ(state(), "pBsr") << "the BSR is the worse one now";
  wait(4);
  EXPECT_EQ(state(), "eBsr");
  EXPECT_EQ(router.bsrOf(global), "10.0.0.1 193 30");
}

TEST_F(BsrCandidateChangesTest, ARunningBackOffIsShortenedAndNeverLengthened) {
  standAndFollow();
  wait(timeout);
  const double silence = now();
  const auto own = router.status->cbsr(prefix(global));
  expectTimer(silence + 20);
  const double expiryOfRecord = record().expiryTime();
  wait(1);
  own->priorityIs(10);
  expectTimer(silence + 20);
  own->priorityIs(190);
  expectTimer(now() + 10);  // 5 + 2 log2(3) + 1.92
  own->priorityIs(200);
  expectTimer(now() + 6);
  EXPECT_EQ(record().expiryTime(), expiryOfRecord) << "the dead BSR's";
  own->hashMaskLenIs(8);
  own->bsPeriodIs(1);
  router.status->bsTimeoutIs(2);
  expectTimer(now() + 6);
  wait(6);
  EXPECT_EQ(sent(), onBoth(now(), "10.0.0.1 200 8 tag * 225.0.0.0/8 0 1/1(10.9.9.9 150 0)"));
  expectTimerAndRecord(now() + 1);
}

TEST_F(BsrCandidateChangesTest, AShorterPeriodCountsAtOnceAndALongerOneFromTheNextMessageOn) {
  standAndWin();
  const double elected = now();
  const auto own = router.status->cbsr(prefix(global));
  wait(10);
  traces.clear();
  own->bsPeriodIs(90);
  expectTimerAndRecord(elected + 60);
  own->bsPeriodIs(30);
  expectTimerAndRecord(now() + 30);
  expectTraced(
      {"5 BS timer expiry was in 50 seconds from now. Resetting BS timer expiry to 30 "
       "seconds from now."});
  own->bsPeriodIs(40);
  expectTimerAndRecord(elected + 40);
  goTo(elected + 40);
  EXPECT_EQ(sent(), onBoth(elected + 40, ownText));
  expectTimerAndRecord(elected + 80);
}

TEST_F(BsrCandidateChangesTest, ValuesThatAreTakenBackStayInForce) {
  standAndWin();
  const auto own = router.status->cbsr(prefix(global));
  own->priorityIs(Bsr::priorityUnknown);
  own->hashMaskLenIs(Bsr::hashMaskLenUnknown);
  own->bsPeriodIs(Bsr::bsPeriodUnknown);
  own->addressIs(IpGenAddr{});
  EXPECT_EQ(router.bsrOf(global), "10.0.0.1 64 30");
  wait(2 * period);
  EXPECT_EQ(sent().size(), 4u) << "one message each period";
  own->priorityIs(7);
  EXPECT_EQ(router.bsrOf(global), "10.0.0.1 7 30");
}

// The record's hash mask length concerns the RPs that this router itself announces, and no others.
TEST_F(BsrCandidateChangesTest, OnlyTheElectedOneGivesItsRpsANewHashMaskLength) {
  hear(better().hashMask(20));
  stand();
  hear(better().hashMask(21));
  router.status->cbsr(prefix(global))->priorityIs(255);
  router.status->crpStatusDelAll();
  wait(10);
  ASSERT_EQ(state(), "eBsr");
  advertise("228.0.0.0/8", "10.6.6.6");
  router.status->cbsr(prefix(global))->hashMaskLenIs(9);
  TracedTest::expectTraced(
      {"4 No local CBSR configured for zone 224.0.0.0/4. Nothing to do",
       "4 Local CBSR configured for zone 224.0.0.0/4 is not elected BSR. Nothing to do",
       "4 No CRP have been populated for zone 224.0.0.0/4",
       "8 Setting hash mask Len to 9 for RP 10.6.6.6 in rp candidate set for zone 224.0.0.0/4"});
}

// --- leaving the stage ------------------------------------------------------------------------

TEST_F(BsrCandidateChangesTest, DeconfiguredWhileElectedItSaysSoWithItsRpSet) {
  standAndWin();
  advertise("228.0.0.0/8", "10.6.6.6");
  wait(3);
  Minutes minutes(router);
  const auto own = router.status->cbsr(prefix(global));
  router.status->cbsrDel(prefix(global));
  EXPECT_EQ(minutes.read(),
            (Lines{"sent on eth0", "sent on eth1", "228.0.0.0/8 deleted", "record deleted"}));
  EXPECT_EQ(sent(), onBoth(now(), "10.0.0.1 0 30 tag * 228.0.0.0/8 0 1/1(10.6.6.6 200 0)"));
  EXPECT_FALSE(own->elected());
  EXPECT_EQ(router.candidate(global), nullptr);
  EXPECT_EQ(router.follower(global), nullptr) << "nobody to follow yet";
  EXPECT_TRUE(router.status->crpStatus().empty());
  EXPECT_EQ(router.pimRps(), Lines{});
  EXPECT_EQ(world.wheel.armed(), 0u) << "no timer is left behind";
  hear(better());
  EXPECT_EQ(router.bsrOf(global), "192.0.2.9 192 30");
}

// It was elected before a restart, and its configuration has not come back in full.
TEST_F(BsrCandidateChangesTest, DeconfiguredBeforeItCouldResumeItTakesItsRecordAlong) {
  standAndWin();
  router.stop();
  router.status->cbsr(prefix(global))->priorityIs(Bsr::priorityUnknown);
  router.start();
  EXPECT_EQ(state(), "noInfoBsr");
  EXPECT_EQ(router.bsrOf(global), "10.0.0.1 64 30");
  router.status->cbsrDel(prefix(global));
  EXPECT_EQ(router.bsrOf(global), "none");
  EXPECT_EQ(sent(), Lines{}) << "it cannot speak";
  EXPECT_EQ(world.wheel.armed(), 0u);
}

// --- what it sends, and where -----------------------------------------------------------------

TEST_F(BsrCandidateChangesTest, AScopedZonesMessageBeginsWithTheZone) {
  stand(site);
  wait(5);
  EXPECT_EQ(sent(), onBoth(now(), "10.0.0.1 64 30 tag * 239.1.0.0/16 1 0/0()"));
  advertise("239.1.2.0/24", "10.6.6.6", 200, 3, 0x80);
  wait(10);
  EXPECT_EQ(sent(), onBoth(now(),
                           "10.0.0.1 64 30 tag * 239.1.0.0/16 1 0/0() "
                           "239.1.2.0/24 128 1/1(10.6.6.6 200 3)"));
  advertise(site, "10.5.5.5");
  wait(10);
  EXPECT_EQ(sent(), onBoth(now(),
                           "10.0.0.1 64 30 tag * 239.1.0.0/16 1 1/1(10.5.5.5 200 0) "
                           "239.1.2.0/24 128 1/1(10.6.6.6 200 3)"))
      << "the zone's own range once, with its RPs";
}

}  // namespace
}  // namespace Routing::TestKit
