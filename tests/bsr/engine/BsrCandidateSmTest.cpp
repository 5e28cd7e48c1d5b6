#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <sstream>
#include <string>

#include "tests/bsr/engine/CandidateFixture.h"

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

using BsrCandidateSmTest = CandidateFixture;

// --- initialisation ---------------------------------------------------------------------------

TEST_F(BsrCandidateSmTest, WaitsUntilAllItsAttributesAreSet) {
  const auto own = router.status->newCbsr(prefix(global));
  const std::function<void()> settings[] = {[] {},
                                            [&] { own->priorityIs(0); },
                                            [&] { own->hashMaskLenIs(0); },
                                            [&] { own->bsPeriodIs(60); },
                                            [&] { own->addressIs(addr("2001:db8::1")); },
                                            [&] { own->bsPeriodIs(Bsr::bsPeriodUnknown); },
                                            [&] { own->addressIs(addr("10.0.0.1")); }};
  for (const auto& set : settings) {
    set();
    EXPECT_EQ(state(), "noInfoBsr");
    EXPECT_FALSE(machine().initialized());
    expectTimer(never);
    expectTraced(
        {"4 Postponing initialization of CandidateSm 224.0.0.0/4 till all the attributes "
         "of Candidate Bsr is initialized."});
    traces.clear();
  }
  hear(better());
  machine().handleBsrTimerExpiry();
  machine().doSendBsm(false);
  router.status->bsTimeoutIs(130);
  wait(1000);
  EXPECT_EQ(router.counters().tx(), 0u);
  EXPECT_EQ(router.bsrOf(global), "none") << "an incomplete candidate takes no message";
  own->electedIs(true);
  EXPECT_EQ(router.bsrOf(global), "none") << "it does not know yet whom to record";
  own->electedIs(false);
  own->bsPeriodIs(60);
  EXPECT_EQ(state(), "pBsr");
  expectTimer(now() + backOffOfEqual);
}

TEST_F(BsrCandidateSmTest, TheElectedOneResumesAtOnceAfterARestart) {
  standAndWin();
  const double elected = record().setupTime();
  wait(17);
  router.stop();
  wait(3);
  traces.clear();
  router.start();
  EXPECT_EQ(state(), "eBsr");
  EXPECT_EQ(sent(), onBoth(now(), ownText));
  EXPECT_EQ(router.bsrOf(global), "10.0.0.1 64 30");
  EXPECT_EQ(record().setupTime(), elected) << "it never ceased to be the BSR";
  EXPECT_DOUBLE_EQ(record().upTime(), 20);
  expectTimerAndRecord(now() + period);
  expectTraced({"1 state=eBsr, zone=224.0.0.0/4",
                "4 Updated Elected BSR 10.0.0.1 with priority 64, hashMaskLen 30"});
  router.stop();
  router.status->bootstrapRouter(prefix(global))->ipAddrIs(addr("192.0.2.9"));
  router.status->bootstrapRouter(prefix(global))->priorityIs(192);
  router.start();
  EXPECT_EQ(state() + " " + stored(), "eBsr 10.0.0.1 64 30") << "even if a better one is recorded";
  EXPECT_EQ(record().setupTime(), now()) << "the BSR of the record changed";
}

// --- the cells --------------------------------------------------------------------------------

/// A cell of the table: how the candidate gets there and what happens then, and what it leaves.
struct Cell {
  Lines plays;
  const char* after;  // "STATE TIMER, from BSR, record BSR", the record's time "renewed" or "kept"
  const char* rps = "";       // what PIM sees
  Lines minutes = {};         // what was done, in this order
  std::string sent = "";      // the message that went out on both interfaces
  std::string last = "none";  // the message that new neighbours are primed with
  Lines traces = {};          // "LEVEL TEXT"
};

const char* const betterRps = "225.0.0.0/8 10.9.9.9 150 0";

const Cell cells[] = {
    // Initialisation: the first back-off.
    {.plays = {"it stands"},
     .after = "pBsr 5, from 10.0.0.1 64 30, record none",
     .minutes = {"state pBsr"},
     .traces = {"1 , state=pBsr ,zone=224.0.0.0/4", "5  Next Expiry Time in 5 seconds"}},
    {.plays = {"better", "20 s", "it stands"},
     .after = "pBsr 20, from 192.0.2.9 192 30, record 192.0.2.9 192 30 kept",
     .rps = betterRps,
     .minutes = {"state pBsr"}},
    {.plays = {"worse", "it stands"},
     .after = "pBsr 5, from 10.0.0.1 64 30, record 192.0.2.1 10 30 kept",
     .rps = "226.0.0.0/8 10.8.8.8 150 0",
     .minutes = {"state pBsr"}},
    // A preferred message.
    {.plays = {"it stands", "2 s", "better"},
     .after = "cBsr 130, from 192.0.2.9 192 30, record 192.0.2.9 192 30 renewed",
     .rps = betterRps,
     .minutes = {"state cBsr", "record made", "record's ipAddr", "sent on eth0", "sent on eth1",
                 "225.0.0.0/8 made", "record's expiryTime"},
     .sent = betterText,
     .last = betterText,
     .traces = {"8 BSM Priority is 192 and my priority is 64", "1 , state=cBsr, zone=224.0.0.0/4",
                "4 Added Elected BSR 192.0.2.9 with priority 192, hashMaskLen 30",
                "5  Next Expiry Timer expires in about 130 secs from now"}},
    {.plays = {"it stands", "better, no-forward"},
     .after = "cBsr 130, from 192.0.2.9 192 30, record 192.0.2.9 192 30 renewed",
     .rps = betterRps,
     .minutes = {"state cBsr", "record made", "record's ipAddr", "225.0.0.0/8 made",
                 "record's expiryTime"},
     .last = "192.0.2.9 192 30 tag * no-forward 225.0.0.0/8 0 1/1(10.9.9.9 150 0)",
     .traces = {std::string("4 ") + notForwarded}},
    // Once the better BSR is silent, it compares others with itself.
    {.plays = {"it follows", "130 s", "a little better"},
     .after = "cBsr 130, from 192.0.2.5 64 30, record 192.0.2.5 64 30 renewed",
     .minutes = {"state cBsr", "225.0.0.0/8 deleted", "record's ipAddr", "sent on eth0",
                 "sent on eth1", "record's expiryTime"},
     .sent = "192.0.2.5 64 30 tag *",
     .last = "192.0.2.5 64 30 tag *"},
    {.plays = {"it follows", "100 s", "better, mask 20"},
     .after = "cBsr 130, from 192.0.2.9 192 20, record 192.0.2.9 192 20 renewed",
     .rps = betterRps,
     .minutes = {"sent on eth0", "sent on eth1", "record's expiryTime"},
     .sent = "192.0.2.9 192 20 tag * 225.0.0.0/8 0 1/1(10.9.9.9 150 0)",
     .last = "192.0.2.9 192 20 tag * 225.0.0.0/8 0 1/1(10.9.9.9 150 0)",
     .traces = {"4 Updated Elected BSR 192.0.2.9 with priority 192, hashMaskLen 20"}},
    // What the old BSR said goes first, as at the routers that are no candidates.
    {.plays = {"it follows", "10 s", "even better"},
     .after = "cBsr 130, from 192.0.2.10 192 30, record 192.0.2.10 192 30 renewed",
     .rps = "227.0.0.0/8 10.7.7.7 150 0",
     .minutes = {"225.0.0.0/8 deleted", "record's ipAddr", "sent on eth0", "sent on eth1",
                 "227.0.0.0/8 made", "record's expiryTime"},
     .sent = "192.0.2.10 192 30 tag * 227.0.0.0/8 0 1/1(10.7.7.7 150 0)",
     .last = "192.0.2.10 192 30 tag * 227.0.0.0/8 0 1/1(10.7.7.7 150 0)",
     .traces =
         {"4 Clearing RP Set for zone 224.0.0.0/4 since we have a new BSR. Old BSR was 192.0.2.9"}},
    // All that was its own goes before the new BSR's is made.
    {.plays = {"it wins", "an RP", "3 s", "better"},
     .after = "cBsr 130, from 192.0.2.9 192 30, record 192.0.2.9 192 30 renewed",
     .rps = betterRps,
     .minutes = {"state cBsr", "not elected", "228.0.0.0/8 deleted", "record deleted",
                 "record made", "record's ipAddr", "sent on eth0", "sent on eth1",
                 "225.0.0.0/8 made", "record's expiryTime"},
     .sent = betterText,
     .last = betterText,
     .traces = {"4 We, 10.0.0.1 are no longer BSR for zone 224.0.0.0/4",
                "4 Clearing RP Set for zone 224.0.0.0/4",
                "4 Deleting 10.0.0.1 as elected BSR for zone",
                "4 Added Elected BSR 192.0.2.9 with priority 192, hashMaskLen 30"}},
    // As after a restart that kept its status: nobody else has won.
    {.plays = {"it wins", "10 s", "itself"},
     .after = "eBsr 50, from 10.0.0.1 64 30, record 10.0.0.1 64 30 renewed",
     .last = ownText,
     .traces = {"3 BSM names ourselves, 10.0.0.1, as BSR for zone 224.0.0.0/4"}},
    // A message of a worse BSR.
    {.plays = {"it stands", "4 s", "worse"},
     .after = "pBsr 1, from 10.0.0.1 64 30, record none",
     .minutes = {"sent on eth0", "sent on eth1"},
     .sent = worseText,
     .last = worseText,
     .traces = {"1 , state=pBsr, zone=224.0.0.0/4"}},
    {.plays = {"it stands", "worse, no-forward"},
     .after = "pBsr 5, from 10.0.0.1 64 30, record none",
     .last = "192.0.2.1 10 30 tag * no-forward 226.0.0.0/8 0 1/1(10.8.8.8 150 0)",
     .traces = {std::string("4 ") + notForwarded}},
    {.plays = {"it follows", "40 s", "worse"},
     .after = "pBsr 20, from 192.0.2.9 192 30, record 192.0.2.9 192 30 kept",
     .rps = betterRps,
     .minutes = {"state pBsr", "sent on eth0", "sent on eth1"},
     .sent = worseText,
     .last = betterText,
     .traces = {"1 , state=pBsr, zone=224.0.0.0/4", "5 Next Expiry Time in 20 seconds"}},
    // Reckoned from the old weight, the back-off would be 20 s; now an address term is left.
    {.plays = {"it follows", "40 s", "its end"},
     .after = "pBsr 6, from 192.0.2.9 0 29, record 192.0.2.9 0 29 kept",
     .rps = betterRps,
     .minutes = {"state pBsr", "sent on eth0", "sent on eth1"},
     .sent = "192.0.2.9 0 29 tag * 225.0.0.0/8 0 1/1(10.9.9.9 150 0)",
     .last = betterText,
     .traces = {"4 Updated Elected BSR 192.0.2.9 with priority 0, hashMaskLen 29"}},
    {.plays = {"it wins", "25 s", "a little worse"},
     .after = "eBsr 60, from 10.0.0.1 64 30, record 10.0.0.1 64 30 renewed",
     .minutes = {"sent on eth0", "sent on eth1", "record's expiryTime"},
     .sent = ownText,
     .last = ownText,
     .traces = {"1 , state=eBsr, zone=224.0.0.0/4", "5 Next Expiry Time is 60 seconds"}},
    // The bootstrap timer.
    {.plays = {"it follows", "not yet the timer", "the timer"},
     .after = "pBsr 20, from 192.0.2.9 192 30, record 192.0.2.9 192 30 kept",
     .rps = betterRps,
     .minutes = {"state pBsr"},
     .last = betterText,
     .traces = {"1 , state=pBsr, zone=224.0.0.0/4", "5 Next Expiry Time in 20 seconds"}},
    {.plays = {"it stands", "not yet the timer", "the timer"},
     .after = "eBsr 60, from 10.0.0.1 64 30, record 10.0.0.1 64 30 renewed",
     .minutes = {"state eBsr", "elected", "record made", "record's ipAddr", "sent on eth0",
                 "sent on eth1", "record's expiryTime"},
     .sent = ownText,
     .last = ownText,
     .traces = {"1 , state=eBsr, zone=224.0.0.0/4",
                "4 We, 10.0.0.1 are elected as BSR for zone 224.0.0.0/4",
                "4 Added Elected BSR 10.0.0.1 with priority 64, hashMaskLen 30",
                "5 Next Expiry Time in 60 seconds", "9 doSendBsm ( shutdown=False"}},
    {.plays = {"it wins", "not yet the timer", "the timer"},
     .after = "eBsr 60, from 10.0.0.1 64 30, record 10.0.0.1 64 30 renewed",
     .minutes = {"sent on eth0", "sent on eth1", "record's expiryTime"},
     .sent = ownText,
     .last = ownText,
     .traces = {"5 Next Expiry Time in 60 seconds"}},
};

struct CandidateTable : CandidateFixture, ::testing::WithParamInterface<Cell> {
  void play(const std::string& what) {
    what.ends_with(" s") ? wait(std::stod(what)) : plays.at(what)();
  }
  std::string after(double recordBefore) {
    std::ostringstream text;
    text << state() << ' ' << machine().bsExpiry() - now() << ", from " << stored() << ", record "
         << router.bsrOf(global);
    if (router.bsrOf(global) == "none") return text.str();
    const double expiry = record().expiryTime();
    text << (expiry == machine().bsExpiry() ? " renewed" : expiry == recordBefore ? " kept" : "?");
    return text.str();
  }

  const std::map<std::string, std::function<void()>> plays = {
      {"it stands", [this] { stand(); }},
      {"it follows", [this] { standAndFollow(); }},
      {"it wins", [this] { standAndWin(); }},
      {"an RP", [this] { advertise("228.0.0.0/8", "10.6.6.6"); }},
      {"better", [this] { hear(better()); }},
      {"better, no-forward", [this] { hear(better().noForward()); }},
      {"better, mask 20", [this] { hear(better().hashMask(20)); }},
      {"even better",
       [this] { hear(Bsm("192.0.2.10", 192).group("227.0.0.0/8", {{"10.7.7.7"}})); }},
      {"a little better", [this] { hear(Bsm("192.0.2.5", 64)); }},
      {"itself",
       [this] {
         for (const unsigned each : {64U, 0U, 200U}) hear(Bsm("10.0.0.1", each).noForward());
       }},
      {"worse", [this] { hear(worse()); }},
      {"worse, no-forward", [this] { hear(worse().noForward()); }},
      {"a little worse", [this] { hear(Bsm("9.255.255.255", 64)); }},
      {"its end",
       [this] { hear(Bsm("192.0.2.9", 0).hashMask(29).group("225.0.0.0/8", {{"10.9.9.9"}})); }},
      {"not yet the timer", [this] { goTo(justBefore(machine().bsExpiry())); }},
      {"the timer", [this] { goTo(machine().bsExpiry()); }},
  };
};

TEST_P(CandidateTable, DoesAsItsCellSays) {
  const Cell& cell = GetParam();
  for (std::size_t i = 0; i + 1 < cell.plays.size(); ++i) play(cell.plays[i]);
  const auto old = router.status->bootstrapRouter(prefix(global));
  const double setupBefore = old ? old->setupTime() : 0;
  const double expiryBefore = old ? old->expiryTime() : 0;
  router.sentBsms();
  traces.clear();
  Minutes minutes(router);
  play(cell.plays.back());
  EXPECT_EQ(after(expiryBefore), cell.after);
  EXPECT_EQ(minutes.read(), cell.minutes);
  EXPECT_EQ(sent(), cell.sent.empty() ? Lines{} : onBoth(now(), cell.sent));
  EXPECT_EQ(lastBsm(), cell.last);
  EXPECT_EQ(router.pimRps(), *cell.rps == '\0' ? Lines{} : Lines{cell.rps});
  EXPECT_EQ(router.rpSetOf(global), router.pimRps());
  expectTraced(cell.traces);
  const auto& order = cell.minutes;
  const bool another = std::find(order.begin(), order.end(), "record's ipAddr") != order.end();
  const auto recorded = router.status->bootstrapRouter(prefix(global));
  EXPECT_EQ(recorded ? recorded->setupTime() : 0, another ? now() : setupBefore);
}

INSTANTIATE_TEST_SUITE_P(Cells, CandidateTable, ::testing::ValuesIn(cells));

void PrintTo(const Cell& cell, std::ostream* out) {
  *out << ::testing::PrintToString(cell.plays);
}

TEST_F(BsrCandidateSmTest, AnUnfinishedRecordLengthensNoBackOff) {
  router.status->newBootstrapRouter(prefix(global));  // names nobody: priority 256, no address
  stand();
  EXPECT_EQ(state(), "pBsr");
  expectTimer(now() + backOffOfEqual);
}

TEST_F(BsrCandidateSmTest, EveryMessageOfItsOwnHasAFreshTag) {
  standAndWin();
  std::uint16_t lastTag = machine().lastBsm()->fragmentTag();
  for (int round = 1; round <= 3; ++round) {
    wait(period);
    const auto bsms = router.sentBsms();
    ASSERT_EQ(bsms.size(), 2u);
    EXPECT_EQ(bsms[0].bsm->fragmentTag(), bsms[1].bsm->fragmentTag());
    EXPECT_NE(bsms[0].bsm->fragmentTag(), lastTag);
    lastTag = bsms[0].bsm->fragmentTag();
  }
}

// A neighbour primes it with its own message of before a restart: the RPs are taken in, the
// election goes on as if nothing had come.
TEST_F(BsrCandidateSmTest, ItsOwnMessageComesBackAfterARestart) {
  stand();
  hear(Bsm("10.0.0.1", 200).noForward().group("225.0.0.0/8", {{"10.9.9.9"}}));
  EXPECT_EQ(state(), "pBsr");
  EXPECT_EQ(router.bsrOf(global), "none");
  expectTimer(now() + backOffOfEqual);
  EXPECT_EQ(sent(), Lines{});
  wait(5);
  EXPECT_EQ(state(), "eBsr");
  EXPECT_EQ(sent(), onBoth(now(), "10.0.0.1 64 30 tag * 225.0.0.0/8 0 1/1(10.9.9.9 150 0)"));
  EXPECT_EQ(router.pimRps(), Lines{"225.0.0.0/8 10.9.9.9 150 0"});
}

TEST_F(BsrCandidateSmTest, SavedFragmentsOfAnOlderTagAreDropped) {
  stand();
  for (const unsigned tag : {100U, 200U}) {
    hear(Bsm("192.0.2.9", 192).tag(tag).piece("225.0.0.0/8", 2, {{"10.9.9.9"}}));
  }
  expectTraced({"8 Removing saved fragments related to tag 100"});
  EXPECT_EQ(router.engine().bsmRxFragments(100), nullptr);
}

// --- cells that cannot be ---------------------------------------------------------------------

TEST_F(BsrCandidateSmTest, EventsWithoutAStateAreImpossible) {
  stand();
  stateOf(machine()) = Bsr::BsrCandidateState::noInfoBsr;
  const std::string impossible = "0 && \"Invalid Candidate BSR state\"";
  EXPECT_EQ(refusal([&] { machine().handleBsrTimerExpiry(); }), impossible);
  EXPECT_EQ(refusal([&] { wait(5); }), impossible);
  EXPECT_EQ(refusal([&] { machine().bsmIs(worse().make()); }), impossible);
  EXPECT_EQ(sent(), Lines{});
}

}  // namespace

template struct Door<&Bsr::BsrCandidateSm::state_>;

}  // namespace Routing::TestKit
