#include <gtest/gtest.h>

#include <sstream>

#include "agent/apply/ConfigEntities.h"
#include "agent/config/PermittedLists.h"
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
    bed_.addressIs("eth2", "10.0.1.1");
    bed_.start();
  }
  TestKit::ConfigBed& bed() { return bed_; }

 private:
  TestKit::ConfigBed bed_;
};

// --- any configuration after any other --------------------------------------------------------

/// The entries that a text of a status says, with their owners where those may change.
std::map<std::string, std::string> entriesOf(const std::string& status) {
  std::map<std::string, std::string> entries;
  std::istringstream lines(status);
  for (std::string line; std::getline(lines, line);) {
    std::string path = line.substr(2, line.find(' ', 2) - 2);
    const bool owner = path.starts_with("/cbsr") && path.ends_with("/intfId");
    if (owner) path.erase(path.rfind('/'));
    const std::string value = owner || path.starts_with("/zone") ? line : "";
    if (entries[path].empty()) entries[path] = value;
  }
  return entries;
}

/// What a reload did that it had no need to do: an entry that it removed although it stays with its
/// owner, or added although it does not stay.
Lines needless(const std::string& before, const Lines& changes, const std::string& after) {
  const auto old = entriesOf(before);
  const auto now = entriesOf(after);
  Lines found;
  for (const std::string& line : changes) {
    const std::string path = line.substr(2, line.find(' ', 2) - 2);
    const bool stays = now.contains(path);
    const bool same = stays && old.contains(path) && old.at(path) == now.at(path);
    if ((line[0] == '-' && same) || (line[0] == '+' && !stays)) found.push_back(line);
  }
  return found;
}

/// The borders and candidate BSRs of the default VRF, IPv4, straight from the settings.
struct Expected {
  explicit Expected(const DaemonConfig& config) : lists(config) {
    const FamilySettings& family = config.vrfs.at(VrfName("default")).at(AddressFamily::ipv4);
    for (const auto& [name, settings] : family.interfaces) {
      for (const IpGenPrefix& group : settings.border.groups) border[group].insert(name);
      for (const std::string& list : settings.border.accessLists) {
        for (const IpGenPrefix& prefix : permitted(list)) border[prefix].insert(name);
      }
    }
    for (const auto& [name, candidate] : family.bsrCandidates) {
      for (const auto& [zone, settings] : candidate.zones) cbsr[zone] = text(name, settings);
      for (const auto& [list, settings] : candidate.accessLists) {
        for (const IpGenPrefix& zone : permitted(list)) cbsr[zone] = text(name, settings);
      }
    }
  }
  std::set<IpGenPrefix> permitted(const std::string& list) {
    return lists.find(AddressFamily::ipv4, list)->group;
  }
  static std::string text(const std::string& intf, const BsrCandidateSettings& settings) {
    return intf + (intf == "eth0" ? " 10.0.0.1 " : " 10.0.1.1 ") +
           std::to_string(settings.priority) + '/' + std::to_string(settings.hashMaskLen) + '/' +
           std::to_string(settings.interval);
  }
  Lines borders() const {
    Lines lines;
    for (const auto& [prefix, interfaces] : border) {
      lines.push_back(prefix.text());
      for (const std::string& name : interfaces) lines.back() += ' ' + name;
    }
    return lines;
  }
  Lines candidates() const {
    Lines lines;
    for (const auto& [zone, rest] : cbsr) lines.push_back(zone.text() + ' ' + rest);
    return lines;
  }

  PermittedLists lists;
  std::map<IpGenPrefix, std::set<std::string>> border;
  std::map<IpGenPrefix, std::string> cbsr;
};

DaemonConfig drawn() {
  DaemonConfig config = RandomConfig::draw();
  config.vrfs[VrfName("default")][AddressFamily::ipv4];
  return config;
}

/// A reload ends where a start would, which is where the settings say, and touches nothing else.
TEST(ConfigEntities, AReloadEndsWhereAStartWouldAndTouchesWhatDiffers) {
  EXPECT_TRUE(rc::check([] {
    const TestKit::ThrowingAssertions throwing;
    ConfigEntities entities;
    entities.configIs(drawn());
    Processing running(entities);
    TestKit::ConfigBed& bed = running.bed();
    for (int reload = 0; reload < 8; ++reload) {
      const DaemonConfig config = drawn();
      const std::string before = bed.statusText();
      bed.changes();
      entities.configIs(config);
      ConfigEntities fresh;
      fresh.configIs(config);
      Processing started(fresh);
      RC_ASSERT(textOf(entities) == textOf(fresh));
      RC_ASSERT(bed.statusText() == started.bed().statusText());
      RC_ASSERT(treeText(bed.sm->state()) == treeText(started.bed().sm->state()));
      RC_ASSERT(bed.borders() == Expected(config).borders());
      RC_ASSERT(bed.cbsr() == Expected(config).candidates());
      RC_ASSERT(needless(before, bed.changes(), bed.statusText()) == Lines{});
      RC_ASSERT(bed.violations == Lines{});
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
  AttributeLog log(entities.families().at(defaultIpv4).config, [&lines](std::string_view line) {
    if (!line.starts_with("= /editing")) lines.emplace_back(line);
  });
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
