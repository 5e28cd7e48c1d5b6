#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bsr/engine/BsmSender.h"
#include "tests/support/BsrRouter.h"

// Where messages go, and in which pieces. Lengths are reckoned as 36 octets and 12 for each range
// and each RP.

namespace Routing::Pim::Bsr {
namespace {

using TestKit::addr;
using TestKit::Bsm;
using TestKit::bsmText;
using TestKit::BsrRouter;
using TestKit::Lines;
using TestKit::prefix;
using TestKit::Rps;
using TestKit::TraceRecorder;
using TestKit::VirtualWorld;

const char* const global = "224.0.0.0/4";

/// RPs 10.5.x.y, so many of them.
Rps rps(unsigned count) {
  Rps all;
  for (unsigned i = 1; i <= count; ++i) {
    all.push_back({"10.5." + std::to_string(i / 200) + "." + std::to_string(i % 200), 150});
  }
  return all;
}

std::uint32_t reckoned(const BootstrapMessage& bsm) {
  std::uint32_t length = 36;
  for (const auto& group : bsm.groupRpData()) length += 12 + 12 * group.fragRpCount();
  return length;
}

struct BsmSenderTest : ::testing::Test {
  void linkIs(const std::string& intf, unsigned mtu) {
    router.linkIs(intf, "10.0.0.1", mtu);
    router.neighborIs(intf, "10.0.0.2");
  }
  /// Forwards a message and returns what goes out, one line each: "INTF LENGTH RANGES", a range as
  /// "PREFIX:CARRIED/COUNT".
  Lines forward(const BootstrapMessage& bsm, const char* zone = global) {
    router.engine().forwardBsm(prefix(zone), std::make_shared<BootstrapMessage>(bsm));
    return sent();
  }
  Lines sent() {
    Lines lines;
    for (const auto& each : router.sentBsms()) {
      std::string line = each.intf + " " + std::to_string(reckoned(*each.bsm));
      for (const auto& group : each.bsm->groupRpData()) {
        line += " " + group.prefix().text() + ":" + std::to_string(group.fragRpCount()) + "/" +
                std::to_string(group.rpCount());
      }
      lines.push_back(line);
    }
    return lines;
  }
  static Bsm bsm() { return Bsm("10.9.9.9"); }

  VirtualWorld world;
  BsrRouter router{AddressFamily::ipv4, world.wheel};
  TraceRecorder traces;
};

// --- where to ---------------------------------------------------------------------------------

TEST_F(BsmSenderTest, ForwardingTakesEveryInterfaceThatIsFitForIt) {
  linkIs("good", 1500);
  linkIs("down", 1500);
  router.link("down").upIs(false);
  router.linkIs("alone", "10.0.0.1");
  linkIs("unknown", 0);  // without interface status
  linkIs("nomtu", 1500);
  router.mtuIs("nomtu", 0);
  linkIs("border", 1500);
  router.borderIs(global, "border");
  linkIs("zoneborder", 1500);
  router.borderIs("239.1.0.0/16", "zoneborder");

  EXPECT_EQ(forward(bsm()), (Lines{"good 36", "nomtu 36", "zoneborder 36"}));
  EXPECT_EQ(forward(bsm().zone("239.1.0.0/16"), "239.1.0.0/16"),
            (Lines{"good 48 239.1.0.0/16:0/0", "nomtu 48 239.1.0.0/16:0/0"}));
  EXPECT_TRUE(traces.ends("Sm", 1, "Number of Groups: 1, Total number of RPs: 0"));
  EXPECT_TRUE(traces.ends("Sm", 1, "BSM length is 48"));
  EXPECT_TRUE(traces.ends("Sm", 8, "MTU of interface good is 1500"));
  EXPECT_TRUE(traces.ends("Sm", 1, " Forwarding BSM to oif=good for zone 239.1.0.0/16"));
}

TEST_F(BsmSenderTest, AnUnknownMtuIsTheFamilysUsualOne) {
  linkIs("nomtu", 1500);
  router.mtuIs("nomtu", 0);
  EXPECT_EQ(forward(bsm().group("225.0.0.0/8", rps(121))),
            (Lines{"nomtu 1500 225.0.0.0/8:121/121"}));
  EXPECT_EQ(forward(bsm().group("225.0.0.0/8", rps(122))),
            (Lines{"nomtu 1500 225.0.0.0/8:121/122", "nomtu 60 225.0.0.0/8:1/122"}));
}

TEST_F(BsmSenderTest, EachWriteNamesItsInterfaceBeforeItsMessageAndCountsLast) {
  linkIs("eth0", 1500);
  linkIs("eth1", 60);
  const auto& channel = router.instance->bsmStatus();
  std::vector<std::pair<std::string, std::shared_ptr<BootstrapMessage>>> writes;
  const auto reactor = channel->writeCountReactor(
      [&] { writes.emplace_back(channel->oifIntfId().text(), channel->txBsm()); });
  const auto message = bsm().group("225.0.0.0/8", rps(1)).group("226.0.0.0/8", rps(1)).make();
  router.engine().forwardBsm(prefix(global), message);
  ASSERT_EQ(writes.size(), 2U);
  EXPECT_EQ(writes[0], std::pair(std::string("eth0"), message)) << "the message itself";
  EXPECT_EQ(writes[1], std::pair(std::string("eth1"), message)) << "too small to be split";
  EXPECT_EQ(channel->writeCount(), 2U);
}

TEST_F(BsmSenderTest, InterfacesOfOneMtuShareTheFragments) {
  for (const char* intf : {"a", "b"}) linkIs(intf, 576);
  linkIs("c", 1000);
  linkIs("d", 576);
  const auto& channel = router.instance->bsmStatus();
  std::map<std::string, std::vector<std::shared_ptr<BootstrapMessage>>> writes;
  const auto reactor = channel->writeCountReactor(
      [&] { writes[channel->oifIntfId().text()].push_back(channel->txBsm()); });
  const auto message = bsm().group("225.0.0.0/8", rps(100)).make();
  router.engine().forwardBsm(prefix(global), message);
  EXPECT_EQ(writes["a"].size(), 3U);
  EXPECT_EQ(writes["a"], writes["b"]) << "the very same objects";
  EXPECT_EQ(writes["a"], writes["d"]);
  EXPECT_EQ(writes["c"].size(), 2U);
  EXPECT_EQ(traces.count("Sm", 1, " fragments to be generated"), 2U);
  EXPECT_TRUE(traces.ends("Sm", 1, " Forwarding BSM fragment to oif=c for zone 224.0.0.0/4"));
  EXPECT_FALSE(traces.contains("Sm", 1, " Forwarding BSM to oif="));

  traces.clear();
  writes.clear();
  router.engine().forwardBsm(prefix(global), bsm().group("226.0.0.0/8", rps(100)).make());
  EXPECT_EQ(writes["a"].front()->groupRpData().front().prefix(), prefix("226.0.0.0/8"))
      << "nothing is kept from one message to the next";
}

// --- whole or not -----------------------------------------------------------------------------

TEST_F(BsmSenderTest, AMessageAsLongAsTheMtuGoesWhole) {
  linkIs("eth0", 168);
  EXPECT_EQ(forward(bsm().group("225.0.0.0/8", rps(10))), (Lines{"eth0 168 225.0.0.0/8:10/10"}));
  EXPECT_FALSE(traces.contains("Sm", 1, " fragments to be generated"));
  router.mtuIs("eth0", 167);
  EXPECT_EQ(forward(bsm().group("225.0.0.0/8", rps(10))),
            (Lines{"eth0 156 225.0.0.0/8:9/10", "eth0 60 225.0.0.0/8:1/10"}));
}

TEST_F(BsmSenderTest, TheRestOfAFragmentIsUsedFrom25OctetsOn) {
  // 225/8 leaves 24 or 25 octets of the first fragment; 226/8 must be split.
  linkIs("eth0", 36 + 12 + 60 + 24);
  EXPECT_EQ(
      forward(bsm().group("225.0.0.0/8", rps(5)).group("226.0.0.0/8", rps(8))),
      (Lines{"eth0 108 225.0.0.0/8:5/5", "eth0 132 226.0.0.0/8:7/8", "eth0 60 226.0.0.0/8:1/8"}));
  EXPECT_TRUE(traces.contains("Sm", 1, "Splitting fragment for prefix 226.0.0.0/8 containing 8 "));
  EXPECT_TRUE(
      traces.contains("Sm", 1, " does not have space. Required Space:25, Available space:24"));
  router.mtuIs("eth0", 36 + 12 + 60 + 25);
  EXPECT_EQ(forward(bsm().group("225.0.0.0/8", rps(5)).group("226.0.0.0/8", rps(8))),
            (Lines{"eth0 132 225.0.0.0/8:5/5 226.0.0.0/8:1/8", "eth0 132 226.0.0.0/8:7/8"}));
  EXPECT_TRUE(traces.ends("Sm", 1, "    into fragment 0 1 Rps ( max 1 RPs )"));
}

TEST_F(BsmSenderTest, WholeRangesGoFirstAndIntoTheFirstFragmentWithRoom) {
  linkIs("eth0", 120);
  EXPECT_EQ(forward(bsm()
                        .group("225.0.0.0/8", rps(4))
                        .group("226.0.0.0/8", rps(9))
                        .group("227.0.0.0/8", rps(5))
                        .group("228.0.0.0/8", rps(1))),
            (Lines{"eth0 120 225.0.0.0/8:4/4 228.0.0.0/8:1/1", "eth0 108 227.0.0.0/8:5/5",
                   "eth0 120 226.0.0.0/8:6/9", "eth0 84 226.0.0.0/8:3/9"}));
  EXPECT_TRUE(traces.ends("Sm", 1, "Fragment 0 to house prefix 228.0.0.0/8 with 1 RPs"));
  EXPECT_TRUE(traces.ends("Sm", 1, "Length of fragment 0 is 120"));
  EXPECT_TRUE(traces.ends("Sm", 1, " Group-Rp data needs to be split across fragments"));
}

TEST_F(BsmSenderTest, ReckonsWithAHeadForEveryFragment) {
  struct {
    unsigned mtu;
    bool scoped;
    unsigned rps;
    unsigned estimate;
  } const cases[] = {{1500, false, 200, 2}, {576, false, 200, 5}, {100, false, 20, 4},
                     {100, true, 20, 4},    {100, true, 24, 5},   {287, false, 20, 2}};
  linkIs("eth0", 1500);
  for (const auto& each : cases) {
    router.mtuIs("eth0", each.mtu);
    Bsm message = bsm();
    if (each.scoped) message.zone("239.1.0.0/16");
    traces.clear();
    router.engine().forwardBsm(prefix(each.scoped ? "239.1.0.0/16" : global),
                               message.group("239.1.1.0/24", rps(each.rps)).make());
    EXPECT_TRUE(
        traces.ends("Sm", 1, ")" + std::to_string(each.estimate) + " fragments to be generated"))
        << each.mtu << " " << each.rps;
  }
}

TEST_F(BsmSenderTest, EveryFragmentOfAScopedZoneBeginsWithTheZone) {
  linkIs("eth0", 120);
  const auto message =
      bsm().tag(9).zone("239.1.0.0/16").group("239.1.1.0/24", rps(8)).group("239.1.2.0/24", rps(1));
  router.engine().forwardBsm(prefix("239.1.0.0/16"), message.make());
  const auto sent = router.sentBsms();
  ASSERT_EQ(sent.size(), 2U);
  for (const auto& each : sent) {
    const BootstrapGroupData& first = each.bsm->groupRpData().front();
    EXPECT_EQ(first.prefix(), prefix("239.1.0.0/16"));
    EXPECT_EQ(first.groupFlags(), 1);
    EXPECT_EQ(first.fragRpCount(), 0);
    EXPECT_EQ(each.bsm->fragmentTag(), 9);
    EXPECT_EQ(each.bsm->bsrAddress(), addr("10.9.9.9"));
    EXPECT_EQ(each.bsm->bsrPriority(), 64);
    EXPECT_EQ(each.bsm->hashMaskLen(), 30);
    EXPECT_TRUE(each.bsm->forward());
  }
  EXPECT_TRUE(traces.ends("Sm", 1, "Adding zone 239.1.0.0/16 information to fragment 1"));
}

TEST_F(BsmSenderTest, AZoneWithRpsOfItsOwnIsSplitAndStillNamedInEveryFragment) {
  linkIs("eth0", 120);
  router.engine().forwardBsm(
      prefix("239.1.0.0/16"),
      bsm().zone("239.1.0.0/16", rps(8)).group("239.1.2.0/24", rps(3)).make());
  EXPECT_EQ(sent(),
            (Lines{"eth0 120 239.1.0.0/16:6/8", "eth0 120 239.1.0.0/16:2/8 239.1.2.0/24:3/3"}));
}

TEST_F(BsmSenderTest, AZoneThatIsNamedAgainWithoutItsBitDoesNotSpeakForAllGroups) {
  linkIs("eth0", 120);
  Bsm message = bsm().zone("239.1.0.0/16", rps(5));
  auto whole = message.piece("239.1.0.0/16", 5, rps(0)).make();
  whole->groupRpData()[1].rpListIs(whole->groupRpData()[0].rpList());
  whole->groupRpData()[1].fragRpCountIs(5);
  router.engine().forwardBsm(prefix("239.1.0.0/16"), whole);
  const auto sent = router.sentBsms();
  ASSERT_EQ(sent.size(), 2U);
  for (const auto& each : sent) {
    EXPECT_EQ(zoneOf(*each.bsm, prefix(global)), prefix("239.1.0.0/16")) << bsmText(*each.bsm);
  }
}

TEST_F(BsmSenderTest, AStrayZoneBitDoesNotMakeAFragmentAnotherZonesMessage) {
  linkIs("eth0", 120);
  auto message = bsm().group("225.0.0.0/8", rps(6)).group("239.1.0.0/16", rps(6)).make();
  message->groupRpData().back().groupFlagsIs(GroupFlags::zoneFlag | GroupFlags::bidirFlag);
  router.engine().forwardBsm(prefix(global), message);
  const auto sent = router.sentBsms();
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_EQ(sent[0].bsm->groupRpData().front().prefix(), prefix("225.0.0.0/8"));
  EXPECT_EQ(sent[1].bsm->groupRpData().front().prefix(), prefix("239.1.0.0/16"));
  EXPECT_EQ(sent[1].bsm->groupRpData().front().groupFlags(), GroupFlags::bidirFlag);
}

TEST_F(BsmSenderTest, TheGlobalZoneIsNeverNamed) {
  BsrRouter v6(AddressFamily::ipv6, world.wheel);
  v6.linkIs("eth0", "fe80::1", 100);
  v6.neighborIs("eth0", "fe80::2");
  const Rps some{{"2001:db8::1"}, {"2001:db8::2"}, {"2001:db8::3"}};
  v6.engine().forwardBsm(
      prefix("ff00::/8"),
      Bsm("2001:db8::9").group("ff05::/16", some).group("ff08::/16", some).make());
  for (const auto& each : v6.sentBsms()) {
    for (const auto& group : each.bsm->groupRpData()) {
      EXPECT_NE(group.prefix(), prefix("ff00::/8"));
      EXPECT_EQ(group.groupFlags(), 0);
    }
  }
}

TEST_F(BsmSenderTest, AnMtuTooSmallForAnyPieceIsLeftToIpFragmentation) {
  struct {
    unsigned mtu;
    bool scoped;
    bool split;
  } const cases[] = {{1, false, false},  {35, false, false}, {48, true, false},
                     {60, false, false}, {61, false, true},  {72, true, false},
                     {73, true, true},   {68, false, true},  {68, true, false}};
  linkIs("eth0", 1);
  for (const auto& each : cases) {
    router.mtuIs("eth0", each.mtu);
    traces.clear();
    const char* zone = each.scoped ? "239.1.0.0/16" : global;
    Bsm message = bsm();
    if (each.scoped) message.zone(zone);
    const auto lines = forward(message.group("239.1.1.0/24", rps(3)), zone);
    EXPECT_EQ(lines.size(), each.split ? 3U : 1U) << each.mtu << " " << each.scoped;
    EXPECT_EQ(traces.contains("Sm", 1, " of interface eth0 is too small for fragments"),
              !each.split);
  }
  router.mtuIs("eth0", 35);
  EXPECT_EQ(forward(bsm()), (Lines{"eth0 36"})) << "nothing to split";
}

TEST_F(BsmSenderTest, WhatTheEstimateFallsShortOfIsMadeUpFor) {
  struct {
    unsigned mtu;
    bool scoped;
    unsigned groups;
    unsigned rpsEach;
  } const cases[] = {
      {1500, false, 1, 243}, {1500, false, 1, 244}, {1500, false, 1, 245}, {1500, true, 1, 241},
      {1500, true, 1, 244},  {1280, false, 1, 205}, {1280, false, 1, 209}, {576, false, 1, 89},
      {576, false, 1, 91},   {576, false, 1, 133},  {576, false, 1, 137},  {576, false, 1, 182},
      {576, false, 1, 227},  {1500, false, 6, 40},  {1500, false, 123, 1}, {61, false, 3, 9},
      {1500, false, 1, 200},
  };
  linkIs("eth0", 1500);
  for (const auto& each : cases) {
    SCOPED_TRACE(std::to_string(each.mtu) + " " + std::to_string(each.groups) + " x " +
                 std::to_string(each.rpsEach));
    router.mtuIs("eth0", each.mtu);
    Bsm message = bsm();
    if (each.scoped) message.zone("239.1.0.0/16");
    for (unsigned i = 0; i < each.groups; ++i) {
      message.group("239.1." + std::to_string(i) + ".0/24", rps(each.rpsEach));
    }
    router.engine().forwardBsm(prefix(each.scoped ? "239.1.0.0/16" : global), message.make());
    unsigned carried = 0;
    for (const auto& sent : router.sentBsms()) {
      EXPECT_LE(reckoned(*sent.bsm), each.mtu);
      for (const auto& group : sent.bsm->groupRpData()) carried += group.fragRpCount();
    }
    EXPECT_EQ(carried, each.groups * each.rpsEach);
  }
}

// --- fragments of others ----------------------------------------------------------------------

TEST_F(BsmSenderTest, AReceivedFragmentThatFitsGoesOnAsItIs) {
  linkIs("eth0", 1500);
  // As announced it would be 2448 octets.
  EXPECT_EQ(forward(bsm().piece("225.0.0.0/8", 200, rps(121))),
            (Lines{"eth0 1500 225.0.0.0/8:121/200"}));
}

TEST_F(BsmSenderTest, AReceivedFragmentIsSplitFurtherWhereItMust) {
  linkIs("eth0", 576);
  EXPECT_EQ(forward(bsm().piece("225.0.0.0/8", 200, rps(121)).piece("226.0.0.0/8", 9, rps(2))),
            (Lines{"eth0 576 226.0.0.0/8:2/9 225.0.0.0/8:41/200", "eth0 576 225.0.0.0/8:44/200",
                   "eth0 480 225.0.0.0/8:36/200"}));
}

TEST_F(BsmSenderTest, RangesThatAnnounceMuchAndCarryLittleDoNotMultiply) {
  linkIs("eth0", 1500);
  Bsm message = bsm();
  for (unsigned i = 0; i < 60; ++i) {
    message.piece("225.0." + std::to_string(i) + ".0/24", 255, rps(1));
  }
  EXPECT_EQ(forward(message).size(), 1U);
  for (unsigned i = 60; i < 200; ++i)
    message.piece("225.0." + std::to_string(i) + ".0/24", 255, {});
  EXPECT_EQ(forward(message).size(), 3U) << "60 x 24 and 140 x 12 octets";
  Bsm modest = bsm();
  for (unsigned i = 0; i < 120; ++i) {
    modest.piece("225.0." + std::to_string(i) + ".0/24", 100, {});
  }
  EXPECT_EQ(forward(modest).size(), 1U);
}

// --- triggered messages -----------------------------------------------------------------------

TEST_F(BsmSenderTest, ATriggeredMessageGoesToOneInterfaceWithTheBitAsAsked) {
  linkIs("eth0", 1500);
  linkIs("eth1", 1500);
  const auto message = bsm().group("225.0.0.0/8", rps(1)).make();
  for (const bool bit : {false, true}) {
    traces.clear();
    router.engine().doSendTriggeredBsm(prefix(global), bit, IntfId("eth1"), message);
    const auto sent = router.sentBsms();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].intf, "eth1");
    EXPECT_EQ(sent[0].bsm->forward(), bit);
    EXPECT_EQ(message->forward(), bit);
    EXPECT_TRUE(traces.ends("Sm", 1,
                            std::string("Sending BSM along oif=eth1 for zone 224.0.0.0/4 with "
                                        "forward bit set to ") +
                                (bit ? "True" : "False")));
    EXPECT_TRUE(traces.ends("Sm", 8, "MTU of interface eth1 is 1500"));
  }
}

TEST_F(BsmSenderTest, ATriggeredMessageStopsAtBorders) {
  linkIs("eth0", 1500);
  linkIs("eth1", 1500);
  router.borderIs("239.1.0.0/16", "eth0");
  router.borderIs(global, "eth1");
  const auto send = [&](const char* zone, const char* intf) {
    Bsm message = bsm();
    if (std::string(zone) != global) message.zone(zone);
    const auto object = message.make();
    router.engine().doSendTriggeredBsm(prefix(zone), false, IntfId(intf), object);
    EXPECT_EQ(object->forward(), router.sent.empty()) << "what is not sent is not touched";
    return router.sentBsms().size();
  };
  EXPECT_EQ(send("239.1.0.0/16", "eth0"), 0U);
  EXPECT_EQ(send("239.1.0.0/16", "eth1"), 0U);
  EXPECT_EQ(send("239.2.0.0/16", "eth0"), 1U);
  EXPECT_EQ(send(global, "eth0"), 1U);
  EXPECT_EQ(send(global, "eth1"), 0U);
}

TEST_F(BsmSenderTest, ATriggeredMessageIsAPassOfItsOwn) {
  linkIs("eth0", 100);
  const auto send = [&](const char* range) {
    router.engine().doSendTriggeredBsm(prefix(global), false, IntfId("eth0"),
                                       bsm().group(range, rps(5)).make());
    return sent();
  };
  EXPECT_EQ(send("225.0.0.0/8"), (Lines{"eth0 96 225.0.0.0/8:4/5", "eth0 60 225.0.0.0/8:1/5"}));
  EXPECT_EQ(send("226.0.0.0/8"), (Lines{"eth0 96 226.0.0.0/8:4/5", "eth0 60 226.0.0.0/8:1/5"}));
}

// --- building the elected BSR's entries -------------------------------------------------------

struct BsmBuildTest : BsmSenderTest {
  BootstrapGroupData entry(std::uint8_t flags) {
    BootstrapMessage message;
    router.engine().doAddGroupData(message, &set, prefix("225.0.0.0/8"), flags);
    return message.groupRpData().at(0);
  }
  void rpIs(const std::string& address, unsigned hold, PimMode mode = PimMode::sparse) {
    const auto rp = set.newRp(addr(address));
    rp->modeIs(mode);
    rp->priorityIs(RpPriority(192));
    rp->holdTimeIs(CrpHoldTime(hold));
    rp->expiryTimeIs(1000);
  }
  RpCandidateSet set{prefix("225.0.0.0/8")};
};

TEST_F(BsmBuildTest, AnEntryListsItsRpsInAddressOrder) {
  rpIs("10.2.2.2", 90);
  rpIs("10.1.1.1", 150);
  const BootstrapGroupData group = entry(0);
  EXPECT_EQ(group.prefix(), prefix("225.0.0.0/8"));
  EXPECT_EQ(group.rpCount(), 2);
  EXPECT_EQ(group.fragRpCount(), 2);
  ASSERT_EQ(group.rpList().size(), 2U);
  EXPECT_EQ(*group.rpList().begin(), (BootstrapRp{addr("10.1.1.1"), {150, 192}}));
  EXPECT_TRUE(traces.ends("Sm", 8, "Adding CRP prefix 225.0.0.0/8 in BSM"));
  EXPECT_TRUE(traces.ends("Sm", 8, "RP count in BSM is 2"));
}

TEST_F(BsmBuildTest, TheLastRpsModeIsTheRangesAndOtherFlagsStay) {
  rpIs("10.1.1.1", 150, PimMode::bidirectional);
  EXPECT_EQ(entry(0).groupFlags(), 0x80);
  EXPECT_EQ(entry(1).groupFlags(), 0x81);
  EXPECT_EQ(entry(0xff).groupFlags(), 0xff);
  rpIs("10.2.2.2", 150);
  EXPECT_EQ(entry(0).groupFlags(), 0);
  EXPECT_EQ(entry(0xff).groupFlags(), 0x7f);
}

TEST_F(BsmBuildTest, AnEntryWithoutRpsKeepsItsFlags) {
  EXPECT_EQ(entry(1).groupFlags(), 1);
  EXPECT_EQ(entry(1).rpCount(), 0);
  BootstrapMessage message;
  router.engine().doAddGroupData(message, nullptr, prefix("239.1.0.0/16"), 1);
  EXPECT_EQ(message.groupRpData().at(0), BootstrapGroupData(prefix("239.1.0.0/16"), 1));
  EXPECT_TRUE(traces.ends("Sm", 8, "Adding Zone 239.1.0.0/16"));
  router.engine().doAddGroupData(message, nullptr, prefix("239.2.0.0/16"), 0);
  EXPECT_TRUE(traces.contains("Sm", 8, "No zone or CRP set"));
}

TEST_F(BsmBuildTest, AWithdrawnRpIsAnnouncedOnceMoreAndThenExpires) {
  world.runUntil(7);
  rpIs("10.1.1.1", 0);
  rpIs("10.2.2.2", 150);
  const BootstrapGroupData group = entry(0);
  EXPECT_EQ(group.rpList().find(addr("10.1.1.1"))->rpHoldtime(), 0);
  EXPECT_EQ(set.rp(addr("10.1.1.1"))->expiryTime(), 7);
  EXPECT_EQ(set.rp(addr("10.2.2.2"))->expiryTime(), 1000);
  EXPECT_TRUE(traces.ends("Sm", 5, "RP 10.1.1.1 to expire now since holdtime is 0"));
}

TEST_F(BsmBuildTest, NoMoreRpsAreAnnouncedThanTheCountCanSay) {
  for (const auto& rp : rps(300)) rpIs(rp.address, 150);
  EXPECT_EQ(entry(0).rpCount(), 255);
  EXPECT_EQ(entry(0).rpList().size(), 255U);
}

}  // namespace
}  // namespace Routing::Pim::Bsr
