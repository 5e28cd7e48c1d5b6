#include <gtest/gtest.h>

#include <sstream>

#include "config/entities/ConfigEntities.h"
#include "config/judge/PermittedLists.h"
#include "platform/entity/AttributeLog.h"
#include "tests/config/RandomConfig.h"
#include "tests/support/Refusal.h"

namespace Routing::Agent {
namespace {

using TestKit::prefix;
using Lines = std::vector<std::string>;

const ConfigEntities::Key defaultIpv4{VrfName("default"), AddressFamily::ipv4};
const std::map<std::string, std::string> addresses{
    {"eth0", "10.0.0.1"}, {"eth1", "10.0.1.1"}, {"eth2", "10.0.1.1"}};
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
    for (const auto& [intf, address] : addresses) bed_.addressIs(intf, address);
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

/// The status of the default VRF, IPv4, straight from the settings, in the words of the bed.
class Expected {
 public:
  explicit Expected(const DaemonConfig& config) : lists_(config) {
    const FamilySettings& family = config.vrfs.at(VrfName("default")).at(AddressFamily::ipv4);
    for (const auto& [name, settings] : family.interfaces) border(name, settings.border);
    for (const auto& [name, candidate] : family.bsrCandidates) bsr(name, candidate);
    for (const auto& [name, candidate] : family.rpCandidates) rp(name, candidate);
    for (const std::string& list : family.rpFilter) {
      const auto& unicast = permitted(list).unicast;
      permits_.insert(unicast.begin(), unicast.end());
    }
    if (permits_.empty()) permits_.insert(prefix("0.0.0.0/0"));
  }

  Lines lines() const {
    Lines all;
    for (const IpGenPrefix& prefix : permits_) all.push_back(prefix.text());
    for (const auto& [prefix, text] : borders_) all.push_back(prefix.text() + text);
    for (const auto& [zone, text] : bsrs_) all.push_back(zone.text() + text);
    for (const auto& [address, rp] : rps_) {
      if (rp.ranges.empty()) continue;
      all.push_back(address + rp.terms);
      for (const auto& [range, priority] : rp.ranges) {
        all.back() += ' ' + range.text() + '=' + std::to_string(priority);
      }
    }
    return all;
  }
  static Lines linesOf(const TestKit::ConfigBed& bed) {
    Lines all = bed.permit();
    for (const Lines& more : {bed.borders(), bed.cbsr(), bed.crp()}) {
      all.insert(all.end(), more.begin(), more.end());
    }
    return all;
  }

 private:
  struct Rp {
    std::string terms;
    std::map<IpGenPrefix, unsigned> ranges;
  };

  const AclPrefixes& permitted(const std::string& list) {
    return *lists_.find(AddressFamily::ipv4, list);
  }
  void border(const std::string& name, const BorderSettings& settings) {
    std::set<IpGenPrefix> prefixes = settings.groups;
    for (const std::string& list : settings.accessLists) {
      const auto& group = permitted(list).group;
      prefixes.insert(group.begin(), group.end());
    }
    for (const IpGenPrefix& prefix : prefixes) borders_[prefix] += ' ' + name;
  }
  void bsr(const std::string& name, const BsrInterfaceSettings& candidate) {
    const auto text = [&](const ZoneSettings& settings) {
      return ' ' + name + ' ' + addresses.at(name) + ' ' + std::to_string(settings.priority) + '/' +
             std::to_string(settings.hashMaskLen) + '/' + std::to_string(settings.interval);
    };
    for (const auto& [zone, settings] : candidate.zones) bsrs_[zone] = text(settings);
    for (const auto& [list, settings] : candidate.accessLists) {
      for (const IpGenPrefix& zone : permitted(list).group) bsrs_[zone] = text(settings);
    }
  }
  void rp(const std::string& name, const RpInterfaceSettings& candidate) {
    std::map<IpGenPrefix, unsigned> ranges;
    for (const auto& [range, priority] : candidate.ranges) ranges[range] = priority.value;
    for (const auto& [list, priority] : candidate.accessLists) {
      for (const IpGenPrefix& range : permitted(list).group) ranges[range] = priority.value;
    }
    Rp& rp = rps_[addresses.at(name)];
    if (rp.terms.empty()) {
      rp.terms = ' ' + name + ' ' + std::to_string(candidate.interval) + ' ' +
                 std::string(enumName(candidate.mode));
    }
    rp.ranges.merge(ranges);  // the first by name wins
  }

  PermittedLists lists_;
  std::set<IpGenPrefix> permits_;
  std::map<IpGenPrefix, std::string> borders_;
  std::map<IpGenPrefix, std::string> bsrs_;
  std::map<std::string, Rp> rps_;
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
      RC_ASSERT(Expected::linesOf(bed) == Expected(config).lines());
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
