#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "agent/control/ControlCommands.h"
#include "ctl/Render.h"
#include "platform/time/Clock.h"
#include "tests/agent/control/FakeAgent.h"

namespace Routing::Ctl {
namespace {

using Agent::addr;
using Agent::prefix;
using Pim::PimMode;

/// The text for what the daemon answers, each with an empty line before it.
class RenderTest : public testing::Test {
 protected:
  std::string show(const std::string& topic, const std::string& group = {}) {
    const auto af = v6Asked_ ? AddressFamily::ipv6 : AddressFamily::ipv4;
    const std::string line =
        answerLine(agent_.target(), {.topic = topic, .af = af, .group = group});
    return "\n" + render(topic, Json::parse(line).at("data"));
  }

  Agent::FakeAgent agent_;
  Agent::FakeInstance& v4_ = agent_.add("default", AddressFamily::ipv4);
  Agent::FakeInstance& v6_ = agent_.add("default", AddressFamily::ipv6);
  bool v6Asked_ = false;
};

TEST_F(RenderTest, Bsr) {
  v4_.addBsr("224.0.0.0/4", "10.0.0.1");
  const auto candidate = v4_.status->newCbsr(prefix("224.0.0.0/4"));
  candidate->addressIs(addr("10.0.0.9"));
  candidate->intfIdIs(IntfId("lo"));
  candidate->priorityIs(10);
  candidate->hashMaskLenIs(30);
  candidate->bsPeriodIs(60);
  candidate->stateIs(Pim::Bsr::BsrCandidateState::pBsr);
  v4_.status->zoneGroupIs(prefix("239.1.0.0/16"), IntfId("eth0"));
  EXPECT_EQ(R"(
PIM bootstrap routers, VRF default, IPv4

Zone 224.0.0.0/4 (global)
  BSR:        10.0.0.1
  Priority:   64
  Hash mask:  30
  Uptime:     01:00:00
  Expires:    00:01:43
  Candidate:  pending, 10.0.0.9 on lo, priority 10, hash mask 30, interval 60 s

Zone 239.1.0.0/16 (admin-scoped)
  No BSR is known
)",
            show("bsr"));
}

TEST_F(RenderTest, BsrOnTheBsrItself) {
  v6_.addBsr("ff00::/8", "2001:db8::1").setupTimeIs(1);
  const auto candidate = v6_.status->newCbsr(prefix("ff00::/8"));
  candidate->electedIs(true);
  candidate->stateIs(Pim::Bsr::BsrCandidateState::eBsr);
  v6Asked_ = true;
  EXPECT_EQ(R"(
PIM bootstrap routers, VRF default, IPv6

Zone ff00::/8 (global)
  BSR:        2001:db8::1 (this router)
  Priority:   64
  Hash mask:  126
  Uptime:     01:23:19
  Next BSM:   00:01:43
  Candidate:  elected, - on -, priority -, hash mask -, interval - s
)",
            show("bsr"));
}

TEST_F(RenderTest, RpSet) {
  v4_.addRp("224.0.0.0/4", "224.0.0.0/4", "10.0.0.5", 192, 4000, 5010);
  v4_.addRp("224.0.0.0/4", "224.0.0.0/4", "192.168.100.200", 1, -400'000, 5150.5);
  v4_.addMapping("239.1.0.0/16", "10.0.0.6", 0).modeIs(PimMode::bidirectional);
  EXPECT_EQ(R"(
PIM RP set, VRF default, IPv4

Zone 224.0.0.0/4 (global)
  Group range  RP               Mode    Priority  Hash mask  Holdtime     Uptime   Expires
  224.0.0.0/4  10.0.0.5         sparse       192         30       150   00:16:40  00:00:10
  224.0.0.0/4  192.168.100.200  sparse         1         30       150  112:30:00  00:02:30

Mappings in use (source: bsr)
  Group range   RP               Mode           Priority  Hash mask  Holdtime     Uptime   Expires
  224.0.0.0/4   10.0.0.5         sparse              192         30       150   00:16:40  00:00:10
  224.0.0.0/4   192.168.100.200  sparse                1         30       150  112:30:00  00:02:30
  239.1.0.0/16  10.0.0.6         bidirectional         0         30       150   01:23:20  00:00:00
)",
            show("rp-set"));
}

TEST_F(RenderTest, RpHash) {
  v4_.addMapping("224.0.0.0/4", "10.0.0.9", 0);
  v4_.addMapping("239.1.0.0/16", "10.0.0.1", 10);
  v4_.addMapping("239.1.0.0/16", "10.0.0.2", 10);
  EXPECT_EQ(R"(
RP for group 239.1.1.1, VRF default, IPv4

  Group range   RP        Mode    Priority  Hash mask        Hash  Outcome
  239.1.0.0/16  10.0.0.1  sparse        10         30  1679372561  selected
  239.1.0.0/16  10.0.0.2  sparse        10         30   694951000  lost: higher hash value of 10.0.0.1
  224.0.0.0/4   10.0.0.9  sparse         0         30  1441185193  lost: longer group range 239.1.0.0/16 of 10.0.0.1

RP 10.0.0.1 serves group 239.1.1.1: highest hash value.
)",
            show("rp-hash", "239.1.1.1"));
}

TEST_F(RenderTest, Neighbors) {
  const auto eth0 = v6_.pimStatus->newPimIntf(IntfId("eth0"));
  eth0->usedDrIs(addr("fe80::22"));
  const auto full = eth0->newNeighbor(addr("fe80::22"));
  full->setupTimeIs(4900);
  full->expiryTimeIs(5105);
  full->drPriorityPresentIs(true);
  full->generationIdPresentIs(true);
  full->generationIdIs(0xdeadbee);
  full->secondaryAddressIs(addr("2001:db8::22"), true);
  full->secondaryAddressIs(addr("2001:db8:1::22"), true);
  const auto bare = v6_.pimStatus->newPimIntf(IntfId("wan\x1b[2J"))->newNeighbor(addr("fe80::3"));
  bare->setupTimeIs(5000);
  bare->expiryTimeIs(never);
  v6Asked_ = true;
  EXPECT_EQ(R"(
PIM neighbors, VRF default, IPv6

Interface  Neighbor    Uptime   Expires  DR priority  Generation ID  DR   Secondary addresses
eth0       fe80::22  00:01:40  00:01:45            1  0x0deadbee     yes  2001:db8::22, 2001:db8:1::22
wan?[2J    fe80::3   00:00:00     never            -  -              no   -
)",
            show("neighbor"));
  v6Asked_ = false;
  EXPECT_EQ("\nPIM neighbors, VRF default, IPv4\n\nNo neighbors\n", show("neighbor"));
}

TEST_F(RenderTest, Interfaces) {
  const auto eth0 = v4_.pimStatus->newPimIntf(IntfId("eth0"));
  eth0->upIs(true);
  eth0->addressIs(addr("10.0.1.1"));
  eth0->usedDrIs(addr("10.0.1.1"));
  eth0->isDrIs(true);
  eth0->drPriorityIs(100);
  eth0->generationIdIs(1);
  eth0->triggeredHelloSentIs(2);
  eth0->newNeighbor(addr("10.0.1.2"));
  v4_.pimStatus->newPimIntf(IntfId("eth1"));
  agent_.interfaces->newIntfStatus(IntfId("eth0"))->mtuIs(1500);
  EXPECT_EQ(R"(
PIM interfaces, VRF default, IPv4

Interface  State  Address   DR                      DR priority  Generation ID  Neighbors  Triggered hellos   MTU
eth0       up     10.0.1.1  10.0.1.1 (this router)          100  0x00000001             1                 2  1500
eth1       down   -         -                                 1  0x00000000             0                 0     -
)",
            show("interface"));
}

TEST_F(RenderTest, Counters) {
  auto& bsr = *v4_.status->counters();
  bsr.rxIs(120);
  bsr.rxSuccessIs(118);
  bsr.rxErrorIs(2);
  bsr.rxBsmIs(120);
  bsr.rxBsmSuccessIs(118);
  bsr.rxBsmErrorIs(2);
  bsr.txIs(7);
  bsr.txSuccessIs(7);
  Pim::Bsr::PimBsrErrorCounters errors;
  errors.rxNbrRpfCheckIs(2);
  bsr.errCountersIs(errors);
  v4_.pamManager->counters()->rxHelloIs(40);
  v4_.pamManager->counters()->rxBootstrapIs(120);
  v4_.pamManager->counters()->txBootstrapIs(7);
  v4_.pamManager->counters()->rxDroppedInc("not-a-neighbor");
  v4_.limits->refusedRpsIs(3);
  EXPECT_EQ(R"(
PIM counters, VRF default, IPv4

BSR mechanism
  Messages                      All  Good  Error
  Received                      120   118      2
    Bootstrap                   120   118      2
    Candidate-RP advertisement    0     0      0
  Sent                            7     7      0

  Receive errors      Count
  filter                  0
  invalid                 0
  neighbor-rpf-check      2
  no-forward              0
  scope-mismatch          0
  unicast                 0

Packet layer
  Messages                    Received  Sent
  Hello                             40     0
  Bootstrap                        120     7
  Candidate-RP advertisement         0     0
  Other                              0     -
  Could not be sent                  -     0

  Dropped         Count
  not-a-neighbor      1

Limits
  Learned from neighbors   Limit  Refused
  Zones                     1024        0
  Group ranges             16384        0
  RPs                      65536        3
  Incomplete group ranges   4096        0
)",
            show("counters"));
}

TEST(Render, RefusesAnAnswerOfAnotherShape) {
  EXPECT_THROW(render("bsr", Json::object()), Json::exception);
  EXPECT_THROW(render("rp-set", {{"vrf", 1}, {"address-family", 2}}), Json::exception);
}

}  // namespace
}  // namespace Routing::Ctl
