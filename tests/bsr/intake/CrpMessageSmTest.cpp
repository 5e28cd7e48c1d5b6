#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "bsr/intake/CrpMessageSm.h"
#include "platform/pim/PimCodec.h"
#include "tests/bsr/NeighborFixture.h"

// The gate for candidate-RP advertisements of a router at 10.0.0.1. What passes it is written down
// range by range as the engine reads it.

namespace Routing::TestKit {

// A way to the private flag, for a moment that no caller can meet.
template <auto Member>
struct FlagDoor {
  friend bool& initializedOf(Bsr::CrpMessageSm& machine) { return machine.*Member; }
};
bool& initializedOf(Bsr::CrpMessageSm& machine);

namespace {

using Pim::CrpAdvMessage;
using Pim::ForwardingKind;

/// An advertisement of 10.9.9.9 with priority 7 and hold time 200.
CrpAdvMessage adv(const std::vector<const char*>& ranges) {
  CrpAdvMessage message;
  message.rpAddressIs(addr("10.9.9.9"));
  message.priorityIs(7);
  message.holdtimeIs(200);
  message.prefixCountIs(static_cast<std::uint8_t>(ranges.size()));
  for (const char* range : ranges) message.groupData().emplace_back(prefix(range));
  return message;
}

struct CrpMessageSmTest : TracedTest {
  CrpMessageSmTest() {
    const auto channel = router.instance->crpMsgStatus();
    router.ucastRoutes->routeIs(prefix("10.0.0.1/32"), {ForwardingKind::local});
    read_ = channel->readCountReactor([this, channel = channel.get()] {
      std::ostringstream line;
      line << *channel->groupInfo() << " of " << channel->rp() << " priority "
           << channel->priority() << " hold " << channel->holdTime() << " for " << channel->bsrIp();
      handed_.push_back(line.str());
    });
  }

  void hear(const CrpAdvMessage& message, const std::string& source = "10.50.0.1",
            const std::string& destination = "10.0.0.1") {
    Octets octets;
    ASSERT_TRUE(Pim::encode(message, addr(source), addr(destination), octets));
    router.hear("eth0", source, destination, octets);
  }
  /// Has a message sent as this router's advertiser does.
  void send(const std::string& bsr, CrpAdvMessage message = adv({"225.0.0.0/8"})) {
    const auto channel = router.instance->crpMsgStatus();
    message.sourceIs(addr("10.0.0.1"));
    message.destinationIs(addr(bsr));
    channel->txCrpMsgIs(std::make_shared<CrpAdvMessage>(std::move(message)));
    channel->writeCountInc();
  }
  void permitOnly(const std::vector<const char*>& prefixes) {
    router.status->crpPermitDelAll();
    for (const char* each : prefixes) router.status->crpPermitIs(prefix(each), true);
  }
  Lines handed() { return std::exchange(handed_, {}); }
  /// "RX RXCRP SUCCESS ERROR FILTER | TX SUCCESS ERROR"
  std::string counts() {
    const Bsr::PimBsrCounters& c = router.counters();
    EXPECT_EQ(c.rxCrpAdvSuccess(), c.rxSuccess());
    EXPECT_EQ(c.rxCrpAdvError(), c.rxError());
    std::ostringstream text;
    text << c.rx() << ' ' << c.rxCrpAdv() << ' ' << c.rxSuccess() << ' ' << c.rxError() << ' '
         << c.errCounters().rxFilter() << " | " << c.tx() << ' ' << c.txSuccess() << ' '
         << c.txError();
    return text.str();
  }
  bool local(const char* address) { return machine().isLocalHost(addr(address)); }
  Bsr::CrpMessageSm& machine() { return router.instance->crpIntake(); }
  void expectTraced(const Lines& lines) { TracedTest::expectTraced(lines, "IO"); }

  VirtualWorld world;
  BsrRouter router{AddressFamily::ipv4, world.wheel};

 private:
  Lines handed_;
  Subscription read_;
};

// --- receiving --------------------------------------------------------------------------------

TEST_F(CrpMessageSmTest, EveryRangeIsHandedOverByItself) {
  hear(adv({"225.0.0.0/8", "226.0.0.0/8", "225.0.0.0/8"}));
  EXPECT_EQ(handed(), (Lines{"225.0.0.0/8 of 10.9.9.9 priority 7 hold 200 for 10.0.0.1",
                             "226.0.0.0/8 of 10.9.9.9 priority 7 hold 200 for 10.0.0.1",
                             "225.0.0.0/8 of 10.9.9.9 priority 7 hold 200 for 10.0.0.1"}));
  hear(adv({}));
  EXPECT_EQ(handed(), Lines{"224.0.0.0/4 of 10.9.9.9 priority 7 hold 200 for 10.0.0.1"});
  expectTraced(
      {"4 RX - Accepted CrpAdv from 10.50.0.1",
       "1 RX - Received CRP Advertisement with 0 groups. Assuming 224.0.0.0/4 or ff00::/8"});
}

TEST_F(CrpMessageSmTest, OnlyPermittedSourcesPass) {
  permitOnly({"10.50.0.0/24", "10.60.0.1/32"});
  hear(adv({"225.0.0.0/8"}), "10.50.0.77");
  hear(adv({"225.0.0.0/8"}), "10.60.0.1");
  EXPECT_EQ(handed().size(), 2u);
  const auto before = router.instance->crpMsgStatus()->rxCrpMsg();
  hear(adv({"225.0.0.0/8", "226.0.0.0/8"}), "10.60.0.2");
  hear(adv({"225.0.0.0/8"}), "10.9.9.9");
  EXPECT_EQ(handed(), Lines{}) << "by the source, not by the RP";
  EXPECT_EQ(router.instance->crpMsgStatus()->rxCrpMsg(), before) << "nothing is touched";
  EXPECT_EQ(counts(), "4 4 2 4 2 | 0 0 0") << "two dropped, two of ranges without a BSR";
  expectTraced({"1 RX - Dropping CRP Adv since Crp Adv Message from 10.60.0.2 is not permitted"});
  router.status->crpPermitIs(prefix("10.60.0.2/32"), true);
  hear(adv({"225.0.0.0/8"}), "10.60.0.2");
  EXPECT_EQ(handed().size(), 1u) << "the filter follows the configuration";
  permitOnly({});
  hear(adv({"225.0.0.0/8"}), "10.50.0.77");
  EXPECT_EQ(handed(), Lines{}) << "an empty filter permits nobody";
}

// The advertisements themselves are taken, though no BSR here wants their ranges.
TEST_F(CrpMessageSmTest, EachMessageIsCountedOnceWhateverBecomesOfItsRanges) {
  router.status->countersDel();
  router.status->countersIs("anew");
  hear(adv({"225.0.0.0/8", "226.0.0.0/8"}));
  EXPECT_EQ(counts(), "1 1 1 1 0 | 0 0 0");
  EXPECT_EQ(router.counters().errCounters().rxScopeMismatch(), 1u);
  router.status->countersDel();
  hear(adv({"225.0.0.0/8"}));
  EXPECT_EQ(handed().size(), 3u) << "and without counters it works the same";
}

TEST_F(CrpMessageSmTest, OnlyTheCountBringsAMessage) {
  const auto info = router.pim.pamManager()->crpRxInfo();
  auto message = std::make_shared<CrpAdvMessage>(adv({"225.0.0.0/8"}));
  message->sourceIs(addr("10.50.0.1"));
  message->destinationIs(addr("10.0.0.1"));
  info->messageIs(message);
  EXPECT_EQ(handed(), Lines{});
  info->countInc(1);
  EXPECT_EQ(handed().size(), 1u);
  info->countInc(1);
  EXPECT_EQ(handed().size(), 1u) << "the same object once more is a second message";
  info->messageIs(nullptr);
  info->countInc(1);
  info->messageIs(Bsm("192.0.2.9").make());
  info->countInc(1);
  machine().handleCRPAdv(nullptr);
  EXPECT_EQ(counts().substr(0, 3), "2 2") << "what is no advertisement is not counted as one";
}

// --- sending ----------------------------------------------------------------------------------

TEST_F(CrpMessageSmTest, AMessageToAnotherRouterIsRoutedThere) {
  router.pim.pamManager()->crpTxInfo()->intfIdIs(IntfId("eth7"));
  send("192.0.2.9");
  const auto sent = router.sentAdvs();
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].intf, "") << "whatever interface was used before";
  EXPECT_EQ(sent[0].adv->destination(), addr("192.0.2.9"));
  EXPECT_EQ(sent[0].adv->source(), addr("10.0.0.1"));
  EXPECT_EQ(handed(), Lines{});
  EXPECT_EQ(counts(), "0 0 0 0 0 | 1 1 0");
  router.mute = true;
  send("192.0.2.9");
  EXPECT_EQ(counts(), "0 0 0 0 0 | 2 1 1");
  expectTraced({"1 TX - Error sending CRP Advertisement"});
}

TEST_F(CrpMessageSmTest, AMessageToThisRouterIsTakenInDirectly) {
  router.candidateBsrIs("224.0.0.0/4", "10.0.0.1");
  world.runUntil(5);
  send("10.0.0.1");
  EXPECT_TRUE(router.sentAdvs().empty());
  EXPECT_EQ(handed(), Lines{"225.0.0.0/8 of 10.9.9.9 priority 7 hold 200 for 10.0.0.1"});
  EXPECT_EQ(counts(), "1 1 1 0 0 | 0 1 0") << "sent, though not by the packet layer";
  expectTraced({"1 TX - Sending CRP Advertisement locally"});
  permitOnly({"10.50.0.0/24"});
  send("10.0.0.1");
  EXPECT_EQ(handed(), Lines{}) << "the filter is for this router too";
  EXPECT_EQ(counts(), "2 2 1 1 1 | 0 2 0");
}

TEST_F(CrpMessageSmTest, NothingIsSentBeforeInitialisation) {
  initializedOf(machine()) = false;
  send("192.0.2.9");
  send("10.0.0.1");
  EXPECT_TRUE(router.sentAdvs().empty());
  EXPECT_EQ(counts(), "0 0 0 0 0 | 0 0 0");
  expectTraced({"4 Uninitialized. Not Sending"});
  hear(adv({"225.0.0.0/8"}));
  EXPECT_EQ(handed(), Lines{});
}

// --- whose address it is ----------------------------------------------------------------------

TEST_F(CrpMessageSmTest, OnlyALocalHostRouteMakesAnAddressLocal) {
  const auto routes = router.ucastRoutes;
  EXPECT_TRUE(local("10.0.0.1"));
  EXPECT_FALSE(local("10.0.0.2")) << "no route";
  routes->routeIs(prefix("0.0.0.0/0"), {ForwardingKind::remote});
  routes->routeIs(prefix("10.0.0.0/24"), {ForwardingKind::connected});
  routes->routeIs(prefix("10.0.0.3/32"), {ForwardingKind::remote});
  routes->routeIs(prefix("10.0.0.4/32"), {ForwardingKind::connected});
  routes->routeIs(prefix("127.0.0.0/8"), {ForwardingKind::local});
  EXPECT_TRUE(local("10.0.0.1"));
  for (const char* other : {"10.0.0.2", "10.0.0.3", "10.0.0.4", "127.0.0.1", "192.0.2.9"}) {
    EXPECT_FALSE(local(other)) << other;
  }
  routes->routeDel(prefix("10.0.0.1/32"));
  EXPECT_FALSE(local("10.0.0.1")) << "the address is gone, its subnet is not";
  EXPECT_FALSE(local("2001:db8::1")) << "no route of another family";
}

TEST_F(CrpMessageSmTest, WhatHasNoFamilyIsAProgrammingError) {
  EXPECT_NE(refusal([&] { machine().isLocalHost(IpGenAddr{}); }), "none");
  const auto build = [&](std::shared_ptr<Bsr::Status> status,
                         std::shared_ptr<Pim::PimUcastRouteStatus> routes) {
    return refusal([&] {
      Bsr::CrpMessageSm(router.pim.pamManager(), std::move(status),
                        std::make_shared<Bsr::PimCrpMsgStatus>(),
                        std::make_shared<Pim::MessageInfo>(), std::move(routes));
    });
  };
  EXPECT_EQ(build(std::make_shared<Bsr::Status>(VrfName("default")), router.ucastRoutes),
            "0 && \"Address Family unknown\"");
  EXPECT_EQ(build(nullptr, router.ucastRoutes), "bsrStatus()");
  EXPECT_EQ(build(router.status, nullptr), "ucastRouteStatus()");
}

TEST_F(CrpMessageSmTest, IPv6HasAFilterAndAGlobalZoneOfItsOwn) {
  BsrRouter six(AddressFamily::ipv6, world.wheel);
  EXPECT_EQ(machine().crpPermitTrie().name(), "CrpPermitTrie");
  EXPECT_EQ(six.instance->crpIntake().crpPermitTrie().name(), "CrpPermitTrie6");
  CrpAdvMessage message;
  message.rpAddressIs(addr("2001:db8::1"));
  message.holdtimeIs(200);
  Octets octets;
  ASSERT_TRUE(Pim::encode(message, addr("2001:db8::1"), addr("2001:db8::9"), octets));
  six.hear("", "2001:db8::1", "2001:db8::9", octets);
  const auto channel = six.instance->crpMsgStatus();
  EXPECT_EQ(channel->groupInfo()->groupInfo(), prefix("ff00::/8"));
  EXPECT_EQ(channel->bsrIp(), addr("2001:db8::9"));
  six.status->crpPermitDel(prefix("::/0"));
  six.status->crpPermitIs(prefix("2001:db8:1::/48"), true);
  six.hear("", "2001:db8::1", "2001:db8::9", octets);
  EXPECT_EQ(six.counters().errCounters().rxFilter(), 1u);
}

}  // namespace

template struct FlagDoor<&Bsr::CrpMessageSm::initialized_>;

}  // namespace Routing::TestKit
