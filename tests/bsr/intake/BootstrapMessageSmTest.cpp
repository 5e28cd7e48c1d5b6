#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "bsr/intake/BootstrapMessageSm.h"
#include "platform/pim/PimCodec.h"
#include "tests/support/BsrRouter.h"

// The router stands on two links, with two neighbours on the first:
//
//      .2   .3                     .2
//       |    |        router        |
//     --+----+--- .1 [eth0 eth1] .1 +--    10.0.0.0/24 and 10.0.1.0/24
//
// The way to the BSR 10.9.9.9 is over 10.0.0.2.

namespace Routing::Pim::Bsr {
namespace {

using namespace TestKit;

constexpr double start = 1000;  // when the router is built

/// All counters in one line: "rx BSM C-RP tx", each as all/accepted/dropped, and the six reasons.
std::string counts(const BsrRouter& router) {
  const PimBsrCounters& c = router.counters();
  const PimBsrErrorCounters& e = c.errCounters();
  const auto three = [](std::uint32_t all, std::uint32_t good, std::uint32_t bad) {
    return std::to_string(all) + "/" + std::to_string(good) + "/" + std::to_string(bad) + " ";
  };
  std::string text = three(c.rx(), c.rxSuccess(), c.rxError()) +
                     three(c.rxBsm(), c.rxBsmSuccess(), c.rxBsmError()) +
                     three(c.rxCrpAdv(), c.rxCrpAdvSuccess(), c.rxCrpAdvError()) +
                     three(c.tx(), c.txSuccess(), c.txError());
  for (const std::uint32_t field : {e.rxFilter(), e.rxNbrRpfCheck(), e.rxNoForwardBsm(),
                                    e.rxUnicastBsm(), e.rxScopeMismatch(), e.rxInvalid()}) {
    text += " " + std::to_string(field);
  }
  return text;
}

struct BsmIntakeTest : ::testing::Test {
  BsmIntakeTest() { setUp(router); }
  static void setUp(BsrRouter& router) {
    router.linkIs("eth0", "10.0.0.1");
    router.linkIs("eth1", "10.0.1.1");
    router.neighborIs("eth0", "10.0.0.2");
    router.neighborIs("eth0", "10.0.0.3");
    router.neighborIs("eth1", "10.0.1.2");
    router.routeIs("10.9.9.9", "eth0", "10.0.0.2");
  }
  /// Lets a message arrive that was sent to any destination.
  static void hearTo(BsrRouter& router, const std::string& source, const std::string& destination,
                     const BootstrapMessage& bsm) {
    Octets octets;
    ASSERT_TRUE(encode(bsm, addr(source), addr(destination), octets));
    router.hear("eth0", source, destination, octets);
  }
  bool accepted(const BootstrapMessage& bsm) {
    const std::uint32_t before = router.counters().rxBsmSuccess();
    router.hear("eth0", "10.0.0.2", bsm);
    return router.counters().rxBsmSuccess() > before;
  }

  struct World : VirtualWorld {
    World() { clock.nowIs(start); }
  } world;
  BsrRouter router{AddressFamily::ipv4, world.wheel};
};

// --- what passes and what is dropped ----------------------------------------------------------

enum class To { allRouters, otherGroup, us };
enum class Way { overSource, overOther, none };
enum class Border { none, zone, all };

/// One received message, and all that decides about it.
struct Arrival {
  bool scoped;
  bool forward;
  To to;
  Way way;
  Border border;
  bool stored;  // the zone has a last message
  bool late;    // the quick-refresh period is over
};

std::string text(const Arrival& a) {
  std::string out = a.scoped ? "scoped " : "global ";
  out += a.forward ? "" : "no-forward ";
  out += a.to == To::allRouters ? "" : a.to == To::us ? "unicast " : "other-group ";
  out += a.way == Way::overSource ? "" : a.way == Way::none ? "no-way " : "other-way ";
  out += a.border == Border::none ? "" : a.border == Border::zone ? "zone-border " : "border ";
  out += a.stored ? "stored " : "";
  return out + (a.late ? "late" : "");
}

/// Which error field counts the message, and how the trace of the drop ends; a field of -1 stands
/// for acceptance.
struct Verdict {
  int field;
  std::string trace;
};

Verdict verdictOn(const Arrival& a) {
  const std::string zone = a.scoped ? "239.1.0.0/16" : "224.0.0.0/4";
  if (a.to == To::otherGroup) {
    return {5, "RX - Error - Do not know what we are dealing with here: 224.0.0.5"};
  }
  if (a.to == To::us) return {3, "RX - Error - Unicast BSM not supported."};
  const std::string source = "RX - Error - Dropping BSM since BSM src 10.0.0.2";
  if (a.forward && a.way == Way::none) {
    return {1, source + " for BSR address 10.9.9.9 - RPF neighbor not available."};
  }
  if (a.forward && a.way == Way::overOther) {
    return {1, source + " is not from neighbor 10.0.0.3 for BSR address 10.9.9.9"};
  }
  if (!a.forward && (a.stored || a.late)) {
    return {2, std::string("RX - Error - Dropping BSM. We expect no-forward BSM only if quick "
                           "refresh. lastBsm=") +
                   (a.stored ? "BSM from unset BSR 10.8.8.8 priority 1 tag 7 groups 0" : "NULL") +
                   ", TimeSince startup=" + (a.late ? "60.5" : "60") + ", bsPeriod=60"};
  }
  if (a.border != Border::none) {
    return {0,
            "RX: Error - Dropping BSM since the interface eth0 the message arrived on is a BSR "
            "border for group" +
                zone};
  }
  return {-1, "RX - Accepted BSM from 10.0.0.2"};
}

/// The counters after one BSM with this verdict and so many transmissions.
std::string countsAfter(const Verdict& verdict, unsigned sent) {
  const std::string one = verdict.field < 0 ? "1/1/0 " : "1/0/1 ";
  const std::string tx = std::to_string(sent);
  std::string text = one + one + "0/0/0 " + tx + "/" + tx + "/0 ";
  for (int field = 0; field < 6; ++field) text += field == verdict.field ? " 1" : " 0";
  return text;
}

/// Everything in the status but its counters.
std::string withoutCounters(const BsrRouter& router) {
  std::string text = router.statusText();
  return text.substr(0, text.find("+ /counters"));
}

void tryArrival(const Arrival& arrival) {
  SCOPED_TRACE(text(arrival));
  VirtualWorld world;
  world.clock.nowIs(start);
  BsrRouter router(AddressFamily::ipv4, world.wheel);
  BsmIntakeTest::setUp(router);
  const IpGenPrefix zone = prefix(arrival.scoped ? "239.1.0.0/16" : "224.0.0.0/4");
  BootstrapMessageSm& intake = router.instance->bsmIntake();
  const auto stored = arrival.stored ? Bsm("10.8.8.8", 1).tag(7).make() : nullptr;
  if (stored) intake.lastBsmIs(zone, stored);
  if (arrival.way == Way::overOther) router.routeIs("10.9.9.9", "eth0", "10.0.0.3");
  if (arrival.way == Way::none) router.routes.clear();
  if (arrival.border == Border::zone) router.borderIs(zone.text(), "eth0");
  if (arrival.border == Border::all) router.borderIs("224.0.0.0/4", "eth0");
  world.runUntil(start + (arrival.late ? 60.5 : 60));
  const std::string statusBefore = withoutCounters(router);

  Bsm bsm("10.9.9.9");
  if (!arrival.forward) bsm.noForward();
  if (arrival.scoped) bsm.zone("239.1.0.0/16");
  bsm.group("239.1.1.0/24", {{"10.5.5.5"}});
  TraceRecorder traces;
  unsigned errorChanges = 0;
  const auto reactor = router.counters().errCountersReactor([&] { ++errorChanges; });
  const char* destination = arrival.to == To::allRouters   ? "224.0.0.13"
                            : arrival.to == To::otherGroup ? "224.0.0.5"
                                                           : "10.0.0.1";
  BsmIntakeTest::hearTo(router, "10.0.0.2", destination, bsm);

  const Verdict verdict = verdictOn(arrival);
  const bool accepted = verdict.field < 0;
  const std::size_t sent = router.sentBsms().size();
  EXPECT_EQ(counts(router), countsAfter(verdict, static_cast<unsigned>(sent)));
  EXPECT_TRUE(traces.ends("IO", accepted ? 4 : 1, verdict.trace)) << traces.text(4);
  EXPECT_EQ(errorChanges, accepted ? 0U : 1U);
  const PimBsmStatus& channel = *router.instance->bsmStatus();
  if (accepted) {
    EXPECT_EQ(channel.rxBsm(), intake.lastBsm(zone));
    ASSERT_NE(channel.rxBsm(), nullptr);
    EXPECT_EQ(channel.rxBsm()->source(), addr("10.0.0.2"));
    EXPECT_EQ(router.bsrOf(zone.text()), "10.9.9.9 64 30");
    const unsigned borders = arrival.border == Border::none ? 0 : 1;
    EXPECT_EQ(sent, arrival.forward ? 2 - borders : 0);
  } else {
    EXPECT_EQ(traces.count("", 1, "Error"), 1U);
    EXPECT_EQ(withoutCounters(router), statusBefore);
    EXPECT_EQ(channel.rxBsm(), nullptr);
    EXPECT_EQ(intake.lastBsm(zone), stored);
    EXPECT_TRUE(router.engine().nonCandidateSm().empty());
    EXPECT_EQ(sent, 0U);
  }
}

TEST(BsmIntake, JudgesEveryCombinationOfConditions) {
  for (unsigned each = 0; each < 2 * 2 * 3 * 3 * 3 * 2 * 2; ++each) {
    unsigned left = each;
    const auto pick = [&left](unsigned of) { return std::exchange(left, left / of) % of; };
    tryArrival({pick(2) == 1, pick(2) == 1, To(pick(3)), Way(pick(3)), Border(pick(3)),
                pick(2) == 1, pick(2) == 1});
  }
}

// --- zones ------------------------------------------------------------------------------------

TEST_F(BsmIntakeTest, TheFirstRangeAloneNamesTheZone) {
  struct {
    Bsm bsm;
    const char* zone;
  } const cases[] = {
      {Bsm("10.9.9.9"), "224.0.0.0/4"},
      {Bsm("10.9.9.9").zone("239.1.0.0/16"), "239.1.0.0/16"},
      {Bsm("10.9.9.9").group("225.0.0.0/8").zone("239.2.0.0/16"), "224.0.0.0/4"},
      {Bsm("10.9.9.9").zone("224.0.0.0/4"), "224.0.0.0/4"},
      {Bsm("10.9.9.9").group("239.3.0.0/16"), "224.0.0.0/4"},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(bsmText(each.bsm));
    BootstrapMessageSm& intake = router.instance->bsmIntake();
    intake.lastBsmDelAll();
    EXPECT_TRUE(accepted(each.bsm));
    ASSERT_EQ(intake.lastBsm().size(), 1U);
    EXPECT_EQ(intake.lastBsm().begin()->first, prefix(each.zone));
    EXPECT_EQ(router.instance->bsmStatus()->firstGroup().isNone(),
              each.bsm.make()->groupRpData().empty());
    EXPECT_NE(router.follower(each.zone), nullptr) << "the engine sees the same zone";
  }
}

// --- the quick-refresh period -----------------------------------------------------------------

TEST(BsmIntake, ANoForwardMessageIsWelcomeForOneBootstrapPeriod) {
  struct {
    int bsPeriod;  // of the zone's candidate; 0 if it is not set yet, -1 without candidate
    double lasts;
  } const cases[] = {{-1, 60}, {0, 60}, {30, 30}, {300, 300}};
  for (const auto& each : cases) {
    for (const bool late : {false, true}) {
      SCOPED_TRACE(std::to_string(each.bsPeriod) + (late ? ", late" : ""));
      VirtualWorld world;
      world.clock.nowIs(start);
      BsrRouter router(AddressFamily::ipv4, world.wheel);
      BsmIntakeTest::setUp(router);
      if (each.bsPeriod >= 0) {  // without address: a candidate that does not run yet
        router.status->newCbsr(prefix(global))->bsPeriodIs(static_cast<unsigned>(each.bsPeriod));
      }
      world.clock.nowIs(late ? std::nextafter(start + each.lasts, never) : start + each.lasts);
      router.hear("eth0", "10.0.0.3", Bsm("10.9.9.9").noForward());  // no RPF check
      EXPECT_EQ(router.counters().rxBsmSuccess(), late ? 0U : 1U);
    }
  }
}

TEST_F(BsmIntakeTest, EachZoneIsPrimedOnItsOwnByAMessageOfAnyBsr) {
  EXPECT_TRUE(accepted(Bsm("10.9.9.9", 200)));
  EXPECT_TRUE(accepted(Bsm("10.9.9.9").noForward().zone("239.1.0.0/16")));
  EXPECT_FALSE(accepted(Bsm("10.9.9.9").noForward().zone("239.1.0.0/16").group("239.1.1.0/24")))
      << "not even as a second fragment";
  router.routeIs("10.1.1.1", "eth0", "10.0.0.2");
  EXPECT_TRUE(accepted(Bsm("10.1.1.1", 100)));
  EXPECT_EQ(router.instance->bsmIntake().lastBsm(prefix("224.0.0.0/4"))->bsrAddress(),
            addr("10.1.1.1"));
  EXPECT_EQ(router.follower("224.0.0.0/4")->lastBsm()->bsrAddress(), addr("10.9.9.9"));
  EXPECT_FALSE(accepted(Bsm("10.9.9.9", 200).noForward()));
}

// --- RPF --------------------------------------------------------------------------------------

TEST_F(BsmIntakeTest, TheRpfNeighbourIsFoundInEveryKindOfRoute) {
  struct {
    const char* what;
    std::vector<NextHop> hops;
    bool accepted;
  } const cases[] = {
      {"over the neighbour", {{IntfId("eth0"), addr("10.0.0.2")}}, true},
      {"over its secondary address", {{IntfId("eth0"), addr("10.0.0.22")}}, true},
      {"over another", {{IntfId("eth0"), addr("10.0.0.3")}}, false},
      {"over no PIM neighbour", {{IntfId("eth0"), addr("10.0.0.77")}}, false},
      {"over no PIM interface", {{IntfId("eth9"), addr("10.0.0.2")}}, false},
      {"two ways, the other neighbour higher",
       {{IntfId("eth0"), addr("10.0.0.2")}, {IntfId("eth1"), addr("10.0.1.2")}},
       false},
      {"two ways, the other no neighbour",
       {{IntfId("eth0"), addr("10.0.0.2")}, {IntfId("eth1"), addr("10.0.1.77")}},
       true},
      {"on the link, but no neighbour", {{IntfId("eth0"), {}}}, false},
      {"our own address, or no route", {}, false},
  };
  router.link("eth0").neighbor(addr("10.0.0.2"))->secondaryAddressIs(addr("10.0.0.22"), true);
  for (const auto& each : cases) {
    router.routes[addr("10.9.9.9")] = each.hops;
    EXPECT_EQ(accepted(Bsm("10.9.9.9")), each.accepted) << each.what;
  }
  router.routes[addr("10.0.0.2")] = {{IntfId("eth0"), {}}};
  EXPECT_TRUE(accepted(Bsm("10.0.0.2"))) << "the BSR is the neighbour itself";
}

TEST(BsmIntake, ALinkLocalNeighbourCountsOnItsOwnLinkOnly) {
  VirtualWorld world;
  BsrRouter router(AddressFamily::ipv6, world.wheel);
  for (const char* intf : {"eth0", "eth1"}) {
    router.linkIs(intf, "fe80::1");
    router.neighborIs(intf, "fe80::2");
  }
  router.routeIs("2001:db8::9", "eth0", "fe80::2");
  router.hear("eth1", "fe80::2", Bsm("2001:db8::9"));
  EXPECT_EQ(router.counters().errCounters().rxNbrRpfCheck(), 1U);
  router.hear("eth0", "fe80::2", Bsm("2001:db8::9"));
  EXPECT_EQ(router.counters().rxBsmSuccess(), 1U);
  router.link("eth0").neighbor(addr("fe80::2"))->secondaryAddressIs(addr("2001:db8::2"), true);
  router.routeIs("2001:db8::9", "eth0", "2001:db8::2");
  router.hear("eth0", "fe80::2", Bsm("2001:db8::9"));
  EXPECT_EQ(router.counters().rxBsmSuccess(), 2U) << "a global next hop of the neighbour's list";
}

// --- handing over -----------------------------------------------------------------------------

TEST_F(BsmIntakeTest, TheMessageIsWrittenLastAndCountedWhenItHasBeenDealtWith) {
  const auto& channel = router.instance->bsmStatus();
  bool complete = false;
  const auto written = channel->rxBsmReactor([&] {
    complete = channel->iifIntfId() == IntfId("eth0") &&
               channel->firstGroup() == prefix("225.0.0.0/8") &&
               router.counters().rxSuccess() == 0 && router.counters().rx() == 1;
  });
  std::string followed;
  const auto counted =
      router.counters().rxBsmSuccessReactor([&] { followed = router.bsrOf("224.0.0.0/4"); });
  router.hear("eth0", "10.0.0.2", Bsm("10.9.9.9").group("225.0.0.0/8"));
  EXPECT_TRUE(complete);
  EXPECT_EQ(followed, "10.9.9.9 64 30");
}

TEST_F(BsmIntakeTest, EveryCountIsAMessageIfThereIsOne) {
  const auto& info = router.pim.pamManager()->bsmRxInfo();
  info->countInc(1);
  info->messageIs(std::make_shared<CrpAdvMessage>());
  info->countInc(1);
  EXPECT_EQ(counts(router), "0/0/0 0/0/0 0/0/0 0/0/0  0 0 0 0 0 0");
  info->intfIdIs(IntfId("eth0"));
  info->neighborAddrIs(addr("10.0.0.2"));
  info->messageIs(Bsm("10.9.9.9").make());
  info->countInc(1);
  world.runUntil(start + 100);
  info->countInc(1);
  EXPECT_EQ(router.counters().rxBsmSuccess(), 2U);
  EXPECT_EQ(router.status->bootstrapRouter(prefix("224.0.0.0/4"))->expiryTime(), start + 230);
}

// --- starting ---------------------------------------------------------------------------------

TEST_F(BsmIntakeTest, CountersAddUpAndAStartClearsThoseOfAllMessagesAndOfErrors) {
  EXPECT_TRUE(accepted(Bsm("10.9.9.9")));
  for (int i = 0; i < 2; ++i) hearTo(router, "10.0.0.2", "10.0.0.1", Bsm("10.9.9.9"));
  for (int i = 0; i < 2; ++i) hearTo(router, "10.0.0.2", "224.0.0.5", Bsm("10.9.9.9"));
  for (int i = 0; i < 2; ++i) router.hear("eth0", "10.0.0.3", Bsm("10.9.9.9"));
  for (int i = 0; i < 2; ++i) EXPECT_FALSE(accepted(Bsm("10.9.9.9").noForward()));
  router.mute = true;
  EXPECT_TRUE(accepted(Bsm("10.9.9.9")));
  router.borderIs("224.0.0.0/4", "eth0");
  for (int i = 0; i < 2; ++i) EXPECT_FALSE(accepted(Bsm("10.9.9.9")));
  EXPECT_EQ(counts(router), "12/2/10 12/2/10 0/0/0 4/2/2  2 2 2 2 0 2");
  router.stop();
  router.status->bootstrapRouterDelAll();
  router.hear("eth0", "10.0.0.2", Bsm("10.9.9.9"));  // before the start: ignored for ever
  router.start();
  EXPECT_EQ(counts(router), "0/0/0 12/2/10 0/0/0 0/0/0  0 0 0 0 0 0");
  EXPECT_EQ(router.bsrOf("224.0.0.0/4"), "none");
}

TEST_F(BsmIntakeTest, WorksWithoutCountersAndFollowsNewOnes) {
  router.status->countersDel();
  router.hear("eth0", "10.0.0.2", Bsm("10.9.9.9"));
  hearTo(router, "10.0.0.2", "10.0.0.1", Bsm("10.9.9.9"));
  EXPECT_EQ(router.bsrOf("224.0.0.0/4"), "10.9.9.9 64 30");
  EXPECT_EQ(router.sentBsms().size(), 2U);
  router.status->countersIs("new")->rxIs(7);
  router.hear("eth0", "10.0.0.2", Bsm("10.9.9.9"));
  EXPECT_EQ(counts(router), "8/1/0 1/1/0 0/0/0 2/2/0  0 0 0 0 0 0");
}

TEST_F(BsmIntakeTest, MissingInputsAreFailedAssertions) {
  const auto& pam = router.pim.pamManager();
  const auto failure = [&](std::shared_ptr<PamManager> manager, std::shared_ptr<Status> status) {
    return refusal([&] {
      BootstrapMessageSm(std::move(manager), std::move(status), std::make_shared<PimBsmStatus>(),
                         pam->bsmRxInfo(), world.wheel);
    });
  };
  EXPECT_EQ(failure(pam, nullptr), "bsrStatus()");
  EXPECT_EQ(failure(nullptr, router.status), "rpfTable()");
  EXPECT_EQ(failure(pam, std::make_shared<Status>(VrfName("red"))),
            "0 && \"Address Family unknown\"");
  EXPECT_EQ(failure(pam, router.status), "none");
}

// --- sending ----------------------------------------------------------------------------------

TEST_F(BsmIntakeTest, EachWriteIsOnePacketOnItsInterfaceOrAnError) {
  // What the engine does to send.
  const auto write = [this](const char* intf, const std::shared_ptr<BootstrapMessage>& bsm) {
    const auto& channel = router.instance->bsmStatus();
    channel->oifIntfIdIs(IntfId(intf));
    channel->txBsmIs(bsm);
    channel->writeCountInc();
  };
  const auto bsm = Bsm("10.9.9.9").tag(5).make();
  TraceRecorder traces;
  write("eth1", bsm);
  write("eth0", bsm);  // equal, and sent all the same
  const auto sent = router.sentBsms();
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_EQ(sent[0].intf + sent[1].intf, "eth1eth0");
  EXPECT_EQ(sent[0].bsm->source(), addr("10.0.1.1"));
  EXPECT_EQ(sent[0].bsm->destination(), addr("224.0.0.13"));
  EXPECT_EQ(counts(router), "0/0/0 0/0/0 0/0/0 2/2/0  0 0 0 0 0 0");
  EXPECT_EQ(traces.count("IO", 9, "handleTransmission"), 2U);
  router.mute = true;
  write("eth0", Bsm("10.9.9.9").make());
  router.mute = false;
  write("eth9", Bsm("10.9.9.9").make());
  write("eth0", Bsm("2001:db8::9").make());  // of the other family
  write("eth0", nullptr);                    // no message, no attempt
  EXPECT_EQ(counts(router), "0/0/0 0/0/0 0/0/0 5/2/3  0 0 0 0 0 0");
}

}  // namespace
}  // namespace Routing::Pim::Bsr
