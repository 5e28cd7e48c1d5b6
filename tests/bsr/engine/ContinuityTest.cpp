#include <gtest/gtest.h>

#include <string>

#include "tests/bsr/engine/CandidateFixture.h"

// What a host may choose beyond the mechanism, so that groups keep their RP (BsrPolicy).

namespace Routing::TestKit {
namespace {

using Bsr::BsrPolicy;

struct ContinuityTest : CandidateFixture {
  void choose(const BsrPolicy& policy) { router.restart(policy); }
  void winWith(const BsrPolicy& policy) {
    choose(policy);
    standAndWin();
  }
};

// What PIM sees at the elected BSR is what all others were told.
TEST_F(ContinuityTest, TheBsrChoosesAmongTheRpsThatItAnnounced) {
  winWith({.announcedView = true});
  advertise("225.0.0.0/8", "10.9.9.9");
  EXPECT_EQ(router.rpSetOf(global), Lines{"225.0.0.0/8 10.9.9.9 200 0"});
  EXPECT_EQ(router.pimRps(), Lines{});
  wait(10);
  EXPECT_EQ(router.pimRps(), router.rpSetOf(global));
}

// What a zone around another one announced serves again when the inner one's BSR falls silent.
TEST_F(ContinuityTest, ARangeThatComesBackToTheBsrIsNeverWithoutRps) {
  winWith({.expiry = true, .announcedView = true});
  advertise("239.1.1.0/24", "10.9.9.9", 1000);
  advertise("239.1.1.0/24", "10.9.9.7", 200);
  wait(200 - timeout + 1);
  hear(Bsm("192.0.2.9", 192).zone(site).group("239.1.1.0/24", {{"10.8.8.8"}}));
  EXPECT_EQ(router.pimRps(), Lines{"239.1.1.0/24 10.8.8.8 150 0"});
  wait(timeout);
  EXPECT_EQ(router.bsrOf(site), "none");
  EXPECT_EQ(router.rpSetOf(global),
            (Lines{"239.1.1.0/24 10.9.9.7 0 0", "239.1.1.0/24 10.9.9.9 1000 0"}));
  EXPECT_EQ(router.pimRps(), Lines{"239.1.1.0/24 10.9.9.9 1000 0"}) << "without who is leaving";
}

// The first message of a new BSR carries what the last one announced and it does not hold itself,
// until the hold times end that were announced.
TEST_F(ContinuityTest, ANewBsrTakesTheRpsOfTheLastOneOver) {
  choose({.bridging = true});
  stand();
  hear(Bsm("192.0.2.1", 10)
           .tag(7)
           .group("225.0.0.0/8", {{"10.8.8.8", 100, 3}})
           .piece("226.0.0.0/8", 2, {{"10.8.8.1"}}));
  hear(Bsm("192.0.2.1", 10).tag(7).piece("226.0.0.0/8", 2, {{"10.8.8.2", 4}}));
  router.sentBsms();
  wait(5);
  EXPECT_EQ(sent(), onBoth(now(),
                           "10.0.0.1 64 30 tag * 225.0.0.0/8 0 1/1(10.8.8.8 100 3) "
                           "226.0.0.0/8 0 1/1(10.8.8.1 150 0)"));
  EXPECT_EQ(rp("225.0.0.0/8", "10.8.8.8").expiryTime(), 1100) << "counted from when it was heard";
  advertise("226.0.0.0/8", "10.8.8.1", 200);
  wait(100);
  EXPECT_EQ(router.pimRps(), Lines{"226.0.0.0/8 10.8.8.1 200 0"});
}

// An RP whose candidate fell silent leaves all routers together.
TEST_F(ContinuityTest, AnExpiredRpIsAnnouncedOnceMore) {
  winWith({.expiry = true});
  advertise("225.0.0.0/8", "10.9.9.9", 200);
  wait(200);
  router.sentBsms();
  EXPECT_EQ(router.pimRps(), Lines{"225.0.0.0/8 10.9.9.9 0 0"}) << "as all others still have it";
  wait(10);
  EXPECT_EQ(sent(), onBoth(now(), "10.0.0.1 64 30 tag * 225.0.0.0/8 0 1/1(10.9.9.9 0 0)"));
  EXPECT_EQ(router.pimRps(), Lines{});
}

TEST_F(ContinuityTest, AnswersToWorseMessagesAreBounded) {
  winWith({.answers = 3});
  const auto answers = [&](int messages) {
    for (int i = 0; i < messages; ++i) hear(worse());
    return router.sentBsms().size() / 2;
  };
  EXPECT_EQ(answers(100), 3U);
  wait(1);
  EXPECT_EQ(router.sentBsms().size() / 2, 1U) << "one for all that were held back";
  EXPECT_EQ(answers(100), 0U);
  wait(60);
  EXPECT_EQ(router.sentBsms().size() / 2, 1U);
  expectTimerAndRecord(now() + 1);
  EXPECT_EQ(answers(2), 2U);
}

TEST_F(ContinuityTest, AStartingCandidateWaitsToBePrimed) {
  choose({.primingWait = 8});
  stand();
  expectTimer(now() + 8);
  hear(better());
  wait(timeout);
  expectTimer(now() + backOffFrom192);
}

// While a triggered Hello is due the new neighbour takes no message; forwarding is no priming then.
TEST_F(ContinuityTest, AForwardedMessageDoesNotReachWhoAwaitsAHello) {
  for (const bool afterHello : {false, true}) {
    choose({.primeAfterHello = afterHello});
    auto& link = router.link("eth1");
    link.drIs(addr("10.0.0.1"), true);
    link.drIs(addr("10.0.1.2"), false);
    link.triggeredHelloDueIs(true);
    hear(better());
    EXPECT_EQ(router.engine().wasDr(IntfId("eth1")), afterHello);
    link.triggeredHelloDueIs(false);
  }
}

// After a restart no neighbour is known yet: the first message reaches nobody.
TEST_F(ContinuityTest, WhatNobodyHeardIsSaidAgainSoon) {
  router.link("eth0").neighborDelAll();
  router.link("eth1").neighborDelAll();
  winWith({.untilHeard = true});
  expectTimerAndRecord(now() + 10);
  router.neighborIs("eth0", "10.0.0.2");
  EXPECT_EQ(router.sentBsms().size(), 1U);
  router.neighborIs("eth0", "10.0.0.3");
  EXPECT_TRUE(router.sentBsms().empty()) << "the link has been told";
  wait(10);
  EXPECT_EQ(router.sentBsms().size(), 1U);
  expectTimerAndRecord(now() + period);
}

TEST_F(ContinuityTest, ABsrThatLeavesGoesOnServingUntilAnotherOneSpeaks) {
  winWith({.handOver = true});
  advertise("225.0.0.0/8", "10.9.9.9");
  wait(10);
  router.sentBsms();
  router.status->cbsrDel(prefix(global));
  EXPECT_EQ(sent(), onBoth(now(), "10.0.0.1 0 30 tag * 225.0.0.0/8 0 1/1(10.9.9.9 200 0)"));
  EXPECT_EQ(router.bsrOf(global), "10.0.0.1 0 30");
  EXPECT_EQ(router.pimRps(), Lines{"225.0.0.0/8 10.9.9.9 200 0"});
  hear(better());
  EXPECT_EQ(router.bsrOf(global), "192.0.2.9 192 30");
  EXPECT_EQ(router.pimRps(), Lines{"225.0.0.0/8 10.9.9.9 150 0"});
}

TEST_F(ContinuityTest, ACandidateTakesInWhatTheBsrWithdrawsWhenItLeaves) {
  choose({.handOver = true});
  standAndFollow();
  hear(Bsm("192.0.2.9", 0).group("225.0.0.0/8", {{"10.9.9.9", 0}}));
  EXPECT_EQ(state(), "pBsr");
  EXPECT_EQ(router.pimRps(), Lines{});
}

TEST_F(ContinuityTest, ABsrTakesLeaveOfItsOldAddress) {
  winWith({.handOver = true});
  router.status->cbsr(prefix(global))->addressIs(addr("10.0.0.9"));
  EXPECT_EQ(sent(), onBoth(now(), "10.0.0.1 0 30 tag *"));
  wait(2);
  EXPECT_EQ(sent(), onBoth(now(), "10.0.0.9 64 30 tag *"));
}

// PIM has the RPs that a candidate was told of while it waits, for want of a zone that knows
// better; by itself in its earlier life, or by the BSR that the others follow meanwhile.
TEST_F(ContinuityTest, ACandidateThatWaitsServesWhatItWasTold) {
  choose({.earlyView = true});
  stand();
  hear(Bsm("10.0.0.1").noForward().group("225.0.0.0/8", {{"10.9.9.9"}}));
  EXPECT_EQ(router.pimRps(), Lines{"225.0.0.0/8 10.9.9.9 150 0"});
  hear(Bsm("192.0.2.1", 10).group("226.0.0.0/8", {{"10.8.8.1"}, {"10.8.8.2"}}));
  hear(Bsm("192.0.2.1", 10).group("226.0.0.0/8", {{"10.8.8.1", 0}}));
  EXPECT_EQ(router.pimRps(), (Lines{"225.0.0.0/8 10.9.9.9 150 0", "226.0.0.0/8 10.8.8.2 150 0"}));
  EXPECT_EQ(router.bsrOf(global), "none");
}

// Who missed the first message is told again; an RP that is back meanwhile stays.
TEST_F(ContinuityTest, AWithdrawalIsAnnouncedTwice) {
  winWith({.announcedView = true, .withdrawTwice = true});
  const auto expectNext = [&](const std::string& rps) {
    wait(10);
    EXPECT_EQ(sent(), onBoth(now(), "10.0.0.1 64 30 tag * 225.0.0.0/8 0 2/2" + rps));
  };
  for (const char* rp : {"10.9.9.1", "10.9.9.2"}) advertise("225.0.0.0/8", rp);
  expectNext("(10.9.9.1 200 0, 10.9.9.2 200 0)");
  for (const char* rp : {"10.9.9.1", "10.9.9.2"}) advertise("225.0.0.0/8", rp, 0);
  expectNext("(10.9.9.1 0 0, 10.9.9.2 0 0)");
  EXPECT_EQ(router.pimRps(), Lines{}) << "like everybody else";
  advertise("225.0.0.0/8", "10.9.9.2");
  expectNext("(10.9.9.1 0 0, 10.9.9.2 200 0)");
  EXPECT_EQ(router.rpSetOf(global), Lines{"225.0.0.0/8 10.9.9.2 200 0"});
  expectTimerAndRecord(now() + period);
}

TEST_F(ContinuityTest, AnOfficeThatOthersHaveGivenUpIsNotResumed) {
  for (const bool lapsed : {false, true}) {
    choose({.lapsingOffice = true});
    standAndWin();
    advertise("225.0.0.0/8", "10.9.9.9", 500);
    wait(10);
    router.stop();
    world.clock.nowIs(now() + (lapsed ? timeout : timeout - 1));
    router.start();
    EXPECT_EQ(state(), lapsed ? "pBsr" : "eBsr");
    EXPECT_EQ(router.pimRps().size(), 1U) << "RPs that still hold serve all the same";
    router.status->cbsrDelAll();
    router.status->crpStatusDelAll();
  }
}

// --- the best of a range ----------------------------------------------------------------------

TEST_F(ContinuityTest, TheBest255RpsOfARangeCount) {
  for (const char* intf : {"eth0", "eth1"}) router.mtuIs(intf, 9000);
  winWith({.announcedView = true});
  const auto host = [](unsigned n) {
    return "10.1." + std::to_string(n / 250) + "." + std::to_string(n % 250);
  };
  for (unsigned n = 0; n < 255; ++n) advertise("225.0.0.0/8", host(n), 200, 100);
  advertise("225.0.0.0/8", host(300), 200, 100);
  EXPECT_EQ(router.limits->refusedRpsOfRange(), 1U) << "an equal of a higher address";
  wait(60);
  advertise("225.0.0.0/8", host(299), 200, 99);
  EXPECT_EQ(rp("225.0.0.0/8", host(254)).holdTime().value(), 0) << "the worst one is withdrawn";
  router.sentBsms();
  wait(10);
  const auto message = router.sentBsms().front().bsm->groupRpData()[0];
  ASSERT_EQ(message.rpList().size(), 255U);
  EXPECT_EQ(message.rpList().find(addr(host(254)))->rpHoldtime(), 0);
  EXPECT_EQ(message.rpList().find(addr(host(299)))->rpHoldtime(), 200);
  expectTimerAndRecord(now() + 10);  // for the one that had no room
  EXPECT_EQ(router.pimRps().size(), 255U) << "what had no room was announced before";
  wait(10);
  EXPECT_EQ(router.rpSetOf(global).size(), 255U);
  EXPECT_EQ(router.sentBsms().front().bsm->groupRpData()[0].rpList().size(), 255U);
}

}  // namespace
}  // namespace Routing::TestKit
