#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
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

std::string golden(const std::string& name) {
  std::ifstream stream(PIMBSR_SOURCE_DIR "/tests/data/ctl/" + name);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// What the daemon answers and the text that the client makes of it, each in a file of
/// tests/data/ctl.
class RenderTest : public testing::Test {
 protected:
  void expect(const std::string& name, const std::string& topic, const std::string& group = {}) {
    const auto af = v6Asked_ ? AddressFamily::ipv6 : AddressFamily::ipv4;
    const std::string line =
        answerLine(agent_.target(), {.topic = topic, .af = af, .group = group});
    const Json data = Json::parse(line).at("data");
    EXPECT_EQ(Json::parse(golden(name + ".json")), data);
    EXPECT_EQ(golden(name + ".txt"), render(topic, data));
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
  v4_.addBsr("239.2.0.0/16", "10.0.0.2").expiryTimeIs(4999);
  v4_.addRp("239.3.0.0/16", "239.3.0.0/16", "10.0.0.5", 0, 4000, 5010);
  v4_.zoneExpiry[prefix("239.4.0.0/16")] = 5700;
  expect("bsr", "bsr");
}

TEST_F(RenderTest, BsrOfAGlobalZoneWhereNothingIsKnown) {
  agent_.drained.drained = {.bsr = true, .rp = true};
  v6Asked_ = true;
  expect("bsr-unknown", "bsr");
}

TEST_F(RenderTest, BsrOnTheBsrItself) {
  v6_.addBsr("ff00::/8", "2001:db8::1").setupTimeIs(1);
  const auto candidate = v6_.status->newCbsr(prefix("ff00::/8"));
  candidate->electedIs(true);
  candidate->stateIs(Pim::Bsr::BsrCandidateState::eBsr);
  v6Asked_ = true;
  expect("bsr-itself", "bsr");
}

TEST_F(RenderTest, RpSet) {
  v4_.addRp("224.0.0.0/4", "224.0.0.0/4", "10.0.0.5", 192, 4000, 5010);
  v4_.addRp("224.0.0.0/4", "224.0.0.0/4", "192.168.100.200", 1, -400'000, 5150.5);
  v4_.status->newCrpStatus(prefix("239.0.0.0/8"));  // without a set: not there yet
  v4_.addMapping("239.1.0.0/16", "10.0.0.6", 256).modeIs(PimMode::bidirectional);
  expect("rp-set", "rp-set");
}

TEST_F(RenderTest, RpHash) {
  v4_.addMapping("224.0.0.0/4", "10.0.0.9", 0);
  v4_.addMapping("239.1.0.0/16", "10.0.0.1", 10);
  v4_.addMapping("239.1.0.0/16", "10.0.0.2", 10);
  expect("rp-hash", "rp-hash", "239.1.1.1");
  expect("rp-hash-source-specific", "rp-hash", "232.1.1.1");
  expect("rp-hash-unicast", "rp-hash", "10.1.1.1");
  v6_.addMapping("ff0e::/16", "2001:db8::1", 0);
  v6_.addMapping("ff70::/12", "2001:db8::1", 0);
  v6Asked_ = true;
  expect("rp-hash-embedded", "rp-hash", "ff7e:140:2001:db8:beef:feed::1234");
  expect("rp-hash-embedded-unusable", "rp-hash", "ff70::1");
  expect("rp-hash-not-covered", "rp-hash", "ff05::1");
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
  full->lanPruneDelayPresentIs(true);
  full->propagationDelayIs(500);
  full->overrideIntervalIs(2500);
  full->secondaryAddressIs(addr("2001:db8::22"), true);
  full->secondaryAddressIs(addr("2001:db8:1::22"), true);
  const auto bare = v6_.pimStatus->newPimIntf(IntfId("wan\x1b[2J"))->newNeighbor(addr("fe80::3"));
  bare->setupTimeIs(5000);
  bare->drPriorityIs(9);
  bare->generationIdIs(17);
  bare->expiryTimeIs(never);
  v6Asked_ = true;
  expect("neighbors", "neighbor");
  v6Asked_ = false;
  expect("no-neighbors", "neighbor");
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
  expect("interfaces", "interface");
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
  expect("counters", "counters");
}

TEST(Render, RefusesAnAnswerOfAnotherShape) {
  EXPECT_THROW(render("bsr", Json::object()), Json::exception);
  EXPECT_THROW(render("rp-set", {{"vrf", 1}, {"address-family", 2}}), Json::exception);
}

}  // namespace
}  // namespace Routing::Ctl
