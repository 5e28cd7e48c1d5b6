#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "tests/support/BsrLan.h"

// Elections among routers on one link, with real packets:   .1  .2  .3 ...   10.0.0.0/24
//
// They know each other by their Hellos after 5 s. Candidates stand from 10 s on.

namespace Routing::TestKit {
namespace {

const char* const g4 = "224.0.0.0/4";

struct CandidateElectionTest : ::testing::Test {
  void goTo(double instant) { world.runUntil(instant); }
  void wait(double seconds) { goTo(now() + seconds); }
  double now() const { return world.clock.now(); }

  std::shared_ptr<Bsr::BsrCandidate> stand(LanRouter& router, unsigned priority = 64,
                                           unsigned hashMask = 30) {
    return router.candidateBsrIs(g4, router.address, priority, hashMask);
  }
  /// A candidate RP of 225.0.0.0/8.
  std::shared_ptr<Bsr::RpCandidate> serve(LanRouter& router, unsigned priority = 10) {
    const auto crp = router.status->newCrp(addr(router.address));
    crp->newPrefixOptions(prefix("225.0.0.0/8"))->priorityIs(Pim::RpPriority(priority));
    return crp;
  }
  /// What the living routers of an island believe if all believe the same, in every respect.
  std::string belief(int island = 0) {
    std::string common;
    for (const auto& router : lan.routers()) {
      if (router->island != island) continue;
      std::string one = router->bsrOf(g4);
      for (const std::string& line : router->rpSetOf(g4)) one += ", " + line;
      if (router->rpSetOf(g4) != router->pimRps()) one += ", but PIM sees others";
      if (common.empty()) common = one;
      if (one != common) return router->address + ": " + one + " -- others: " + common;
    }
    return common;
  }
  static std::string stateOf(LanRouter& router) {
    return std::string(enumName(router.status->cbsr(prefix(g4))->state()));
  }
  /// Bootstrap messages that all routers sent since the last call.
  std::size_t messages() {
    std::size_t count = 0;
    for (const auto& router : lan.routers()) count += router->sentBsms().size();
    return count;
  }
  /// Adds the RP set 225.0.0.0/8 10.0.0.RP to a BSR's text.
  static std::string withRp(const std::string& bsr, int rp) {
    return bsr + ", 225.0.0.0/8 10.0.0." + std::to_string(rp) + " 180 10";
  }

  VirtualWorld world;
  BsrLan lan{world.wheel};
  LanRouter& a = lan.add("10.0.0.1");
  LanRouter& b = lan.add("10.0.0.2", 0.3);
  LanRouter& c = lan.add("10.0.0.3", 0.7);
};

// --- cold starts ------------------------------------------------------------------------------

TEST_F(CandidateElectionTest, OneCandidateIsHeardByAll) {
  goTo(10);
  stand(a);
  goTo(justBefore(15));
  EXPECT_EQ(belief(), "none");
  goTo(15);
  EXPECT_EQ(belief(), "10.0.0.1 64 30");
  goTo(3600);
  EXPECT_EQ(belief(), "10.0.0.1 64 30");
}

// Both have waited five seconds and believe that they have won; one message settles it.
TEST_F(CandidateElectionTest, OfTwoEqualPrioritiesTheHigherAddressWins) {
  goTo(10);
  stand(a);
  stand(b);
  goTo(justBefore(15));
  EXPECT_EQ(stateOf(a) + stateOf(b), "pBsrpBsr");
  goTo(15);
  EXPECT_EQ(belief(), "10.0.0.2 64 30");
  EXPECT_EQ(stateOf(a) + stateOf(b), "cBsreBsr");
  EXPECT_FALSE(a.status->cbsr(prefix(g4))->elected());
  EXPECT_LE(messages(), 10u) << "no storm";
  goTo(1000);
  EXPECT_EQ(belief(), "10.0.0.2 64 30");
}

TEST_F(CandidateElectionTest, WhoStandsFirstHoldsOfficeUntilABetterOneHasWaited) {
  goTo(10);
  stand(a, 100);
  goTo(12);
  stand(b, 200);
  goTo(14);
  stand(c, 20);
  goTo(15);
  EXPECT_EQ(stateOf(a) + stateOf(b) + stateOf(c), "eBsrpBsrcBsr")
      << "the worse one follows at once, the better one goes on waiting";
  EXPECT_EQ(c.bsrOf(g4), "10.0.0.1 100 30");
  goTo(justBefore(17));
  EXPECT_EQ(stateOf(b), "pBsr");
  goTo(17);
  EXPECT_EQ(stateOf(a) + stateOf(b) + stateOf(c), "cBsreBsrcBsr");
  EXPECT_EQ(belief(), "10.0.0.2 200 30");
}

// The worst case: all believe at the same instant that they have won, so that each message of a
// worse one is answered by every better one, and each answer forwarded by every other router.
TEST_F(CandidateElectionTest, TwentyCandidatesAtOnceAgreeAtOnceAndFallSilent) {
  for (int i = 4; i <= 20; ++i) lan.add("10.0.0." + std::to_string(i), 0.05 * (i % 20));
  goTo(10);
  for (const auto& router : lan.routers()) stand(*router, 64);
  goTo(15);
  EXPECT_EQ(belief(), "10.0.0.20 64 30");
  EXPECT_LT(messages(), 20u * 20u * 20u);
  goTo(74);
  EXPECT_EQ(messages(), 0u);
  goTo(190);
  EXPECT_LE(messages(), 2 * 20u) << "afterwards each message is sent once by each router";
}

// --- changes of office ------------------------------------------------------------------------

TEST_F(CandidateElectionTest, AFailoverBySilenceLosesNoRp) {
  goTo(10);
  stand(b);
  stand(a, 60);
  serve(c);
  goTo(100);
  ASSERT_EQ(belief(), withRp("10.0.0.2 64 30", 3));
  const double last = a.status->bootstrapRouter(prefix(g4))->expiryTime() - 130;
  const double next = last + 60;
  goTo(next - 1);
  b.die();
  const double silent = last + 130;
  goTo(justBefore(silent));
  EXPECT_EQ(stateOf(a), "cBsr");
  goTo(silent);
  EXPECT_EQ(stateOf(a), "pBsr");
  EXPECT_DOUBLE_EQ(a.candidate(g4)->bsExpiry(), silent + 11) << "5 + 4.64 + 1.92, truncated";
  goTo(silent + 11);
  EXPECT_EQ(belief(), withRp("10.0.0.1 60 30", 3)) << "at once, everywhere";
  goTo(silent + 500);
  EXPECT_EQ(belief(), withRp("10.0.0.1 60 30", 3));
}

TEST_F(CandidateElectionTest, AFailoverByShutdownTakesSecondsAndLosesNoRp) {
  goTo(10);
  stand(b, 200);
  stand(a, 60);
  serve(c);
  goTo(100);
  b.status->cbsrDel(prefix(g4));
  wait(0);
  EXPECT_EQ(a.bsrOf(g4), "10.0.0.2 0 30");
  EXPECT_EQ(stateOf(a), "pBsr");
  EXPECT_DOUBLE_EQ(a.candidate(g4)->bsExpiry(), now() + 5);
  wait(5);
  EXPECT_EQ(belief(), withRp("10.0.0.1 60 30", 3));
}

TEST_F(CandidateElectionTest, ABetterCandidateTakesOver) {
  goTo(10);
  stand(a);
  serve(c);
  goTo(100);
  ASSERT_EQ(belief(), withRp("10.0.0.1 64 30", 3));
  LanRouter& d = lan.add("10.0.0.4");
  wait(10);
  stand(d, 200, 24);
  const double standing = now();
  goTo(justBefore(standing + 5));
  EXPECT_EQ(stateOf(a), "eBsr");
  goTo(standing + 5);
  EXPECT_EQ(stateOf(a) + stateOf(d), "cBsreBsr");
  EXPECT_EQ(belief(), withRp("10.0.0.4 200 24", 3)) << "what it learned as a follower";
  goTo(standing + 1000);
  EXPECT_EQ(belief(), withRp("10.0.0.4 200 24", 3));
}

TEST_F(CandidateElectionTest, ARestartOfTheElectedIsNotNoticed) {
  goTo(10);
  stand(b);
  stand(a, 60);
  serve(c);
  goTo(100);
  b.stop();
  wait(30);
  b.start();
  wait(0);
  EXPECT_EQ(stateOf(b), "eBsr");
  goTo(400);
  EXPECT_EQ(belief(), withRp("10.0.0.2 64 30", 3));
  EXPECT_LT(a.status->bootstrapRouter(prefix(g4))->setupTime(), 100) << "the same BSR all along";
}

TEST_F(CandidateElectionTest, ARaisedPriorityWinsAndALoweredOneLoses) {
  goTo(10);
  const auto ofA = stand(a, 60);
  const auto ofB = stand(b, 70);
  goTo(100);
  ASSERT_EQ(belief(), "10.0.0.2 70 30");
  ofA->priorityIs(80);
  wait(10);
  EXPECT_EQ(belief(), "10.0.0.1 80 30");
  ofA->priorityIs(50);
  wait(60 + 10);  // told with the next message
  EXPECT_EQ(belief(), "10.0.0.2 70 30");
}

TEST_F(CandidateElectionTest, ANewHashMaskLengthReachesEveryRp) {
  goTo(10);
  const auto own = stand(a);
  serve(c);
  goTo(100);
  own->hashMaskLenIs(20);
  wait(60);
  EXPECT_EQ(belief(), withRp("10.0.0.1 64 20", 3));
  for (const auto& router : lan.routers()) {
    const auto set = router->pimRpStatus->crpSet(prefix("225.0.0.0/8"));
    EXPECT_EQ(set->rp(addr("10.0.0.3"))->hashMaskLen().value(), 20u) << router->address;
  }
}

TEST_F(CandidateElectionTest, ABrokenLinkMakesTwoBsrsAndAWholeOneAgainOne) {
  LanRouter& d = lan.add("10.0.0.4");
  goTo(10);
  stand(a, 60);
  stand(b, 70);
  serve(c);
  goTo(100);
  ASSERT_EQ(belief(), withRp("10.0.0.2 70 30", 3));
  a.island = d.island = 1;
  goTo(100 + 130 + 23 + 1);
  EXPECT_EQ(belief(0), withRp("10.0.0.2 70 30", 3));
  EXPECT_EQ(d.bsrOf(g4), "10.0.0.1 60 30");
  goTo(600);
  EXPECT_EQ(belief(1), "10.0.0.1 60 30") << "the RP beyond has expired";
  a.island = d.island = 0;
  goTo(600 + 60 + 20);
  EXPECT_EQ(belief(), withRp("10.0.0.2 70 30", 3));
}

// --- RPs --------------------------------------------------------------------------------------

TEST_F(CandidateElectionTest, RpsAnywhereServeEverybodyTheBsrIncluded) {
  goTo(10);
  stand(a);
  serve(a, 10);
  serve(b, 20);
  const auto withdrawn = serve(c, 30);
  goTo(60);
  EXPECT_EQ(belief(),
            "10.0.0.1 64 30, 225.0.0.0/8 10.0.0.1 180 10, 225.0.0.0/8 10.0.0.2 180 20, "
            "225.0.0.0/8 10.0.0.3 180 30");
  c.status->crpDel(addr("10.0.0.3"));
  wait(10);
  EXPECT_EQ(belief(), "10.0.0.1 64 30, 225.0.0.0/8 10.0.0.1 180 10, 225.0.0.0/8 10.0.0.2 180 20");
  b.die();
  const double silence = now();
  goTo(silence + 100);
  EXPECT_NE(belief().find("10.0.0.2"), std::string::npos);
  goTo(silence + 180 + 60 + 180);
  EXPECT_EQ(belief(), "10.0.0.1 64 30, 225.0.0.0/8 10.0.0.1 180 10");
}

TEST_F(CandidateElectionTest, CountersAddUp) {
  goTo(10);
  stand(a);
  stand(b);
  serve(c);
  goTo(1000);
  for (const auto& router : lan.routers()) {
    const Bsr::PimBsrCounters& n = router->counters();
    EXPECT_EQ(n.rx(), n.rxBsm() + n.rxCrpAdv()) << router->address;
    EXPECT_EQ(n.rxBsm(), n.rxBsmSuccess() + n.rxBsmError()) << router->address;
    EXPECT_EQ(n.tx(), n.txSuccess() + n.txError()) << router->address;
    EXPECT_EQ(n.txError(), 0u) << router->address;
  }
  EXPECT_GT(b.counters().rxCrpAdvSuccess(), 10u);
  EXPECT_EQ(b.counters().rxCrpAdvError(), 0u);
}

}  // namespace
}  // namespace Routing::TestKit
