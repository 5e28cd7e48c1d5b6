#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "agent/control/ControlCommands.h"
#include "agent/control/Show.h"
#include "platform/time/Clock.h"
#include "tests/agent/control/FakeAgent.h"

namespace Routing::Agent {
namespace {

using Pim::PimMode;
using Pim::Bsr::BsrCandidateState;

class Show : public testing::Test {
 protected:
  /// The data of an answer.
  Json show(const std::string& topic, const std::string& group = {},
            AddressFamily af = AddressFamily::ipv4) {
    const ControlRequest request{.topic = topic, .af = af, .group = group};
    return Json::parse(answerLine(agent_.target(), request)).at("data");
  }

  FakeAgent agent_;
  FakeInstance& v4_ = agent_.add("default", AddressFamily::ipv4);
  FakeInstance& v6_ = agent_.add("default", AddressFamily::ipv6);
};

TEST_F(Show, ListsTheGlobalZoneEvenWhenNothingIsKnown) {
  const Json expected = {
      {"vrf", "default"},
      {"address-family", "ipv6"},
      {"zones",
       {{{"zone", "ff00::/8"}, {"scope", "global"}, {"bsr", nullptr}, {"candidate", nullptr}}}}};
  EXPECT_EQ(expected, show("bsr", {}, AddressFamily::ipv6));
}

TEST_F(Show, TellsTheElectedBsrOfEachZone) {
  v4_.addBsr("224.0.0.0/4", "10.0.0.1");
  v4_.addBsr("239.1.0.0/16", "10.0.0.2").expiryTimeIs(never);
  const Json zones = show("bsr").at("zones");
  ASSERT_EQ(2u, zones.size());
  const Json expected = {{"address", "10.0.0.1"},    {"priority", 64},    {"hash-mask-length", 30},
                         {"local", false},           {"up-time", 3600.0}, {"expiration", 103.0},
                         {"next-bootstrap", nullptr}};
  EXPECT_EQ(expected, zones[0].at("bsr"));
  EXPECT_EQ("admin", zones[1].at("scope"));
  EXPECT_TRUE(zones[1].at("bsr").at("expiration").is_null());
}

TEST_F(Show, NamesEveryStateOfACandidate) {
  const auto candidate = v4_.status->newCbsr(prefix("239.0.0.0/8"));
  const std::pair<BsrCandidateState, const char*> states[] = {
      {BsrCandidateState::noInfoBsr, "no-info"},
      {BsrCandidateState::cBsr, "candidate"},
      {BsrCandidateState::pBsr, "pending"},
      {BsrCandidateState::eBsr, "elected"}};
  for (const auto& [state, name] : states) {
    candidate->stateIs(state);
    const Json expected = {
        {"state", name},       {"address", nullptr},          {"interface", nullptr},
        {"priority", nullptr}, {"hash-mask-length", nullptr}, {"interval", nullptr}};
    EXPECT_EQ(expected, show("bsr").at("zones")[1].at("candidate"));
  }
}

TEST_F(Show, CountsDownToTheNextMessageWhereThisRouterIsTheBsr) {
  v4_.addBsr("224.0.0.0/4", "10.0.0.9");
  const auto candidate = v4_.status->newCbsr(prefix("224.0.0.0/4"));
  candidate->addressIs(addr("10.0.0.9"));
  candidate->intfIdIs(IntfId("lo"));
  candidate->priorityIs(64);
  candidate->hashMaskLenIs(30);
  candidate->bsPeriodIs(60);
  candidate->electedIs(true);
  const Json zone = show("bsr").at("zones")[0];
  EXPECT_EQ(true, zone.at("bsr").at("local"));
  EXPECT_EQ(103.0, zone.at("bsr").at("next-bootstrap"));
  EXPECT_TRUE(zone.at("bsr").at("expiration").is_null());
  EXPECT_EQ(60, zone.at("candidate").at("interval"));
  EXPECT_EQ("lo", zone.at("candidate").at("interface"));
}

TEST_F(Show, KeepsZonesWhoseBsrIsGone) {
  v4_.addRp("239.1.0.0/16", "239.1.0.0/16", "10.0.0.5", 0, 4000, 5010);
  v4_.status->zoneGroupIs(prefix("239.2.0.0/16"), IntfId("eth0"));
  const Json zones = show("bsr").at("zones");
  ASSERT_EQ(3u, zones.size());
  EXPECT_EQ("239.1.0.0/16", zones[1].at("zone"));
  EXPECT_TRUE(zones[1].at("bsr").is_null());
  EXPECT_EQ("239.2.0.0/16", zones[2].at("zone"));
}

TEST_F(Show, TellsZoneSetsApartFromTheMappingsInUse) {
  v4_.addRp("224.0.0.0/4", "225.0.0.0/8", "10.0.0.5", 7, 4000, 5010);
  v4_.addMapping("226.0.0.0/8", "10.0.0.6", 256).modeIs(PimMode::bidirectional);
  v4_.status->newCrpStatus(prefix("239.0.0.0/8"));  // without a set: not there yet
  const Json data = show("rp-set");
  const Json expected = {{"rp-address", "10.0.0.5"}, {"priority", 7},          {"holdtime", 150},
                         {"mode", "sparse"},         {"hash-mask-length", 30}, {"up-time", 1000.0},
                         {"expiration", 10.0}};
  ASSERT_EQ(1u, data.at("zones").size());
  const Json groups = data.at("zones")[0].at("groups");
  ASSERT_EQ(1u, groups.size());
  EXPECT_EQ("225.0.0.0/8", groups[0].at("group-range"));
  EXPECT_EQ(Json::array({expected}), groups[0].at("rps"));
  EXPECT_EQ("bsr", data.at("mappings").at("source"));
  const Json mappings = data.at("mappings").at("groups");
  ASSERT_EQ(2u, mappings.size());
  EXPECT_EQ("bidirectional", mappings[1].at("rps")[0].at("mode"));
  EXPECT_TRUE(mappings[1].at("rps")[0].at("priority").is_null());
}

TEST_F(Show, TellsOnlyOfferedHelloOptionsOfANeighbour) {
  const auto intf = v6_.pimStatus->newPimIntf(IntfId("eth1"));
  const auto neighbor = intf->newNeighbor(addr("fe80::2"));
  neighbor->setupTimeIs(4900);
  neighbor->expiryTimeIs(never);
  neighbor->holdtimeIs(65535);
  neighbor->drPriorityIs(9);
  neighbor->generationIdIs(17);
  neighbor->secondaryAddressIs(addr("2001:db8::2"), true);
  Json expected = {{"interface", "eth1"},        {"address", "fe80::2"},
                   {"up-time", 100.0},           {"expiration", nullptr},
                   {"holdtime", 65535},          {"dr", false},
                   {"dr-priority", nullptr},     {"gen-id", nullptr},
                   {"lan-prune-delay", nullptr}, {"secondary-addresses", {"2001:db8::2"}}};
  EXPECT_EQ(expected, show("neighbor", {}, AddressFamily::ipv6).at("neighbors")[0]);

  neighbor->drPriorityPresentIs(true);
  neighbor->generationIdPresentIs(true);
  neighbor->lanPruneDelayPresentIs(true);
  neighbor->propagationDelayIs(500);
  neighbor->overrideIntervalIs(2500);
  intf->usedDrIs(addr("fe80::2"));
  expected["dr"] = true;
  expected["dr-priority"] = 9;
  expected["gen-id"] = 17;
  expected["lan-prune-delay"] = {
      {"t-bit", false}, {"propagation-delay", 500}, {"override-interval", 2500}};
  EXPECT_EQ(expected, show("neighbor", {}, AddressFamily::ipv6).at("neighbors")[0]);
}

TEST_F(Show, TellsAllCountersAndClearsThoseOfThePacketLayer) {
  auto& bsr = *v4_.status->counters();
  bsr.rxIs(10);
  bsr.rxBsmIs(9);
  bsr.rxBsmErrorIs(2);
  Pim::Bsr::PimBsrErrorCounters errors;
  errors.rxNbrRpfCheckIs(2);
  bsr.errCountersIs(errors);
  v4_.pamManager->counters()->rxHelloIs(5);
  v4_.pamManager->counters()->rxDroppedInc("bad-checksum");
  v4_.limits->refusedRpsIs(3);
  Json data = show("counters");
  EXPECT_EQ(10, data.at("bsr").at("received").at("all"));
  const Json bsm = {{"all", 9}, {"success", 0}, {"error", 2}};
  EXPECT_EQ(bsm, data.at("bsr").at("received-bsm"));
  EXPECT_EQ(2, data.at("bsr").at("receive-errors").at("neighbor-rpf-check"));
  EXPECT_EQ(5, data.at("messages").at("received").at("hello"));
  EXPECT_EQ(Json({{"bad-checksum", 1}}), data.at("messages").at("dropped"));
  EXPECT_EQ(Json({{"limit", 65536}, {"refused", 3}}), data.at("limits").at("rps"));

  answerLine(agent_.target(), {.command = ControlRequest::Command::clear, .topic = "counters"});
  data = show("counters");
  EXPECT_EQ(0, data.at("messages").at("received").at("hello"));
  EXPECT_TRUE(data.at("messages").at("dropped").empty());
  EXPECT_EQ(10, data.at("bsr").at("received").at("all"));
}

TEST_F(Show, SurvivesNamesThatAreNoUtf8) {
  v4_.pimStatus->newPimIntf(IntfId("eth\xff"));
  EXPECT_EQ("eth\xef\xbf\xbd", show("interface").at("interfaces")[0].at("interface"));
  EXPECT_TRUE(show("status").at("pim").is_string());
}

}  // namespace
}  // namespace Routing::Agent
