#include <gtest/gtest.h>

#include "agent/events/InstanceWatch.h"
#include "tests/support/BsrRouter.h"

// A router among three neighbours, in virtual time, as its operator reads of it.

namespace Routing::Agent {
namespace {

using namespace TestKit;

/// 10.0.0.1 on eth0; 10.1.1.1 and 10.9.9.9 are reached by 10.0.0.2 there.
class InstanceWatchTest : public testing::Test {
 protected:
  InstanceWatchTest() {
    router.mtuIs("eth0", 1500);
    router.intfIs("eth0", "10.0.0.1");
    addresses->addressIs(IntfId("eth0"), addr("10.0.0.1"));
    for (const char* bsr : {"10.1.1.1", "10.9.9.9"}) router.routeIs(bsr, "eth0", "10.0.0.2");
    said();
  }

  void hello(const std::string& source, std::uint32_t generationId, std::uint16_t holdTime = 105) {
    Pim::HelloMessage hello;
    hello.holdtimeIs(holdTime);
    hello.generationIdIs(generationId);
    router.hear("eth0", source, hello);
  }
  void bsm(const Pim::BootstrapMessage& message) { router.hear("eth0", "10.0.0.2", message); }
  /// 10.0.0.2 lives on meanwhile.
  Lines until(double instant) {
    hello("10.0.0.2", 2, 0xffff);
    world.runUntil(instant);
    return said();
  }
  /// What was told at the end of this turn: "SEVERITY KIND TEXT".
  Lines said() {
    watch->settle();
    return std::exchange(lines, {});
  }
  std::unique_ptr<InstanceWatch> made(bool resumed) {
    const auto zones = [this] {
      std::set<IpGenPrefix> zones;
      for (const auto& entry : router.engine().candidateSm()) zones.insert(entry.first);
      for (const auto& entry : router.engine().nonCandidateSm()) zones.insert(entry.first);
      return zones;
    };
    return std::make_unique<InstanceWatch>(
        WatchedInstance{router.pim.pimStatus(), router.status, router.pimRpStatus, router.limits,
                        router.instance->crpMsgStatus(), addresses, zones},
        world.wheel, resumed, [this](const Event& event) {
          lines.push_back(std::to_string(severityOf(event)) + " " + valueText(event.kind) + " " +
                          textOf(event));
        });
  }

  VirtualWorld world;
  BsrRouter router{AddressFamily::ipv4, world.wheel};
  std::shared_ptr<SourceIntfSm> addresses = std::make_shared<SourceIntfSm>(VrfName("default"));
  Lines lines;
  std::unique_ptr<InstanceWatch> watch = made(false);
};

TEST_F(InstanceWatchTest, TellsWhoIsTheBsrAndWhy) {
  hello("10.0.0.2", 2, 0xffff);
  EXPECT_EQ(said(), (Lines{"5 neighbor-up neighbor 10.0.0.2 on eth0 is up"}));
  bsm(Bsm("10.1.1.1", 64).group("225.0.0.0/8", {{"10.5.5.5"}}));
  EXPECT_EQ(said(), (Lines{"5 bsr-new zone 224.0.0.0/4: BSR 10.1.1.1, priority 64 (heard for the "
                           "first time)"}));
  EXPECT_EQ(until(1).size(), 1U) << "the RP set, once it has settled";
  bsm(Bsm("10.1.1.1", 64).group("225.0.0.0/8", {{"10.5.5.5"}}));
  EXPECT_EQ(until(10), Lines{}) << "what is refreshed";
  watch = made(true);
  EXPECT_EQ(said(), (Lines{"6 started started (with the state of its earlier life)",
                           "5 bsr-new zone 224.0.0.0/4: BSR 10.1.1.1, priority 64 (with the state "
                           "of its earlier life)",
                           "5 neighbor-up neighbor 10.0.0.2 on eth0 is up"}));
  bsm(Bsm("10.9.9.9", 64));
  EXPECT_EQ(said(), (Lines{"5 bsr-changed zone 224.0.0.0/4: BSR 10.9.9.9, priority 64, in place of "
                           "10.1.1.1 (better by priority, then address)"}));
  bsm(Bsm("10.9.9.9", 0));
  EXPECT_EQ(said(),
            (Lines{"5 bsr-changed zone 224.0.0.0/4: BSR 10.9.9.9, priority 0 (it resigned)"}));
  bsm(Bsm("10.1.1.1", 8));
  EXPECT_EQ(said(), (Lines{"5 bsr-changed zone 224.0.0.0/4: BSR 10.1.1.1, priority 8, in place of "
                           "10.9.9.9 (the one before resigned)"}));
  until(139);
  EXPECT_EQ(until(141),
            (Lines{"4 bsr-gone zone 224.0.0.0/4: BSR 10.1.1.1 is gone (it fell silent)"}));
  const EventBook::ZoneHistory* history = watch->book().history(prefix(global));
  ASSERT_NE(history, nullptr);
  EXPECT_EQ(history->silences, 1U);
}

TEST_F(InstanceWatchTest, TellsOfItsOwnCandidatesAndElections) {
  until(1);
  const auto candidate = router.candidateBsrIs(global, "10.0.0.1");
  candidate->intfIdIs(IntfId("eth0"));
  EXPECT_EQ(said(),
            (Lines{"5 candidate-bsr-started zone 224.0.0.0/4: candidate BSR 10.0.0.1 starts"}));
  EXPECT_EQ(until(140), (Lines{"5 election-won zone 224.0.0.0/4: this router is the BSR, 10.0.0.1, "
                               "priority 64 (nobody better spoke)"}));
  bsm(Bsm("10.9.9.9", 200));
  EXPECT_EQ(said(), (Lines{"5 election-lost zone 224.0.0.0/4: BSR 10.9.9.9, priority 200, in place "
                           "of this router (better by priority, then address)"}));
  EXPECT_EQ(until(400), (Lines{"5 election-won zone 224.0.0.0/4: this router is the BSR, 10.0.0.1, "
                               "priority 64 (the one before fell silent)"}));
  router.status->newCrp(addr("10.0.0.1"))->intfIdIs(IntfId("eth0"));
  EXPECT_EQ(said(), (Lines{"5 candidate-rp-started candidate RP 10.0.0.1 starts"}));
  addresses->addressDel(IntfId("eth0"));
  router.status->crpDel(addr("10.0.0.1"));
  EXPECT_EQ(
      said(),
      (Lines{"4 candidate-rp-stopped candidate RP 10.0.0.1 stops (its interface has no address)"}));
  addresses->addressIs(IntfId("eth0"), addr("10.0.0.1"));
  router.status->cbsrDel(prefix(global));
  EXPECT_EQ(said(),
            (Lines{"5 candidate-bsr-stopped zone 224.0.0.0/4: candidate BSR 10.0.0.1 stops "
                   "(deconfigured or drained)",
                   "4 bsr-gone zone 224.0.0.0/4: BSR 10.0.0.1 is gone (deconfigured or drained)"}));
  bsm(Bsm("10.9.9.9").zone("239.0.0.0/8"));
  EXPECT_EQ(
      said(),
      (Lines{"5 zone-appeared zone 239.0.0.0/8: appeared",
             "5 bsr-new zone 239.0.0.0/8: BSR 10.9.9.9, priority 64 (heard for the first time)"}));
  EXPECT_EQ(until(2000),
            (Lines{"5 zone-vanished zone 239.0.0.0/8: forgotten",
                   "4 bsr-gone zone 239.0.0.0/8: BSR 10.9.9.9 is gone (it fell silent)"}));
}

TEST_F(InstanceWatchTest, TellsOfNeighboursAndOfWhatIsRefused) {
  hello("10.0.0.3", 3);
  hello("10.0.0.4", 4);
  hello("10.0.0.5", 5);
  EXPECT_EQ(said().size(), 3U);
  hello("10.0.0.3", 33);
  hello("10.0.0.4", 4, 0);
  EXPECT_EQ(said(),
            (Lines{"5 neighbor-restarted neighbor 10.0.0.3 on eth0 restarted (new generation ID)",
                   "5 neighbor-down neighbor 10.0.0.4 on eth0 is down (it said goodbye)"}));
  hello("10.0.0.5", 5, 200);
  EXPECT_EQ(
      until(110),
      (Lines{"4 neighbor-down neighbor 10.0.0.3 on eth0 is down (no Hello within its hold time)",
             "5 neighbor-up neighbor 10.0.0.2 on eth0 is up"}));
  watch->clearing();
  router.pim.pimStatus()->pimIntf(IntfId("eth0"))->neighborDel(addr("10.0.0.5"));
  EXPECT_EQ(said(),
            (Lines{"5 neighbor-down neighbor 10.0.0.5 on eth0 is down (cleared by an operator)"}));
  for (const double at : {0.0, 60.0, 120.0, 181.0}) {
    world.runUntil(200 + at);
    router.limits->refusedRpsInc();
    EXPECT_EQ(said(), at == 60 || at == 120 ? Lines{} : Lines{"4 limit-hit no room for more RPs"})
        << at;
  }
  router.intfIs("eth0", "10.0.0.1", {}, false);
  EXPECT_EQ(said(),
            (Lines{"5 neighbor-down neighbor 10.0.0.2 on eth0 is down (the interface went down)"}));
}

TEST(EventBook, KeepsTheLastOfEachKindAndSoManyZones) {
  EventBook book;
  for (unsigned i = 0; i < 300; ++i) {
    book.add({.kind = i % 2 == 0 ? EventKind::neighborUp : EventKind::limitHit, .time = 1.0 * i});
  }
  EXPECT_EQ(book.last(1000).size(), 2 * EventBook::share);
  const auto last =
      book.last(2, [](const Event& each) { return each.kind == EventKind::limitHit; });
  ASSERT_EQ(last.size(), 2U);
  EXPECT_EQ(last[0].time, 297);
  EXPECT_EQ(last[1].time, 299);
  const auto zone = [](unsigned i) { return IpGenPrefix(IpGenAddr::v4(0xef000000 + 256 * i), 24); };
  for (unsigned i = 0; i <= EventBook::zones; ++i) {
    book.add({.kind = EventKind::bsrGone, .cause = EventCause::silent, .zone = zone(i)});
  }
  EXPECT_NE(book.history(zone(EventBook::zones - 1)), nullptr);
  EXPECT_EQ(book.history(zone(EventBook::zones)), nullptr);
}

}  // namespace
}  // namespace Routing::Agent
