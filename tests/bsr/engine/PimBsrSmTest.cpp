#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "bsr/engine/PimBsrSm.h"
#include "platform/entity/AttributeLog.h"
#include "tests/bsr/NeighborFixture.h"
#include "tests/support/BsrInvariants.h"

// The root of the engine: which machine serves which zone, and what begins and ends with the
// address family, with a restart, and with the configuration of a candidate.

namespace Routing::Pim::Bsr {
namespace {

using State = BsrNonCandidateState;
using namespace TestKit;

const char* const scoped = "239.1.0.0/16";

struct PimBsrSmTest : NeighborFixture {
  void TearDown() override {
    const bool runs = router.instance && router.engine().initialized();
    EXPECT_EQ(runs ? bsrFault(router) : "", "");
  }
  static Bsm bsm() { return Bsm("10.9.9.9").group("225.0.0.0/8", {{"10.1.1.1"}}); }
  static Bsm scopedBsm(const std::string& zone = scoped) { return Bsm("10.9.9.9").zone(zone); }
};

// --- which machine ----------------------------------------------------------------------------

TEST_F(PimBsrSmTest, AZoneGetsAFollowerWithItsFirstMessage) {
  router.instance->bsmStatus()->rxBsmIs(Bsm("2001:db8::9", 255).make());  // nobody's BSR
  EXPECT_TRUE(router.engine().nonCandidateSm().empty());
  hear(bsm());
  hear(scopedBsm());
  expectTraced({"4 Instantiated Global/Non-Scoped Non Candidate SM",
                "4 Instantiated Scoped NonCandidate SM Scope: 239.1.0.0/16"});
  const auto machine = router.follower(scoped);
  traces.clear();
  hear(scopedBsm());
  router.status->afIs(AddressFamily::ipv6);  // means nothing to an engine that runs
  EXPECT_EQ(router.engine().globalOrNonScopeZone(), prefix(global));
  EXPECT_EQ(router.follower(scoped), machine);
  EXPECT_FALSE(traces.contains("Sm", 4, "Instantiated"));
  EXPECT_EQ(router.engine().nonCandidateSm().size(), 2U);
  EXPECT_EQ(router.follower(scoped)->lastBsm()->groupRpData().size(), 1U);
  EXPECT_EQ(router.follower(global)->lastBsm()->groupRpData()[0].prefix(), prefix("225.0.0.0/8"));
}

TEST_F(PimBsrSmTest, AConfiguredCandidateGetsTheMessagesOfItsZone) {
  router.candidateBsrIs(global, "10.0.0.1", 10);
  router.candidateBsrIs(scoped, "10.0.0.1", 10);
  hear(bsm());
  hear(scopedBsm());
  expectTraced({"4 Trigger Global/Non-Scoped Candidate SM",
                "4 Trigger Scoped Candidate SM Scope: 239.1.0.0/16"});
  EXPECT_TRUE(router.engine().nonCandidateSm().empty());
  EXPECT_EQ(router.candidate(scoped)->state(), BsrCandidateState::cBsr);
}

TEST_F(PimBsrSmTest, ZonesBeyondTheLimitAreRefusedAndLeaveNothing) {
  router.limits->maxZonesIs(2);
  for (const char* zone : {"239.1.0.0/16", "239.2.0.0/16", "239.3.0.0/16"}) {
    hear(Bsm("10.9.9.9").zone(zone, {{"10.1.1.1"}}));
    EXPECT_EQ(bsrFault(router), "");
  }
  EXPECT_EQ(router.engine().nonCandidateSm().size(), 2U);
  EXPECT_EQ(router.limits->refusedZones(), 1U);
  expectTraced({"1 No room for zone 239.3.0.0/16 besides 2 zones"});
  EXPECT_EQ(router.instance->bsmIntake().lastBsm().size(), 2U);
  EXPECT_EQ(router.status->crpStatus(prefix("239.3.0.0/16")), nullptr);
  EXPECT_EQ(router.counters().rxBsmSuccess(), 3U) << "it was accepted all the same";
  hear(bsm());
  EXPECT_NE(router.follower(global), nullptr) << "the global zone is not counted";
  hear(scopedBsm("239.2.0.0/16"));  // and known ones go on
  EXPECT_EQ(router.limits->refusedZones(), 1U);
  world.runUntil(100);
  hear(scopedBsm("239.2.0.0/16"));
  world.runUntil(1431);  // 239.1/16 has been forgotten
  hear(scopedBsm("239.3.0.0/16"));
  EXPECT_NE(router.follower("239.3.0.0/16"), nullptr);
  hear(scopedBsm("239.4.0.0/16"));
  EXPECT_EQ(router.limits->refusedZones(), 2U);
}

// --- a candidate in a follower's place --------------------------------------------------------

TEST_F(PimBsrSmTest, ACandidateReplacesTheFollowerAndKnowsItsBsr) {
  hear(bsm());
  world.runUntil(10);
  router.candidateBsrIs(global, "10.0.0.1", 10);
  EXPECT_EQ(router.follower(global), nullptr);
  ASSERT_NE(router.candidate(global), nullptr);
  EXPECT_EQ(router.bsrOf(global), "10.9.9.9 64 30");
  EXPECT_EQ(router.rpSetOf(global), Lines{"225.0.0.0/8 10.1.1.1 150 0"});
  expectTraced({"4 Deleted 224.0.0.0/4 NonCandidate SM",
                "4 Instantiated Candidate SM for zone 224.0.0.0/4"});
}

TEST_F(PimBsrSmTest, AFollowerTakesOverWhatAWithdrawnCandidateFollowed) {
  router.candidateBsrIs(global, "10.0.0.1", 10);
  hear(bsm());
  ASSERT_EQ(router.candidate(global)->state(), BsrCandidateState::cBsr);
  world.runUntil(50);
  static_cast<void>(router.sentBsms());
  router.status->cbsrDel(prefix(global));
  EXPECT_TRUE(router.sentBsms().empty()) << "it was not elected";
  EXPECT_EQ(router.rpSetOf(global), Lines{"225.0.0.0/8 10.1.1.1 150 0"});
  EXPECT_EQ(router.candidate(global), nullptr);
  ASSERT_NE(router.follower(global), nullptr);
  EXPECT_EQ(router.follower(global)->state(), State::acceptPreferred);
  EXPECT_EQ(router.bsrOf(global), "10.9.9.9 64 30");
  expectTraced({"4 Deleted Candidate SM for zone 224.0.0.0/4",
                "4 Created Non Candidate SM for zone 224.0.0.0/4"});
  world.runUntil(180);
  EXPECT_EQ(router.bsrOf(global), "none") << "somebody ages it";
}

TEST_F(PimBsrSmTest, AWithdrawnCandidateWithoutBsrLeavesNothingOfItsZone) {
  router.candidateBsrIs(scoped, "10.0.0.1", 10);
  hear(scopedBsm());
  world.runUntil(130);  // back to pending, the record stays until the election
  world.runUntil(200);  // elected itself
  router.status->cbsrDel(prefix(scoped));
  EXPECT_EQ(router.bsrOf(scoped), "none");
  EXPECT_TRUE(router.engine().nonCandidateSm().empty());
  EXPECT_EQ(router.status->crpStatus(prefix(scoped)), nullptr);
  EXPECT_TRUE(router.instance->bsmIntake().lastBsm().empty());
}

// --- the address family -----------------------------------------------------------------------

TEST_F(PimBsrSmTest, LosesEverythingWithTheAddressFamilyAndStartsAnewWithIt) {
  hear(bsm());
  hear(scopedBsm().group("239.1.1.0/24", {{"10.2.2.2"}}));
  const auto crp = router.status->newCrp(addr("10.0.0.1"));
  crp->newPrefixOptions(prefix("225.0.0.0/8"))->priorityIs(RpPriority(5));
  traces.clear();
  router.status->afIs(AddressFamily::unset);
  PimBsrSm& engine = router.engine();
  EXPECT_FALSE(engine.initialized());
  EXPECT_EQ(engine.bsrTrie(), nullptr);
  EXPECT_TRUE(engine.rpCandidateSm().empty());
  EXPECT_TRUE(engine.nonCandidateSm().empty());
  EXPECT_TRUE(router.status->crpStatus().empty());
  EXPECT_TRUE(router.pimRpStatus->crpSet().empty());
  EXPECT_TRUE(router.instance->bsmIntake().lastBsm().empty());
  EXPECT_EQ(router.bsrOf(global), "10.9.9.9 64 30") << "what was followed is still recorded";
  EXPECT_EQ(world.wheel.armed(), 0U);
  expectTraced({"4 Deleted all RP Candidate SMs", "4 Deleted all Non Candidate SMs",
                "4 Deleted all Candidate SMs"});

  world.runUntil(20);
  hear(bsm());
  router.candidateBsrIs("239.5.0.0/16", "10.0.0.1");
  EXPECT_TRUE(engine.nonCandidateSm().empty());
  EXPECT_TRUE(engine.candidateSm().empty());
  EXPECT_TRUE(router.instance->bsmIntake().lastBsm().empty()) << "nobody would ever forget it";

  router.status->afIs(AddressFamily::ipv4);
  EXPECT_TRUE(engine.initialized());
  EXPECT_EQ(engine.rpCandidateSm().size(), 1U);
  EXPECT_EQ(router.follower(global)->state(), State::acceptPreferred);
  EXPECT_EQ(router.follower(scoped)->bsExpiry(), 150);
  EXPECT_NE(router.candidate("239.5.0.0/16"), nullptr);
  hear(bsm());
  EXPECT_EQ(router.pimRps(), Lines{"225.0.0.0/8 10.1.1.1 150 0"});
  EXPECT_EQ(traces.count("Sm", 8, "Added prefix 224.0.0.0/4 into trie"), 1U);
  traces.clear();
  world.runUntil(150);
  EXPECT_EQ(traces.count("Sm", 8, "Deleted prefix 239.1.0.0/16 from trie"), 1U)
      << "one builder, not two";
}

TEST_F(PimBsrSmTest, AnElectedZoneLosesItsRecordAtTeardown) {
  const auto candidate = router.candidateBsrIs(global, "10.0.0.1");
  world.runUntil(20);
  ASSERT_TRUE(candidate->elected());
  hear(scopedBsm());
  static_cast<void>(router.sentBsms());
  router.status->afIs(AddressFamily::unset);
  expectTraced({"4 Deleted BSR for zone 224.0.0.0/4"});
  EXPECT_EQ(router.bsrOf(global), "none");
  EXPECT_EQ(router.bsrOf(scoped), "10.9.9.9 64 30");
  EXPECT_TRUE(router.sentBsms().empty()) << "no farewell";
}

TEST(PimBsrSm, IsInertUntilItHasAnAddressFamily) {
  VirtualWorld world;
  TraceRecorder traces;
  const auto status = std::make_shared<Status>(VrfName("red"));
  const auto record = status->newBootstrapRouter(prefix(global));
  record->ipAddrIs(addr("10.9.9.9"));
  record->priorityIs(64);
  status->bsTimeoutIs(130);
  const auto bsms = std::make_shared<PimBsmStatus>();
  const auto pim = std::make_shared<PimStatus>(VrfName("red"));
  PimBsrSm engine(status, pim, bsms, std::make_shared<PimCrpMsgStatus>(),
                  std::make_shared<RpCandidateStatus>(VrfName("red")), world.wheel,
                  std::make_shared<AllIntfStatusDir>());
  EXPECT_TRUE(traces.ends("Sm", 3, "Address Family not initialized in status"));
  EXPECT_EQ(traces.lines().front().text.substr(0, 9), "<Vrf:red>");
  EXPECT_FALSE(engine.initialized());
  status->newCbsr(prefix(scoped));
  bsms->rxBsmIs(Bsm("10.9.9.9").make());
  EXPECT_TRUE(engine.candidateSm().empty());
  EXPECT_TRUE(engine.nonCandidateSm().empty());
  EXPECT_EQ(world.wheel.armed(), 0U);
  status->afIs(AddressFamily::ipv4);
  EXPECT_TRUE(engine.initialized());
  EXPECT_NE(engine.candidateSm(prefix(scoped)), nullptr);
  ASSERT_NE(engine.nonCandidateSm(prefix(global)), nullptr);
  EXPECT_EQ(record->expiryTime(), 130);
}

TEST(PimBsrSm, NamesTheInputThatIsMissing) {
  VirtualWorld world;
  const char* const names[] = {"bsrStatus()",    "pimStatus()",         "bsmStatus()",
                               "crpMsgStatus()", "rpCandidateStatus()", "allIntfStatusDir()"};
  for (int missing = 0; missing < 6; ++missing) {
    const auto unless = [missing](int index, auto entity) {
      return index == missing ? nullptr : entity;
    };
    EXPECT_EQ(refusal([&] {
                PimBsrSm(unless(0, std::make_shared<Status>(VrfName("red"))),
                         unless(1, std::make_shared<PimStatus>(VrfName("red"))),
                         unless(2, std::make_shared<PimBsmStatus>()),
                         unless(3, std::make_shared<PimCrpMsgStatus>()),
                         unless(4, std::make_shared<RpCandidateStatus>(VrfName("red"))),
                         world.wheel, unless(5, std::make_shared<AllIntfStatusDir>()));
              }),
              names[missing]);
  }
}

// --- ending and restarting --------------------------------------------------------------------

TEST_F(PimBsrSmTest, EndsWithoutAWord) {
  router.candidateBsrIs("239.5.0.0/16", "10.0.0.1");
  world.runUntil(20);
  hear(bsm());
  hear(scopedBsm()
           .tag(7)
           .group("239.1.1.0/24", {{"10.2.2.2"}})
           .piece("239.1.2.0/24", 2, {{"10.2.2.2"}}));
  const auto crp = router.status->newCrp(addr("10.0.0.1"));
  crp->newPrefixOptions(prefix("239.5.1.0/24"))->priorityIs(RpPriority(5));
  static_cast<void>(router.sentBsms());
  router.sent.clear();
  unsigned changes = 0;
  bool snapshot = true;
  const auto count = [&](std::string_view) { changes += snapshot ? 0 : 1; };
  const AttributeLog status(router.status, count), pim(router.pimRpStatus, count);
  snapshot = false;
  router.stop();
  EXPECT_EQ(changes, 0U);
  EXPECT_TRUE(router.sent.empty());
  EXPECT_EQ(world.wheel.armed(), 0U);
  router.status->bsTimeoutIs(7);  // nobody is there to hear of it
  router.status->bootstrapRouterDelAll();
  router.pim.pimStatus()->pimIntfDel(IntfId("eth0"));
}

TEST_F(PimBsrSmTest, ARestartGoesOnWithWhatTheStatusHolds) {
  hear(bsm().group("226.0.0.0/8", {{"10.2.2.2", 60}}));
  hear(scopedBsm().group("239.1.1.0/24", {{"10.3.3.3", 500}}));
  router.stop();
  world.runUntil(100);
  router.start();
  for (const char* zone : {global, scoped}) {
    EXPECT_EQ(router.follower(zone)->state(), State::acceptPreferred);
    EXPECT_EQ(router.follower(zone)->bsExpiry(), 230);
  }
  EXPECT_EQ(router.status->bootstrapRouter(prefix(global))->setupTime(), 0);
  world.runUntil(100);  // the next turn: 226/8 ran out while the router was down
  EXPECT_EQ(router.pimRps(), (Lines{"225.0.0.0/8 10.1.1.1 150 0", "239.1.1.0/24 10.3.3.3 500 0"}));
  EXPECT_EQ(bsrFault(router), "");
  world.runUntil(230);
  EXPECT_EQ(router.pimRps(), Lines{"239.1.1.0/24 10.3.3.3 500 0"});
  EXPECT_EQ(router.bsrOf(global), "none");
  EXPECT_EQ(router.follower(scoped)->szExpiry(), 1530);
}

}  // namespace
}  // namespace Routing::Pim::Bsr
