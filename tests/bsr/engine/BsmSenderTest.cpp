#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bsr/engine/BsmSender.h"
#include "tests/bsr/NeighborFixture.h"

// Where messages go, and in which pieces. Lengths are reckoned as 36 octets and 12 for each range
// and each RP.

namespace Routing::Pim::Bsr {
namespace {

using namespace TestKit;

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

struct BsmSenderTest : NeighborFixture {
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
};

// --- where to ---------------------------------------------------------------------------------

TEST_F(BsmSenderTest, ForwardingTakesEveryInterfaceThatIsFitForIt) {
  linkIs("down");
  router.link("down").upIs(false);
  router.linkIs("alone", "10.0.0.1");
  linkIs("unknown", 0);  // without interface status
  linkIs("nomtu");
  router.mtuIs("nomtu", 0);
  linkIs("border");
  router.borderIs(global, "border");
  linkIs("zoneborder");
  router.borderIs("239.1.0.0/16", "zoneborder");

  EXPECT_EQ(forward(bsm()), (Lines{"eth0 36", "nomtu 36", "zoneborder 36"}));
  EXPECT_EQ(forward(bsm().zone("239.1.0.0/16"), "239.1.0.0/16"),
            (Lines{"eth0 48 239.1.0.0/16:0/0", "nomtu 48 239.1.0.0/16:0/0"}));
  expectTraced({"1 Number of Groups: 1, Total number of RPs: 0", "1 BSM length is 48",
                "8 MTU of interface eth0 is 1500",
                "1  Forwarding BSM to oif=eth0 for zone 239.1.0.0/16"});
}

TEST_F(BsmSenderTest, InterfacesOfOneMtuShareTheFragments) {
  for (const char* intf : {"a", "b", "d"}) linkIs(intf, 576);
  linkIs("c", 1000);
  linkIs("e", 60);
  const auto& channel = router.instance->bsmStatus();
  std::map<std::string, std::vector<std::shared_ptr<BootstrapMessage>>> writes;
  const auto reactor = channel->writeCountReactor(
      [&] { writes[channel->oifIntfId().text()].push_back(channel->txBsm()); });
  const auto message = bsm().group("225.0.0.0/8", rps(100)).make();
  router.engine().forwardBsm(prefix(global), message);
  EXPECT_EQ(writes["eth0"], std::vector{message}) << "the message itself";
  EXPECT_EQ(writes["e"], std::vector{message}) << "too small an MTU to be split for";
  EXPECT_EQ(writes["a"].size(), 3U);
  EXPECT_EQ(writes["a"], writes["b"]) << "the very same objects";
  EXPECT_EQ(writes["a"], writes["d"]);
  EXPECT_EQ(writes["c"].size(), 2U);
  EXPECT_EQ(traces.count("Sm", 1, " fragments to be generated"), 2U);
  expectTraced({"1  Forwarding BSM fragment to oif=c for zone 224.0.0.0/4"});
  EXPECT_EQ(traces.count("Sm", 1, " Forwarding BSM to oif="), 1U) << "eth0, which takes it whole";
}

// --- in which pieces --------------------------------------------------------------------------

struct SplitCase {
  unsigned mtu;  // 0: not known, the family's usual one of 1500
  Bsm message;
  Lines sent;
};

TEST_F(BsmSenderTest, WholeRangesGoFirstAndIntoTheFirstFragmentWithRoom) {
  const auto two = bsm().group("225.0.0.0/8", rps(5)).group("226.0.0.0/8", rps(8));
  const SplitCase cases[] = {
      {35, bsm(), {"eth0 36"}},
      {168, bsm().group("225.0.0.0/8", rps(10)), {"eth0 168 225.0.0.0/8:10/10"}},
      {167,
       bsm().group("225.0.0.0/8", rps(10)),
       {"eth0 156 225.0.0.0/8:9/10", "eth0 60 225.0.0.0/8:1/10"}},
      {0,
       bsm().group("225.0.0.0/8", rps(122)),
       {"eth0 1500 225.0.0.0/8:121/122", "eth0 60 225.0.0.0/8:1/122"}},
      // 225/8 leaves 24 octets, too few to be used, or 25; 226/8 must be split.
      {132,
       two,
       {"eth0 108 225.0.0.0/8:5/5", "eth0 132 226.0.0.0/8:7/8", "eth0 60 226.0.0.0/8:1/8"}},
      {133, two, {"eth0 132 225.0.0.0/8:5/5 226.0.0.0/8:1/8", "eth0 132 226.0.0.0/8:7/8"}},
      {120,
       bsm()
           .group("225.0.0.0/8", rps(4))
           .group("226.0.0.0/8", rps(9))
           .group("227.0.0.0/8", rps(5))
           .group("228.0.0.0/8", rps(1)),
       {"eth0 120 225.0.0.0/8:4/4 228.0.0.0/8:1/1", "eth0 108 227.0.0.0/8:5/5",
        "eth0 120 226.0.0.0/8:6/9", "eth0 84 226.0.0.0/8:3/9"}},
      // A fragment of somebody else goes on as it is, or is split further; what it announces and
      // does not carry takes no room.
      {1500, bsm().piece("225.0.0.0/8", 200, rps(121)), {"eth0 1500 225.0.0.0/8:121/200"}},
      {576,
       bsm().piece("225.0.0.0/8", 200, rps(121)).piece("226.0.0.0/8", 9, rps(2)),
       {"eth0 576 226.0.0.0/8:2/9 225.0.0.0/8:41/200", "eth0 576 225.0.0.0/8:44/200",
        "eth0 480 225.0.0.0/8:36/200"}},
      {120,
       bsm().zone("239.1.0.0/16", rps(8)).group("239.1.2.0/24", rps(3)),
       {"eth0 120 239.1.0.0/16:6/8", "eth0 120 239.1.0.0/16:2/8 239.1.2.0/24:3/3"}},
  };
  for (const SplitCase& each : cases) {
    router.mtuIs("eth0", each.mtu);
    const auto zone = zoneOf(each.message, prefix(global));
    EXPECT_EQ(forward(each.message, zone.text().c_str()), each.sent) << each.mtu;
  }
  EXPECT_EQ(traces.count("Sm", 1, " fragments to be generated"), 8U) << "all but the first two";
  expectTraced({"1  Group-Rp data needs to be split across fragments",
                "1 Length of fragment 0 is 120",
                "1 Fragment 0 to house prefix 228.0.0.0/8 with 1 RPs",
                "1     into fragment 0 1 Rps ( max 1 RPs )"});
  EXPECT_TRUE(traces.contains("Sm", 1, "Splitting fragment for prefix 226.0.0.0/8 containing 8 "));
  EXPECT_TRUE(
      traces.contains("Sm", 1, " does not have space. Required Space:25, Available space:24"));
}

TEST_F(BsmSenderTest, ReckonsWithAHeadForEveryFragmentIfThereIsRoomForAny) {
  struct {
    unsigned mtu;
    bool scoped;
    unsigned rps;
    unsigned estimate;  // 0: too small, left to IP fragmentation
  } const cases[] = {{1500, false, 200, 2}, {576, false, 200, 5}, {100, false, 20, 4},
                     {100, true, 20, 4},    {100, true, 24, 5},   {287, false, 20, 2},
                     {1, false, 3, 0},      {60, false, 3, 0},    {61, false, 3, 2},
                     {72, true, 3, 0},      {73, true, 3, 2}};
  for (const auto& each : cases) {
    SCOPED_TRACE(std::to_string(each.mtu) + " " + std::to_string(each.rps));
    router.mtuIs("eth0", each.mtu);
    traces.clear();
    Bsm message = bsm();
    if (each.scoped) message.zone("239.1.0.0/16");
    const auto lines = forward(message.group("239.1.1.0/24", rps(each.rps)),
                               each.scoped ? "239.1.0.0/16" : global);
    EXPECT_EQ(
        traces.ends("Sm", 1, ")" + std::to_string(each.estimate) + " fragments to be generated"),
        each.estimate != 0);
    EXPECT_EQ(traces.contains("Sm", 1, " of interface eth0 is too small for fragments"),
              each.estimate == 0);
    EXPECT_EQ(lines.size() == 1, each.estimate == 0);
  }
}

// --- zones ------------------------------------------------------------------------------------

TEST_F(BsmSenderTest, AZoneThatIsListedTwiceBeginsEveryFragment) {
  linkIs("eth0", 120);
  auto again = bsm().zone("239.1.0.0/16", rps(5)).piece("239.1.0.0/16", 5, {}).make();
  again->groupRpData()[1].rpListIs(again->groupRpData()[0].rpList());
  again->groupRpData()[1].fragRpCountIs(5);
  router.engine().forwardBsm(prefix("239.1.0.0/16"), again);
  const auto sent = router.sentBsms();
  EXPECT_EQ(sent.size(), 2U);
  for (const auto& each : sent) {
    EXPECT_EQ(zoneOf(*each.bsm, prefix(global)), prefix("239.1.0.0/16")) << bsmText(*each.bsm);
  }
  expectTraced({"1 Adding zone 239.1.0.0/16 information to fragment 1"});
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

// --- triggered messages -----------------------------------------------------------------------

TEST_F(BsmSenderTest, ATriggeredMessageGoesToOneInterfaceWithTheBitAsAsked) {
  for (const char* intf : {"eth0", "eth1"}) linkIs(intf, 100);
  for (const bool bit : {false, true}) {
    traces.clear();
    const auto message = bsm().group("225.0.0.0/8", rps(5)).make();
    router.engine().doSendTriggeredBsm(prefix(global), bit, IntfId("eth1"), message);
    EXPECT_TRUE(message->forward()) << "others may hold it";
    const auto bits = router.sent;
    for (const auto& packet : bits) EXPECT_EQ((packet.payload[1] & 0x80) == 0, bit);
    EXPECT_EQ(sent(), (Lines{"eth1 96 225.0.0.0/8:4/5", "eth1 60 225.0.0.0/8:1/5"}));
    expectTraced({std::string("1 Sending BSM along oif=eth1 for zone 224.0.0.0/4 with forward bit "
                              "set to ") +
                  (bit ? "True" : "False")});
  }
}

TEST_F(BsmSenderTest, ATriggeredMessageStopsAtBorders) {
  linkIs("eth1");
  router.borderIs("239.1.0.0/16", "eth0");
  router.borderIs(global, "eth1");
  const auto send = [&](const char* zone, const char* intf) {
    router.engine().doSendTriggeredBsm(prefix(zone), false, IntfId(intf), bsm().make());
    return router.sentBsms().size();
  };
  EXPECT_EQ(send("239.1.0.0/16", "eth0"), 0U);
  EXPECT_EQ(send("239.1.0.0/16", "eth1"), 0U);
  EXPECT_EQ(send("239.2.0.0/16", "eth0"), 1U);
  EXPECT_EQ(send(global, "eth0"), 1U);
  EXPECT_EQ(send(global, "eth1"), 0U);
}

// --- building the elected BSR's entries -------------------------------------------------------

struct BsmBuildTest : BsmSenderTest {
  BootstrapGroupData entry(std::uint8_t flags, const RpCandidateSet* rps) {
    BootstrapMessage message;
    router.engine().doAddGroupData(message, rps, prefix("225.0.0.0/8"), flags);
    return message.groupRpData().at(0);
  }
  BootstrapGroupData entry(std::uint8_t flags) { return entry(flags, &set); }
  void rpIs(const std::string& address, unsigned hold, PimMode mode = PimMode::sparse) {
    const auto rp = set.newRp(addr(address));
    rp->modeIs(mode);
    rp->priorityIs(RpPriority(192));
    rp->holdTimeIs(CrpHoldTime(hold));
    rp->expiryTimeIs(1000);
  }
  RpCandidateSet set{prefix("225.0.0.0/8")};
};

TEST_F(BsmBuildTest, AnEntryListsItsRpsAndLetsWithdrawnOnesExpire) {
  world.runUntil(7);
  rpIs("10.2.2.2", 0);
  rpIs("10.1.1.1", 150);
  const BootstrapGroupData group = entry(0);
  BootstrapMessage whole;
  whole.groupRpDataAppend(group);
  EXPECT_TRUE(bsmText(whole).ends_with("225.0.0.0/8 0 2/2(10.1.1.1 150 192, 10.2.2.2 0 192)"));
  EXPECT_EQ(set.rp(addr("10.1.1.1"))->expiryTime(), 1000);
  EXPECT_EQ(set.rp(addr("10.2.2.2"))->expiryTime(), 7);
  expectTraced({"8 Adding CRP prefix 225.0.0.0/8 in BSM", "8 RP count in BSM is 2",
                "5 RP 10.2.2.2 to expire now since holdtime is 0"});
}

TEST_F(BsmBuildTest, TheLastRpsModeIsTheRangesAndOtherFlagsStay) {
  EXPECT_EQ(entry(1), BootstrapGroupData(prefix("225.0.0.0/8"), 1));
  EXPECT_EQ(entry(1, nullptr), BootstrapGroupData(prefix("225.0.0.0/8"), 1));
  expectTraced({"8 Adding Zone 225.0.0.0/8"});
  entry(0, nullptr);
  EXPECT_TRUE(traces.contains("Sm", 8, "No zone or CRP set"));
  rpIs("10.1.1.1", 150, PimMode::bidirectional);
  EXPECT_EQ(entry(1).groupFlags(), 0x81);
  EXPECT_EQ(entry(0xff).groupFlags(), 0xff);
  rpIs("10.2.2.2", 150);
  EXPECT_EQ(entry(0).groupFlags(), 0);
  EXPECT_EQ(entry(0xff).groupFlags(), 0x7f);
}

TEST_F(BsmBuildTest, NoMoreRpsAreAnnouncedThanTheCountCanSay) {
  for (const auto& rp : rps(300)) rpIs(rp.address, 150);
  EXPECT_EQ(entry(0).rpCount(), 255);
  EXPECT_EQ(entry(0).rpList().find(addr("10.5.1.100")), nullptr) << "the last ones in order";
  expectTraced({"3 Announcing 255 of 300 RPs of 225.0.0.0/8"});
}

}  // namespace
}  // namespace Routing::Pim::Bsr
