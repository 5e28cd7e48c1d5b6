#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "bsr/engine/RpCandidateSm.h"
#include "tests/bsr/engine/CandidateFixture.h"
#include "tests/support/PimInvariants.h"

// The candidate RP 10.0.0.1 advertises its ranges. The BSR is 192.0.2.9, from which messages come
// by way of 10.0.0.2, or this router itself.

namespace Routing::TestKit {
namespace {

using Ranges = std::vector<std::string>;

/// Sees to it that some RPs are in an RP set, and not withdrawn, after each single change.
class Guard {
 public:
  Guard(BsrRouter& router, Ranges ranges) : router_(router), ranges_(std::move(ranges)) {
    changes_ = router.status->treeReactor([this](const TreeChange&) { look(); });
    look();
  }
  bool unharmed() const { return unharmed_; }

 private:
  void look() {
    const auto& zone = router_.status->crpStatus(prefix(global));
    for (const std::string& range : ranges_) {
      const auto set = zone && zone->status() ? zone->status()->crpSet(prefix(range)) : nullptr;
      const auto rp = set ? set->rp(addr("10.0.0.1")) : nullptr;
      unharmed_ = unharmed_ && rp && rp->holdTime().value() != 0;
    }
  }

  BsrRouter& router_;
  Ranges ranges_;
  bool unharmed_ = true;
  Subscription changes_;
};

struct RpCandidateSmTest : CandidateFixture {
  std::shared_ptr<Bsr::RpCandidate> serve(const Ranges& ranges, unsigned priority = 10) {
    const auto crp = router.status->newCrp(addr("10.0.0.1"));
    for (const std::string& range : ranges) {
      crp->prefixSetIs(prefix(range), true);
      option(range).priorityIs(Pim::RpPriority(priority));
    }
    return crp;
  }
  Bsr::RpCandidateGroupEntryOptions& option(const std::string& range) {
    return *router.status->crp(addr("10.0.0.1"))->newPrefixOptions(prefix(range));
  }
  void drop(const std::string& range) {
    router.status->crp(addr("10.0.0.1"))->prefixOptionsDel(prefix(range));
  }
  /// Keeps the BSR alive without a word of its RP set.
  void keepAlive(const std::string& zone = global) {
    Bsm bsm("192.0.2.9", 192);
    hear(zone == global ? bsm : bsm.zone(zone));
    router.sentBsms();
  }
  /// A BSR is known and the burst for it is over; the next advertisement is due in 60 s.
  void settle() {
    keepAlive();
    while (machine().crpAdvBackoffCount() > 0 || machine().crpAdvExpiry() < now() + 3) wait(1);
    while (machine().crpAdvExpiry() != now() + 60) goTo(machine().crpAdvExpiry());
    router.sentAdvs();
    keepAlive();
    traces.clear();
  }
  Bsr::RpCandidateSm& machine(unsigned priority = 10) {
    return *router.engine().rpCandidateSm().at({addr("10.0.0.1"), Pim::RpPriority(priority)});
  }
  std::size_t machines() { return router.engine().rpCandidateSm().size(); }
  void expectTraced(const Lines& lines) { TracedTest::expectTraced(lines, "RpCandidateSm"); }
  /// What was sent since the last call: "BSR MESSAGE".
  Lines advertised() {
    Lines lines;
    for (const auto& each : router.sentAdvs()) {
      EXPECT_EQ(each.adv->source(), addr("10.0.0.1")) << "filters go by the source";
      EXPECT_EQ(each.intf, "") << "routed";
      lines.push_back(each.adv->destination().text() + " " + describe(*each.adv));
    }
    return lines;
  }
};

const char* const plain = "192.0.2.9 C-RP 10.0.0.1*10*180s count 1; 225.0.0.0/8";

// --- when -------------------------------------------------------------------------------------

TEST_F(RpCandidateSmTest, ANewBsrHearsOfItThreeTimesAndThenEveryInterval) {
  serve({"225.0.0.0/8"});
  EXPECT_LE(machine().crpAdvExpiry(), now() + 2);
  wait(300);
  EXPECT_EQ(advertised(), Lines{}) << "nobody to tell";
  std::srand(4711);
  const int first = std::rand() % 3;
  const int second = std::rand() % 3;
  const int third = std::rand() % 3;
  std::srand(4711);
  traces.clear();
  const double heard = now();
  keepAlive();
  const std::string set = "5 Setting up CRP Adv timer to fire in ";
  expectTraced({set + std::to_string(first) + " seconds from now. backoffCount=2"});
  goTo(heard + 100);
  keepAlive();
  goTo(heard + 200);
  const double last = heard + first + second + third;
  std::vector<double> times;
  for (const auto& each : router.sentAdvs()) times.push_back(each.at);
  EXPECT_EQ(times, (std::vector<double>{heard + first, heard + first + second, last, last + 60,
                                        last + 120, last + 180}));
  // The count as an octet.
  expectTraced({set + std::to_string(second) + " seconds from now. BackoffCount=\x01",
                set + "60 seconds from now"});
}

TEST_F(RpCandidateSmTest, ARefreshOfTheSameBsrIsNoReasonForHaste) {
  serve({"225.0.0.0/8"});
  settle();
  const double next = machine().crpAdvExpiry();
  keepAlive();
  hear(Bsm("192.0.2.9", 193).hashMask(20));
  EXPECT_EQ(machine().crpAdvExpiry(), next);
  EXPECT_EQ(machine().crpAdvBackoffCount(), 0);
  hear(Bsm("192.0.2.10", 193));
  EXPECT_LE(machine().crpAdvExpiry(), now() + 2);
  wait(6);
  EXPECT_EQ(advertised(), Lines(3, "192.0.2.10 C-RP 10.0.0.1*10*180s count 1; 225.0.0.0/8"));
}

TEST_F(RpCandidateSmTest, ABsrThatFellSilentIsToldNothing) {
  serve({"225.0.0.0/8"});
  settle();
  wait(129);
  advertised();
  wait(1);
  ASSERT_EQ(router.bsrOf(global), "none");
  wait(200);
  EXPECT_EQ(advertised(), Lines{});
  keepAlive();
  wait(6);
  EXPECT_EQ(advertised(), Lines(3, plain)) << "the range was not forgotten";
}

TEST_F(RpCandidateSmTest, ANewIntervalCountsFromNow) {
  const auto crp = serve({"225.0.0.0/8"});
  settle();
  wait(50);
  crp->intervalIs(Bsr::CrpAdvInterval(30));
  EXPECT_DOUBLE_EQ(machine().crpAdvExpiry(), now() + 30);
  expectTraced({"5 CRP Interval value changed. Resetting it to 30 seconds from now."});
  wait(30);
  EXPECT_EQ(advertised(), Lines{"192.0.2.9 C-RP 10.0.0.1*10*90s count 1; 225.0.0.0/8"});
  wait(20);
  crp->intervalIs(Bsr::CrpAdvInterval(100));
  EXPECT_DOUBLE_EQ(machine().crpAdvExpiry(), now() + 100) << "a longer one too";
  crp->intervalIs(Bsr::CrpAdvInterval(21845));
  keepAlive();
  machine().doSendCrpAdv(false);
  EXPECT_EQ(advertised(), Lines{"192.0.2.9 C-RP 10.0.0.1*10*65535s count 1; 225.0.0.0/8"});
}

// --- what, and to whom ------------------------------------------------------------------------

TEST_F(RpCandidateSmTest, EachPriorityHasAnAdvertiserOfItsOwn) {
  serve({"225.0.0.0/8", "226.0.0.0/8"}, 10);
  serve({"227.0.0.0/8"}, 20);
  option("228.0.0.0/8");                                                           // no priority
  router.status->crp(addr("10.0.0.1"))->prefixSetIs(prefix("229.0.0.0/8"), true);  // no options
  EXPECT_EQ(machines(), 2u);
  EXPECT_TRUE(traces.contains("Sm", 4, "Created RpcandidateSm with options "));
  expectTraced({"4 Instantiated CRP SM 10.0.0.1 with priority 20"});
  keepAlive();
  wait(6);
  const auto all = advertised();
  EXPECT_EQ(
      std::set<std::string>(all.begin(), all.end()),
      (std::set<std::string>{"192.0.2.9 C-RP 10.0.0.1*10*180s count 2; 225.0.0.0/8; 226.0.0.0/8",
                             "192.0.2.9 C-RP 10.0.0.1*20*180s count 1; 227.0.0.0/8"}));
  expectTraced({"4 Sending CRP Advertisement message to BSR192.0.2.9 containing 2 prefixes"});
}

TEST_F(RpCandidateSmTest, BidirectionalRangesAndBordersShowInTheFlags) {
  const auto crp = serve({"225.0.0.0/8"});
  settle();
  const auto border = router.status->newBsBorder(prefix(global));
  for (const bool bidir : {true, false}) {
    for (const bool onBorder : {false, true}) {
      crp->modeIs(bidir ? Pim::PimMode::bidirectional : Pim::PimMode::sparse);
      onBorder ? border->intfIdIs(IntfId("eth1"), true) : border->intfIdDel(IntfId("eth1"));
      keepAlive();
      wait(60);
      EXPECT_EQ(advertised(),
                Lines{plain + std::string(bidir ? " B" : "") + (onBorder ? " Z" : "")});
    }
  }
  expectTraced({"7 C-RP is a ZBR"});
}

TEST_F(RpCandidateSmTest, AZoneTakesItsRangesAndGivesThemBack) {
  serve({"225.0.0.0/8", "239.0.0.0/8", "239.1.2.0/24"});
  settle();
  wait(60);
  const Lines global{
      "192.0.2.9 C-RP 10.0.0.1*10*180s count 3; 225.0.0.0/8; 239.0.0.0/8; 239.1.2.0/24"};
  EXPECT_EQ(advertised(), global);
  traces.clear();
  hear(Bsm("192.0.2.20", 64).zone(site));
  expectTraced({"8 Created crpAdvSet for zone 239.1.0.0/16",
                "8 Deleting prefix 239.1.2.0/24 from 224.0.0.0/4",
                "4 Added prefix 239.1.2.0/24 to crpAdvSet for zone 239.1.0.0/16"});
  keepAlive();
  wait(6);
  const Lines both{"192.0.2.9 C-RP 10.0.0.1*10*180s count 2; 225.0.0.0/8; 239.0.0.0/8",
                   "192.0.2.20 C-RP 10.0.0.1*10*180s count 1; 239.1.2.0/24"};
  const Lines sent = advertised();
  ASSERT_EQ(sent.size(), 6u) << "three times to each";
  EXPECT_EQ(Lines(sent.begin(), sent.begin() + 2), both);
  for (int i = 0; i < 2; ++i) {
    wait(60);
    keepAlive();
  }
  advertised();
  wait(4);
  ASSERT_EQ(router.bsrOf(site), "none");
  expectTraced({"8 Deleting crpAdvSet for zone 239.1.0.0/16"});
  wait(6);
  EXPECT_EQ(advertised(), Lines(3, global.front()));
}

TEST_F(RpCandidateSmTest, AZoneWithoutItsRangesIsToldNothing) {
  serve({"225.0.0.0/8"});
  settle();
  const double next = machine().crpAdvExpiry();
  hear(Bsm("192.0.2.20", 64).zone(site));
  EXPECT_EQ(machine().crpAdvExpiry(), next);
  goTo(next);
  EXPECT_EQ(advertised(), Lines{plain});
  expectTraced(
      {"8 Skipping sending C-RP Advertisement Message since crpAdvSet is empty or number "
       "of prefixes is 0"});
}

TEST_F(RpCandidateSmTest, ABsrWhoseAddressIsNotKnownYetIsPassedOver) {
  serve({"225.0.0.0/8"});
  router.status->newBootstrapRouter(prefix(global));
  machine().doSendCrpAdv(false);
  machine().doWithdrawPrefix(prefix("225.0.0.0/8"));
  EXPECT_EQ(advertised(), Lines{});
}

TEST_F(RpCandidateSmTest, OneMessageTellsOf255RangesAtMost) {
  Ranges many;
  for (int i = 0; i < 300; ++i) {
    many.push_back("225." + std::to_string(i / 100) + "." + std::to_string(i % 100) + ".0/24");
  }
  serve(many);
  settle();
  wait(60);
  const auto sent = router.sentAdvs();
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].adv->prefixCount(), 255);
  EXPECT_EQ(violation(*sent[0].adv), "");
  const auto handed = router.instance->crpMsgStatus()->txCrpMsg();
  EXPECT_EQ(handed->prefixCount(), 255);
  EXPECT_EQ(handed->groupData().size(), 256u) << "one more than the count";
  expectTraced({"4 Configured prefixes are greater than 255. Publishing only the maximum possible.",
                "4 Sending CRP Advertisement message to BSR192.0.2.9 containing 256 prefixes"});
  for (int i = 255; i < 300; ++i) drop(many[i]);
  keepAlive();
  router.sentAdvs();
  traces.clear();
  machine().doSendCrpAdv(false);
  EXPECT_EQ(router.sentAdvs().at(0).adv->prefixCount(), 255);
  EXPECT_FALSE(traces.contains("RpCandidateSm", 4, "Configured prefixes are greater"));
}

// --- changes, as the BSR sees them ------------------------------------------------------------

// This router is the BSR and takes its own advertisements in.
struct RpCandidateAtBsrTest : RpCandidateSmTest {
  void serveAsBsr(const Ranges& ranges) {
    standAndWin();
    serve(ranges);
    wait(2);
  }
};

TEST_F(RpCandidateAtBsrTest, ARangeThatGoesIsWithdrawnAndNoOther) {
  serveAsBsr({"225.0.0.0/8", "226.0.0.0/8", "227.0.0.0/8"});
  const Guard guard(router, {"225.0.0.0/8"});
  wait(20);
  drop("226.0.0.0/8");
  EXPECT_EQ(router.rpSetOf(global),
            (Lines{"225.0.0.0/8 10.0.0.1 180 10", "226.0.0.0/8 10.0.0.1 0 10",
                   "227.0.0.0/8 10.0.0.1 180 10"}));
  wait(10);
  EXPECT_EQ(router.pimRps(), (Lines{"225.0.0.0/8 10.0.0.1 180 10", "227.0.0.0/8 10.0.0.1 180 10"}));
  option("227.0.0.0/8").priorityIs(Pim::RpPriority(Pim::rpPriorityUnknown));
  wait(10);
  EXPECT_EQ(router.pimRps(), Lines{"225.0.0.0/8 10.0.0.1 180 10"}) << "nor without priority";
  wait(200);
  EXPECT_TRUE(guard.unharmed());
}

TEST_F(RpCandidateAtBsrTest, AChangedPriorityWithdrawsNothing) {
  serveAsBsr({"225.0.0.0/8", "226.0.0.0/8"});
  const Guard guard(router, {"225.0.0.0/8", "226.0.0.0/8"});
  option("226.0.0.0/8").priorityIs(Pim::RpPriority(20));
  EXPECT_EQ(machines(), 2u);
  wait(2);
  EXPECT_EQ(router.pimRps(), (Lines{"225.0.0.0/8 10.0.0.1 180 10", "226.0.0.0/8 10.0.0.1 180 20"}));
  wait(300);
  EXPECT_EQ(router.pimRps(), (Lines{"225.0.0.0/8 10.0.0.1 180 10", "226.0.0.0/8 10.0.0.1 180 20"}))
      << "no two minds about it";
  option("225.0.0.0/8").priorityIs(Pim::RpPriority(20));
  EXPECT_EQ(machines(), 1u) << "nothing is left for the old advertiser";
  wait(2);
  EXPECT_EQ(router.pimRps(), (Lines{"225.0.0.0/8 10.0.0.1 180 20", "226.0.0.0/8 10.0.0.1 180 20"}))
      << "soon, not after a period";
  EXPECT_TRUE(guard.unharmed());
  option("226.0.0.0/8").priorityIs(Pim::RpPriority(0));
  drop("226.0.0.0/8");
  serve({"226.0.0.0/8"}, 20);
  wait(2);
  EXPECT_TRUE(Guard(router, {"225.0.0.0/8", "226.0.0.0/8"}).unharmed());
}

TEST_F(RpCandidateAtBsrTest, ACandidateThatGoesWithdrawsAllItsRanges) {
  serveAsBsr({"225.0.0.0/8", "226.0.0.0/8"});
  serve({"227.0.0.0/8"}, 20);
  wait(20);
  router.sentBsms();
  router.status->crpDel(addr("10.0.0.1"));
  EXPECT_EQ(machines(), 0u);
  TracedTest::expectTraced(
      {"4 Deleted CRP SM 10.0.0.1 with priority 10", "4 Deleted CRP SM 10.0.0.1 with priority 20"});
  wait(10);
  EXPECT_EQ(sent(), onBoth(now(),
                           "10.0.0.1 64 30 tag * 225.0.0.0/8 0 1/1(10.0.0.1 0 10) "
                           "226.0.0.0/8 0 1/1(10.0.0.1 0 10) "
                           "227.0.0.0/8 0 1/1(10.0.0.1 0 20)"))
      << "told to all, once";
  EXPECT_EQ(router.pimRps(), Lines{});
  wait(120);
  EXPECT_EQ(sent().back(), std::to_string(static_cast<int>(now())) + " eth1 10.0.0.1 64 30 tag *");
}

TEST_F(RpCandidateSmTest, WithdrawalsGoToEveryBsrOfItsRanges) {
  serve({"225.0.0.0/8", "239.1.2.0/24"});
  hear(Bsm("192.0.2.20", 64).zone(site));
  settle();
  hear(Bsm("192.0.2.20", 64).zone(site));
  drop("239.1.2.0/24");
  EXPECT_EQ(advertised(), Lines{"192.0.2.20 C-RP 10.0.0.1*10*0s count 1; 239.1.2.0/24"});
  serve({"239.1.3.0/24"});
  router.status->crpDel(addr("10.0.0.1"));
  EXPECT_EQ(advertised(), (Lines{"192.0.2.9 C-RP 10.0.0.1*10*0s count 1; 225.0.0.0/8",
                                 "192.0.2.20 C-RP 10.0.0.1*10*0s count 1; 239.1.3.0/24"}));
  wait(100);
  EXPECT_EQ(advertised(), Lines{});
}

// --- the engine's comings and goings ----------------------------------------------------------

TEST_F(RpCandidateSmTest, CandidatesThatAreThereBeforeTheEngineAreServed) {
  router.stop();
  serve({"225.0.0.0/8"});
  keepAlive();
  router.start();
  ASSERT_EQ(machines(), 1u);
  keepAlive();
  wait(6);
  EXPECT_EQ(advertised(), Lines(3, plain));
  router.stop();
  EXPECT_EQ(advertised(), Lines{}) << "a restart withdraws nothing";
}

}  // namespace
}  // namespace Routing::TestKit
