#include <gtest/gtest.h>

#include "agent/apply/ConfigEntities.h"
#include "platform/entity/AttributeLog.h"
#include "tests/agent/apply/RandomConfig.h"
#include "tests/support/Refusal.h"

namespace Routing::Agent {
namespace {

using TestKit::prefix;
using Lines = std::vector<std::string>;

const ConfigEntities::Key defaultIpv4{VrfName("default"), AddressFamily::ipv4};
const ConfigEntities::Key redIpv6{VrfName("red"), AddressFamily::ipv6};

/// Everything that the entities say.
std::string textOf(const ConfigEntities& entities) {
  std::string text;
  for (const AddressFamily af : {AddressFamily::ipv4, AddressFamily::ipv6}) {
    text += treeText(*entities.accessLists(af));
  }
  for (const auto& [key, family] : entities.families()) {
    text += key.first.text() + treeText(*family.config);
    for (const auto& [name, intf] : family.vrfIntfConfig->intfConfig()) {
      text += name + treeText(*intf);
    }
  }
  return text;
}

/// Configuration processing over the entities of the default VRF, IPv4.
class Processing {
 public:
  explicit Processing(const ConfigEntities& entities) {
    const FamilyEntities& family = entities.families().at(defaultIpv4);
    bed_.config = family.config;
    bed_.vrfIntfConfig = family.vrfIntfConfig;
    bed_.clearConfig = family.clearConfig;
    bed_.acls = entities.accessLists(AddressFamily::ipv4);
    bed_.addressIs("eth0", "10.0.0.1");
    bed_.addressIs("eth1", "10.0.1.1");
    bed_.addressIs("eth2", "10.0.2.1");
    bed_.start();
  }
  TestKit::ConfigBed& bed() { return bed_; }

 private:
  TestKit::ConfigBed bed_;
};

/// Every way from one configuration to the next is a way that the library goes along with, and
/// ends where a start would.
TEST(ConfigEntities, ArriveWhereAStartWouldBegin) {
  EXPECT_TRUE(rc::check([] {
    const TestKit::ThrowingAssertions throwing;
    DaemonConfig config = RandomConfig::draw();
    config.vrfs[VrfName("default")][AddressFamily::ipv4];
    ConfigEntities entities;
    entities.configIs(config);
    Processing running(entities);
    for (int reload = 0; reload < 8; ++reload) {
      config = RandomConfig::draw();
      config.vrfs[VrfName("default")][AddressFamily::ipv4];
      entities.configIs(config);
      ConfigEntities fresh;
      fresh.configIs(config);
      RC_ASSERT(textOf(entities) == textOf(fresh));
      RC_ASSERT(running.bed().statusText() == Processing(fresh).bed().statusText());
      RC_ASSERT(running.bed().violations == Lines{});
    }
  }));
}

DaemonConfig twoZones() {
  DaemonConfig config;
  FamilySettings& family = config.vrfs[VrfName("default")][AddressFamily::ipv4];
  family.bsrCandidates["eth0"].zones[prefix("224.0.0.0/4")];
  family.bsrCandidates["eth0"].zones[prefix("239.1.0.0/16")];
  family.rpCandidates["eth0"].ranges[prefix("224.0.0.0/4")];
  return config;
}

TEST(ConfigEntities, AreWrittenOnlyWhereTheyDiffer) {
  DaemonConfig config = twoZones();
  ConfigEntities entities;
  entities.configIs(config);
  Lines lines;
  AttributeLog log(entities.families().at(defaultIpv4).config,
                   [&lines](std::string_view line) { lines.emplace_back(line); });
  lines.clear();
  config.logLevel = "debug";
  entities.configIs(config);
  EXPECT_EQ(lines, Lines{});
  config.vrfs[VrfName("default")][AddressFamily::ipv4]
      .bsrCandidates["eth0"]
      .zones[prefix("239.1.0.0/16")]
      .priority = 9;
  entities.configIs(config);
  EXPECT_EQ(lines, Lines{"= /bsrCandidateConfig['eth0']/group[239.1.0.0/16]/priority 9"});
}

/// An election is not lost because an access list takes over from a zone, or because another
/// interface comes in.
TEST(ConfigEntities, KeepTheCandidacyOfAZoneThatStaysAtItsInterface) {
  DaemonConfig config = twoZones();
  ConfigEntities entities;
  entities.configIs(config);
  Processing running(entities);
  const auto candidate = running.bed().status->cbsr(prefix("239.1.0.0/16"));
  FamilySettings& family = config.vrfs[VrfName("default")][AddressFamily::ipv4];
  config.accessLists[{AddressFamily::ipv4, "a"}].rules[1] = TestKit::aclRule("permit 239.1.0.0/16");
  family.bsrCandidates["eth0"].zones.erase(prefix("239.1.0.0/16"));
  family.bsrCandidates["eth0"].accessLists["a"];
  family.bsrCandidates["eth1"].zones[prefix("238.0.0.0/8")];
  entities.configIs(config);
  EXPECT_EQ(running.bed().status->cbsr(prefix("239.1.0.0/16")), candidate);
  EXPECT_EQ(running.bed().cbsr().size(), 3U);
}

TEST(ConfigEntities, KeepTenHoldTimesForAScopeZone) {
  DaemonConfig config = twoZones();
  FamilySettings& family = config.vrfs[VrfName("default")][AddressFamily::ipv4];
  ConfigEntities entities;
  entities.configIs(config);
  Processing running(entities);
  for (const auto& [holdTime, zoneTimeout] :
       {std::pair(200U, 2000U), std::pair(20U, 1300U), std::pair(1073741823U, 4294967295U)}) {
    family.holdTime = holdTime;
    entities.configIs(config);
    EXPECT_EQ(running.bed().status->bsTimeout(), holdTime);
    EXPECT_EQ(running.bed().status->szTimeout(), zoneTimeout);
  }
}

TEST(ConfigEntities, OfAFamilyThatGoesAreEmptiedFirst) {
  DaemonConfig config = twoZones();
  config.vrfs[VrfName("red")][AddressFamily::ipv6];
  ConfigEntities entities;
  entities.configIs(config);
  EXPECT_TRUE(entities.families().contains(redIpv6));
  Processing running(entities);
  EXPECT_EQ(running.bed().cbsr().size(), 2U);
  config.vrfs.clear();
  entities.configIs(config);
  EXPECT_EQ(running.bed().cbsr(), Lines{});
  EXPECT_EQ(running.bed().crp(), Lines{});
  EXPECT_TRUE(entities.families().empty());
}

}  // namespace
}  // namespace Routing::Agent
