#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/bsr/engine/BsrCandidateFixture.h"

// The table of the candidate machine, cell by cell: what state follows, when the bootstrap timer
// fires, what is recorded, sent and traced, and in which order.

namespace Routing::TestKit {

// A way to the private state, for states that cannot come about.
template <auto Member>
struct Door {
  friend Bsr::BsrCandidateState& stateOf(Bsr::BsrCandidateSm& machine) { return machine.*Member; }
};
Bsr::BsrCandidateState& stateOf(Bsr::BsrCandidateSm& machine);

namespace {

using BsrCandidateSmTest = BsrCandidateFixture;

// --- initialisation ---------------------------------------------------------------------------

TEST_F(BsrCandidateSmTest, WaitsUntilAllItsAttributesAreSet) {
  const std::string postponed =
      "Postponing initialization of CandidateSm 224.0.0.0/4 till all the "
      "attributes of Candidate Bsr is initialized.";
  const auto own = router.status->newCbsr(prefix(g4));
  const auto expectWaiting = [&](const char* after) {
    EXPECT_EQ(state(), "noInfoBsr") << after;
    EXPECT_FALSE(machine().initialized()) << after;
    expectTimer(never);
    EXPECT_TRUE(traced(4, postponed)) << after;
    traces.clear();
  };
  expectWaiting("creation");
  own->priorityIs(0);
  expectWaiting("priority");
  own->hashMaskLenIs(0);
  expectWaiting("hash mask length");
  own->bsPeriodIs(60);
  expectWaiting("period");
  own->addressIs(addr("2001:db8::1"));
  expectWaiting("address of another family");
  hear(better());
  machine().handleBsrTimerExpiry();
  wait(1000);
  EXPECT_EQ(sent(), Lines{});
  EXPECT_EQ(router.bsrOf(g4), "none") << "an incomplete candidate takes no message";
  own->electedIs(true);
  EXPECT_EQ(router.bsrOf(g4), "none") << "it does not know yet whom to record";
  own->electedIs(false);
  own->addressIs(addr("10.0.0.1"));
  EXPECT_EQ(state(), "pBsr");
  EXPECT_TRUE(traced(1, ", state=pBsr ,zone=224.0.0.0/4"));
  EXPECT_TRUE(traced(5, " Next Expiry Time in 5 seconds"));
  expectTimer(now() + backOffOfEqual);
}

TEST_F(BsrCandidateSmTest, HashMaskLength128StandsForNotSet) {
  BsrRouter six(AddressFamily::ipv6, world.wheel);
  const auto own = six.candidateBsrIs("ff00::/8", "2001:db8::1", 64, 128);
  EXPECT_EQ(own->state(), Bsr::BsrCandidateState::noInfoBsr);
  own->hashMaskLenIs(126);
  EXPECT_EQ(own->state(), Bsr::BsrCandidateState::pBsr);
  EXPECT_DOUBLE_EQ(six.candidate("ff00::/8")->bsExpiry(), now() + 10) << "always, with IPv6";
}

TEST_F(BsrCandidateSmTest, ANewCandidateWaitsFiveSecondsAndWins) {
  const double start = now();
  stand();
  EXPECT_EQ(state(), "pBsr");
  EXPECT_EQ(stored(), "10.0.0.1 64 30");
  EXPECT_EQ(router.bsrOf(g4), "none") << "pending, it records nobody";
  EXPECT_EQ(lastBsm(), "none");
  goTo(justBefore(start + 5));
  EXPECT_EQ(state(), "pBsr");
  EXPECT_EQ(sent(), Lines{});
  goTo(start + 5);
  EXPECT_EQ(state(), "eBsr");
  EXPECT_EQ(sent(), onBoth(start + 5, ownText));
}

TEST_F(BsrCandidateSmTest, ARecordedBetterBsrLengthensTheFirstBackOff) {
  hear(better());  // as a follower
  wait(20);
  router.sentBsms();
  const std::string before = treeText(record());
  stand();
  EXPECT_EQ(router.follower(g4), nullptr) << "one machine a zone";
  EXPECT_EQ(state(), "pBsr");
  EXPECT_EQ(stored(), "192.0.2.9 192 30");
  EXPECT_EQ(treeText(record()), before);
  expectTimer(now() + backOffFrom192);
  EXPECT_EQ(sent(), Lines{});
}

TEST_F(BsrCandidateSmTest, AWorseOrUnfinishedRecordLengthensNothing) {
  hear(worse());
  stand();
  EXPECT_EQ(stored(), "10.0.0.1 64 30");
  expectTimer(now() + 5);
  EXPECT_EQ(router.bsrOf(g4), "192.0.2.1 10 30") << "untouched";
  router.status->newBootstrapRouter(prefix(site));  // names nobody: priority 256, no address
  stand(site);
  EXPECT_EQ(state(site), "pBsr");
  EXPECT_DOUBLE_EQ(machine(site).bsExpiry(), now() + 5);
}

TEST_F(BsrCandidateSmTest, TheElectedOneResumesAtOnceAfterARestart) {
  standAndWin();
  const double elected = record().setupTime();
  wait(17);
  router.stop();
  wait(3);
  EXPECT_TRUE(router.status->cbsr(prefix(g4))->elected()) << "survives";
  traces.clear();
  router.start();
  EXPECT_EQ(state(), "eBsr");
  EXPECT_EQ(sent(), onBoth(now(), ownText));
  EXPECT_EQ(router.bsrOf(g4), "10.0.0.1 64 30");
  EXPECT_EQ(record().setupTime(), elected) << "it never ceased to be the BSR";
  EXPECT_DOUBLE_EQ(record().upTime(), 20);
  expectTimerAndRecord(now() + period);
  EXPECT_TRUE(traced(1, "state=eBsr, zone=224.0.0.0/4"));
  EXPECT_TRUE(traced(4, "Updated Elected BSR 10.0.0.1 with priority 64, hashMaskLen 30"));
}

TEST_F(BsrCandidateSmTest, TheElectedOneResumesEvenIfABetterBsrWasRecordedMeanwhile) {
  standAndWin();
  router.stop();
  const auto recorded = router.status->newBootstrapRouter(prefix(g4));
  recorded->ipAddrIs(addr("192.0.2.9"));
  recorded->priorityIs(192);
  router.start();
  EXPECT_EQ(state(), "eBsr");
  EXPECT_EQ(stored(), "10.0.0.1 64 30");
  EXPECT_EQ(router.bsrOf(g4), "10.0.0.1 64 30");
  EXPECT_EQ(record().setupTime(), now()) << "the BSR of the record changed";
}

// --- a preferred message ----------------------------------------------------------------------

TEST_F(BsrCandidateSmTest, PendingItFollowsAPreferredBsr) {
  stand();
  wait(2);
  Minutes minutes(router);
  traces.clear();
  hear(better().hashMask(24));
  EXPECT_EQ(minutes.read(), (Lines{"state cBsr", "record made", "record's ipAddr", "sent on eth0",
                                   "sent on eth1", "225.0.0.0/8 made", "record's expiryTime"}));
  EXPECT_EQ(state(), "cBsr");
  EXPECT_EQ(stored(), "192.0.2.9 192 24");
  EXPECT_EQ(router.bsrOf(g4), "192.0.2.9 192 24");
  EXPECT_EQ(record().setupTime(), now());
  expectTimerAndRecord(now() + timeout);
  EXPECT_DOUBLE_EQ(record().expires(), timeout);
  const std::string text = "192.0.2.9 192 24 tag * 225.0.0.0/8 0 1/1(10.9.9.9 150 0)";
  EXPECT_EQ(sent(), onBoth(now(), text)) << "also where it came from";
  EXPECT_EQ(lastBsm(), text);
  EXPECT_EQ(router.rpSetOf(g4), Lines{"225.0.0.0/8 10.9.9.9 150 0"});
  EXPECT_EQ(router.pimRps(), Lines{"225.0.0.0/8 10.9.9.9 150 0"});
  EXPECT_TRUE(traced(8, "BSM Priority is 192 and my priority is 64"));
  EXPECT_TRUE(traced(1, ", state=cBsr, zone=224.0.0.0/4"));
  EXPECT_TRUE(traced(4, "Added Elected BSR 192.0.2.9 with priority 192, hashMaskLen 24"));
  EXPECT_TRUE(traced(5, " Next Expiry Timer expires in about 130 secs from now"));
}

TEST_F(BsrCandidateSmTest, FollowingItRefreshesWithEveryMessageOfItsBsr) {
  standAndFollow();
  const double elected = record().setupTime();
  wait(100);
  Minutes minutes(router);
  hear(better().hashMask(20));
  EXPECT_EQ(minutes.read(), (Lines{"sent on eth0", "sent on eth1", "record's expiryTime"}));
  EXPECT_EQ(state(), "cBsr");
  EXPECT_EQ(router.bsrOf(g4), "192.0.2.9 192 20");
  EXPECT_EQ(record().setupTime(), elected);
  EXPECT_DOUBLE_EQ(record().upTime(), 100);
  expectTimerAndRecord(now() + timeout);
  EXPECT_TRUE(traced(4, "Updated Elected BSR 192.0.2.9 with priority 192, hashMaskLen 20"));
  EXPECT_EQ(rp("225.0.0.0/8", "10.9.9.9").hashMaskLen().value(), 20u);
  goTo(justBefore(now() + timeout));
  EXPECT_EQ(state(), "cBsr");
}

TEST_F(BsrCandidateSmTest, FollowingItChangesToAnEvenBetterBsr) {
  standAndFollow();
  wait(10);
  Minutes minutes(router);
  hear(Bsm("192.0.2.10", 192).group("227.0.0.0/8", {{"10.7.7.7"}}));
  EXPECT_EQ(minutes.read(), (Lines{"225.0.0.0/8 deleted", "record's ipAddr", "sent on eth0",
                                   "sent on eth1", "227.0.0.0/8 made", "record's expiryTime"}))
      << "what the old BSR said goes first, as at the routers that are no candidates";
  EXPECT_EQ(router.bsrOf(g4), "192.0.2.10 192 30");
  EXPECT_EQ(record().setupTime(), now());
  EXPECT_EQ(router.pimRps(), Lines{"227.0.0.0/8 10.7.7.7 150 0"});
  EXPECT_TRUE(traced(4,
                     "Clearing RP Set for zone 224.0.0.0/4 since we have a new BSR. Old BSR was "
                     "192.0.2.9"));
}

TEST_F(BsrCandidateSmTest, ElectedItYieldsToABetterBsr) {
  standAndWin();
  advertise("228.0.0.0/8", "10.6.6.6");
  wait(3);
  Minutes minutes(router);
  traces.clear();
  hear(better());
  EXPECT_EQ(minutes.read(),
            (Lines{"state cBsr", "not elected", "228.0.0.0/8 deleted", "record deleted",
                   "record made", "record's ipAddr", "sent on eth0", "sent on eth1",
                   "225.0.0.0/8 made", "record's expiryTime"}))
      << "all that was its own goes before the new BSR's is made";
  EXPECT_EQ(router.bsrOf(g4), "192.0.2.9 192 30");
  EXPECT_EQ(sent(), onBoth(now(), betterText));
  EXPECT_EQ(router.pimRps(), Lines{"225.0.0.0/8 10.9.9.9 150 0"});
  expectTimerAndRecord(now() + timeout);
  EXPECT_TRUE(traced(4, "We, 10.0.0.1 are no longer BSR for zone 224.0.0.0/4"));
  EXPECT_TRUE(traced(4, "Clearing RP Set for zone 224.0.0.0/4"));
  EXPECT_TRUE(traced(4, "Deleting 10.0.0.1 as elected BSR for zone"));
  EXPECT_TRUE(traced(4, "Added Elected BSR 192.0.2.9 with priority 192, hashMaskLen 30"));
  wait(period);
  EXPECT_EQ(sent(), Lines{}) << "no longer its business";
}

TEST_F(BsrCandidateSmTest, EqualPriorityIsDecidedByTheAddress) {
  standAndWin();
  hear(Bsm("9.255.255.255", 64));
  EXPECT_EQ(state(), "eBsr");
  hear(Bsm("10.0.0.3", 64));
  EXPECT_EQ(state(), "cBsr");
}

TEST_F(BsrCandidateSmTest, ANoForwardMessageIsFollowedAndNotForwarded) {
  stand();
  hear(better().noForward());
  EXPECT_EQ(state(), "cBsr");
  EXPECT_EQ(sent(), Lines{});
  EXPECT_TRUE(traced(4, notForwarded));
  EXPECT_EQ(router.rpSetOf(g4), Lines{"225.0.0.0/8 10.9.9.9 150 0"});
  expectTimerAndRecord(now() + timeout);
}

// A neighbour primes it with its own message of before a restart: followed like any other, until
// the BS time-out.
TEST_F(BsrCandidateSmTest, ItsOwnMessageComesBackAfterARestart) {
  stand();
  hear(Bsm("10.0.0.1", 64).noForward());
  EXPECT_EQ(state(), "cBsr");
  EXPECT_FALSE(router.status->cbsr(prefix(g4))->elected());
  EXPECT_TRUE(traced(3, "BSM names ourselves, 10.0.0.1, as BSR for zone 224.0.0.0/4"));
  expectTimerAndRecord(now() + timeout);
  router.status->cbsr(prefix(g4))->priorityIs(Bsr::priorityUnknown);
  EXPECT_EQ(state(), "cBsr") << "nobody contests its own equal";
  wait(timeout);
  EXPECT_EQ(state(), "pBsr");
  expectTimer(now() + 5);
  wait(5);
  EXPECT_EQ(state(), "eBsr");
}

// The same while it is elected, as after a restart that kept its status: nobody else has won.
TEST_F(BsrCandidateSmTest, ElectedItIsNotUnseatedByItsOwnMessage) {
  standAndWin();
  const double next = now() + period;
  wait(10);
  Minutes minutes(router);
  for (const unsigned priority : {64u, 0u, 200u}) {
    hear(Bsm("10.0.0.1", priority).noForward());
    EXPECT_EQ(minutes.read(), Lines{});
    EXPECT_EQ(state(), "eBsr");
    expectTimerAndRecord(next);
    EXPECT_TRUE(traced(3, "BSM names ourselves, 10.0.0.1, as BSR for zone 224.0.0.0/4"));
  }
}

TEST_F(BsrCandidateSmTest, ItsOwnForwardedMessageFailsTheRpfCheck) {
  standAndWin();
  router.hear("eth0", "10.0.0.2", Bsm("10.0.0.1", 64));
  EXPECT_EQ(state(), "eBsr");
  EXPECT_EQ(router.counters().errCounters().rxNbrRpfCheck(), 1u);
}

// --- a message of a worse BSR -----------------------------------------------------------------

TEST_F(BsrCandidateSmTest, FollowingItContestsWhenAThirdBsrIsWorse) {
  standAndFollow();
  wait(40);
  const std::string before = treeText(*router.status->bootstrapRouter(prefix(g4)));
  const double expiryBefore = record().expiryTime();
  Minutes minutes(router);
  hear(worse());
  EXPECT_EQ(minutes.read(), (Lines{"state pBsr", "sent on eth0", "sent on eth1"}));
  EXPECT_EQ(stored(), "192.0.2.9 192 30") << "the back-off is reckoned from the better one";
  EXPECT_EQ(treeText(record()), before);
  EXPECT_EQ(record().expiryTime(), expiryBefore);
  EXPECT_EQ(router.rpSetOf(g4), Lines{"225.0.0.0/8 10.9.9.9 150 0"});
  EXPECT_EQ(lastBsm(), betterText) << "kept";
  EXPECT_EQ(sent(), onBoth(now(), worseText));
  expectTimer(now() + backOffFrom192);
  EXPECT_TRUE(traced(1, ", state=pBsr, zone=224.0.0.0/4"));
  EXPECT_TRUE(traced(5, "Next Expiry Time in 20 seconds"));
  wait(10);
  hear(better());
  EXPECT_EQ(state(), "cBsr") << "the BSR answered in time";
}

// The order matters: reckoned from the old weight, the back-off would be 20 s.
TEST_F(BsrCandidateSmTest, FollowingItContestsAtOnceWhenItsBsrShutsDown) {
  standAndFollow();
  const double elected = record().setupTime();
  wait(40);
  Minutes minutes(router);
  const Bsm shutdown = Bsm("192.0.2.9", 0).hashMask(29).group("225.0.0.0/8", {{"10.9.9.9"}});
  hear(shutdown);
  EXPECT_EQ(minutes.read(), (Lines{"state pBsr", "sent on eth0", "sent on eth1"}));
  EXPECT_EQ(stored(), "192.0.2.9 0 29");
  EXPECT_EQ(router.bsrOf(g4), "192.0.2.9 0 29");
  EXPECT_EQ(record().setupTime(), elected);
  EXPECT_TRUE(traced(4, "Updated Elected BSR 192.0.2.9 with priority 0, hashMaskLen 29"));
  expectTimer(now() + 6);  // no priority term is left, an address term is
  wait(6);
  EXPECT_EQ(state(), "eBsr");
  EXPECT_EQ(router.pimRps(), Lines{"225.0.0.0/8 10.9.9.9 150 0"}) << "the failover loses no RP";
}

TEST_F(BsrCandidateSmTest, PendingItForwardsAndGoesOnWaiting) {
  const double start = now();
  stand();
  goTo(start + 4);
  Minutes minutes(router);
  traces.clear();
  hear(worse());
  EXPECT_EQ(minutes.read(), (Lines{"sent on eth0", "sent on eth1"}));
  EXPECT_EQ(state(), "pBsr");
  EXPECT_EQ(stored(), "10.0.0.1 64 30");
  EXPECT_EQ(router.bsrOf(g4), "none");
  EXPECT_EQ(router.rpSetOf(g4), Lines{});
  EXPECT_EQ(lastBsm(), worseText);
  EXPECT_TRUE(traced(1, ", state=pBsr, zone=224.0.0.0/4"));
  expectTimer(start + 5);
  goTo(start + 5);
  EXPECT_EQ(state(), "eBsr");
}

TEST_F(BsrCandidateSmTest, NobodyForwardsANoForwardMessageOfAWorseBsr) {
  stand();
  hear(worse().noForward());
  EXPECT_EQ(sent(), Lines{});
  EXPECT_TRUE(traced(4, notForwarded));
  EXPECT_EQ(lastBsm(), "192.0.2.1 10 30 tag * no-forward 226.0.0.0/8 0 1/1(10.8.8.8 150 0)");
}

// After a better BSR's death the candidates compare themselves with each other, not with the dead.
TEST_F(BsrCandidateSmTest, PendingAfterASilenceItFollowsWhoIsBetterThanItself) {
  standAndFollow();
  wait(timeout);
  ASSERT_EQ(state(), "pBsr");
  ASSERT_EQ(stored(), "192.0.2.9 192 30");
  hear(Bsm("192.0.2.5", 100));
  EXPECT_EQ(state(), "cBsr");
  EXPECT_EQ(router.bsrOf(g4), "192.0.2.5 100 30");
}

TEST_F(BsrCandidateSmTest, ElectedItAnswersAtOnceAndForwardsNothing) {
  standAndWin();
  wait(25);
  Minutes minutes(router);
  traces.clear();
  hear(worse());
  EXPECT_EQ(minutes.read(), (Lines{"sent on eth0", "sent on eth1", "record's expiryTime"}));
  EXPECT_EQ(state(), "eBsr");
  EXPECT_EQ(sent(), onBoth(now(), ownText));
  EXPECT_EQ(lastBsm(), ownText);
  EXPECT_EQ(stored(), "10.0.0.1 64 30");
  expectTimerAndRecord(now() + period);
  EXPECT_TRUE(traced(1, ", state=eBsr, zone=224.0.0.0/4"));
  EXPECT_TRUE(traced(5, "Next Expiry Time is 60 seconds"));
}

// --- the bootstrap timer ----------------------------------------------------------------------

TEST_F(BsrCandidateSmTest, FollowingItContestsAfterTheSilenceOfItsBsr) {
  standAndFollow();
  const double heard = now();
  goTo(justBefore(heard + timeout));
  EXPECT_EQ(state(), "cBsr");
  Minutes minutes(router);
  goTo(heard + timeout);
  EXPECT_EQ(minutes.read(), Lines{"state pBsr"});
  EXPECT_EQ(router.bsrOf(g4), "192.0.2.9 192 30") << "kept as it is";
  EXPECT_EQ(lastBsm(), betterText);
  EXPECT_EQ(sent(), Lines{});
  expectTimer(now() + backOffFrom192);
  EXPECT_TRUE(traced(1, ", state=pBsr, zone=224.0.0.0/4"));
  EXPECT_TRUE(traced(5, "Next Expiry Time in 20 seconds"));
  goTo(justBefore(heard + timeout + backOffFrom192));
  EXPECT_EQ(state(), "pBsr");
}

TEST_F(BsrCandidateSmTest, PendingItWinsAndKeepsWhatTheLastBsrTaught) {
  stand();
  hear(better().hashMask(20).group("227.0.0.0/8", {{"10.7.7.7", 400}}));
  const double heard = now();
  goTo(justBefore(heard + timeout + backOffFrom192));
  const Lines learned{"225.0.0.0/8 10.9.9.9 150 0", "227.0.0.0/8 10.7.7.7 400 0"};
  EXPECT_EQ(router.pimRps(), learned);
  rp("225.0.0.0/8", "10.9.9.9").expiryTimeIs(heard + 151);  // not just now
  Minutes minutes(router);
  router.sentBsms();
  goTo(heard + timeout + backOffFrom192);
  EXPECT_EQ(minutes.read(), (Lines{"state eBsr", "elected", "record's ipAddr", "sent on eth0",
                                   "sent on eth1", "record's expiryTime"}));
  EXPECT_EQ(router.pimRps(), learned);
  EXPECT_EQ(rp("227.0.0.0/8", "10.7.7.7").hashMaskLen().value(), 30u) << "ours from now on";
  EXPECT_EQ(sent(), onBoth(now(),
                           "10.0.0.1 64 30 tag * 225.0.0.0/8 0 1/1(10.9.9.9 150 0) "
                           "227.0.0.0/8 0 1/1(10.7.7.7 400 0)"));
  goTo(heard + 151);
  EXPECT_EQ(router.pimRps(), Lines{"227.0.0.0/8 10.7.7.7 400 0"}) << "they age as before";
}

TEST_F(BsrCandidateSmTest, PendingItWins) {
  stand();
  Minutes minutes(router);
  wait(5);
  EXPECT_EQ(minutes.read(), (Lines{"state eBsr", "elected", "record made", "record's ipAddr",
                                   "sent on eth0", "sent on eth1", "record's expiryTime"}));
  EXPECT_EQ(stored(), "10.0.0.1 64 30");
  EXPECT_EQ(router.bsrOf(g4), "10.0.0.1 64 30");
  EXPECT_EQ(record().setupTime(), now());
  EXPECT_EQ(lastBsm(), ownText);
  expectTimerAndRecord(now() + period);
  EXPECT_TRUE(traced(1, ", state=eBsr, zone=224.0.0.0/4"));
  EXPECT_TRUE(traced(4, "We, 10.0.0.1 are elected as BSR for zone 224.0.0.0/4"));
  EXPECT_TRUE(traced(4, "Added Elected BSR 10.0.0.1 with priority 64, hashMaskLen 30"));
  EXPECT_TRUE(traced(5, "Next Expiry Time in 60 seconds"));
  EXPECT_TRUE(traced(9, "doSendBsm ( shutdown=False"));
}

TEST_F(BsrCandidateSmTest, ElectedItSendsEveryPeriodWithAFreshTag) {
  standAndWin();
  const double elected = now();
  const double setup = record().setupTime();
  std::uint16_t lastTag = machine().lastBsm()->fragmentTag();
  for (int round = 1; round <= 3; ++round) {
    goTo(justBefore(elected + round * period));
    EXPECT_EQ(sent(), Lines{});
    goTo(elected + round * period);
    const auto bsms = router.sentBsms();
    ASSERT_EQ(bsms.size(), 2u);
    EXPECT_EQ(bsmText(*bsms[0].bsm), ownText);
    EXPECT_EQ(bsms[0].bsm->fragmentTag(), bsms[1].bsm->fragmentTag());
    EXPECT_NE(bsms[0].bsm->fragmentTag(), lastTag);
    lastTag = bsms[0].bsm->fragmentTag();
    expectTimerAndRecord(now() + period);
    EXPECT_EQ(record().setupTime(), setup);
  }
}

// --- cells that cannot be ---------------------------------------------------------------------

TEST_F(BsrCandidateSmTest, EventsWithoutAStateAreImpossible) {
  const ThrowingAssertions throwing;
  stand();
  stateOf(machine()) = Bsr::BsrCandidateState::noInfoBsr;
  const auto expectImpossible = [](auto&& event) {
    try {
      event();
      ADD_FAILURE() << "no assertion";
    } catch (const AssertionError& error) {
      EXPECT_STREQ(error.what(), "0 && \"Invalid Candidate BSR state\"");
    }
  };
  expectImpossible([&] { machine().handleBsrTimerExpiry(); });
  expectImpossible([&] { wait(5); });
  expectImpossible([&] { machine().bsmIs(worse().make()); });
  EXPECT_EQ(sent(), Lines{});
}

TEST_F(BsrCandidateSmTest, NothingHappensBeforeInitialisation) {
  router.status->newCbsr(prefix(g4));
  Minutes minutes(router);
  machine().handleBsrTimerExpiry();
  machine().bsmIs(better().make());
  machine().doSendBsm(false);
  router.status->bsTimeoutIs(12);
  EXPECT_EQ(minutes.read(), Lines{});
  EXPECT_EQ(state(), "noInfoBsr");
}

// --- how long candidates wait -----------------------------------------------------------------

// Whoever follows a BSR and no longer hears it waits the longer the worse it is itself.
TEST_F(BsrCandidateSmTest, TheBackOffFollowsFromBothWeights) {
  struct Vector {
    const char* own;
    unsigned ownPriority;
    const char* bsr;
    unsigned bsrPriority;
    double seconds;
  };
  const std::vector<Vector> vectors = {
      {"10.0.0.1", 64, "10.0.0.9", 64, 5},         // 5.198
      {"10.0.0.1", 0, "10.0.0.9", 255, 22},        // 22.922, the longest there is
      {"192.0.2.200", 64, "192.0.2.1", 100, 15},   // 15.919
      {"1.0.0.1", 64, "223.255.255.254", 64, 6},   // 6.99
      {"10.0.0.1", 64, "192.0.2.9", 192, 20},      // 20.94
      {"2001:db8::1", 64, "2001:db8::9", 64, 10},  // no address term with IPv6
      {"fd00::1", 100, "2001:db8::9", 200, 23},    // 23.32
      {"2001:db8::1", 254, "2001:db8::9", 255, 12},
  };
  for (const Vector& v : vectors) {
    SCOPED_TRACE(std::string(v.own) + " after " + v.bsr);
    const AddressFamily af = addr(v.own).af();
    const bool six = af == AddressFamily::ipv6;
    const std::string zone = six ? "ff00::/8" : g4;
    const std::string neighbor = six ? "fe80::2" : "10.0.0.2";
    BsrRouter other(af, world.wheel);
    other.linkIs("eth0", six ? "fe80::1" : "10.0.0.1");
    other.neighborIs("eth0", neighbor);
    other.routeIs(v.bsr, "eth0", neighbor);
    const auto own = other.candidateBsrIs(zone, v.own, v.ownPriority, six ? 126 : 30);
    other.hear("eth0", neighbor, Bsm(v.bsr, v.bsrPriority));
    ASSERT_EQ(own->state(), Bsr::BsrCandidateState::cBsr);
    wait(timeout);
    EXPECT_EQ(own->state(), Bsr::BsrCandidateState::pBsr);
    EXPECT_DOUBLE_EQ(other.candidate(zone)->bsExpiry(), now() + v.seconds);
  }
}

}  // namespace

template struct Door<&Bsr::BsrCandidateSm::state_>;

}  // namespace Routing::TestKit
