#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <ctime>
#include <fstream>
#include <limits>
#include <map>
#include <set>
#include <sstream>

#include "bsr/types/Config.h"
#include "bsr/types/Limits.h"
#include "config/entities/HelloSettings.h"
#include "config/file/ConfigFile.h"
#include "platform/pim/hello/HelloConfig.h"
#include "tests/support/Octets.h"

namespace Routing::Agent {
namespace {

std::string fileText(const std::string& name) {
  std::ifstream stream(PIMBSR_SOURCE_DIR "/" + name, std::ios::binary);
  std::ostringstream text;
  text << stream.rdbuf();
  return text.str();
}

DaemonConfig load(std::string_view text) {
  const LoadedConfig loaded = readConfig(text);
  for (const Finding& finding : loaded.findings) {
    EXPECT_NE(finding.severity, Severity::error) << findingText(finding);
  }
  return loaded.config.value_or(DaemonConfig());
}

const FamilySettings& family(const DaemonConfig& config, const char* vrf, AddressFamily af) {
  return config.vrfs.at(VrfName(vrf)).at(af);
}

using TestKit::prefix;

std::string bsrText(const std::string& af, const std::string& bsr) {
  return "vrf: [{name: default, address-family: [{address-family: " + af +
         ", interface: [{name: eth0}], bsr: " + bsr + "}]}]";
}

TEST(Config, HasTheDefaultsOfTheLibrary) {
  const DaemonConfig config = load(bsrText("ipv4", R"({
      bsr-candidate: {interface: [{name: eth0, zone: [{group: 224.0.0.0/4}]}]},
      rp-candidate: {interface: [{name: eth0, range: [{group: 224.0.0.0/4}]}]}})"));
  const FamilySettings& settings = family(config, "default", AddressFamily::ipv4);
  EXPECT_EQ(settings.holdTime, Pim::Bsr::Config::holdTimeDefault);
  EXPECT_EQ(settings.scopeZoneTimeout, Pim::Bsr::Config::szTimeoutDefault);

  using Zone = Pim::Bsr::BsrCandidateGroup;
  const ZoneSettings zone{Zone::priorityDefault, Zone::hashMaskLenDefault, Zone::intervalDefault};
  EXPECT_EQ(settings.bsrCandidates.at("eth0").zones.at(prefix("224.0.0.0/4")), zone);
  const DaemonConfig ipv6 = load(bsrText(
      "ipv6", R"({bsr-candidate: {interface: [{name: eth0, zone: [{group: "ff00::/8"}]}]}})"));
  const BsrInterfaceSettings& candidate =
      family(ipv6, "default", AddressFamily::ipv6).bsrCandidates.at("eth0");
  EXPECT_EQ(candidate.zones.at(prefix("ff00::/8")).hashMaskLen, 126U);

  const RpInterfaceSettings& rp = settings.rpCandidates.at("eth0");
  EXPECT_EQ(rp.interval, Pim::Bsr::CrpAdvInterval().value());
  EXPECT_EQ(rp.mode, Pim::PimMode::sparse);
  EXPECT_EQ(rp.ranges.at(prefix("224.0.0.0/4")).value, 192);
  Pim::HelloConfig hello;
  hello.firstDelay = 0.5;
  hello.drPriority = 0;  // who forwards no group traffic is not to win
  PermittedLists lists(config);
  EXPECT_EQ(helloConfig(settings.interfaces.at("eth0"), AddressFamily::ipv4, 0.5, lists), hello);

  const Pim::Bsr::PimBsrLimits limits;
  EXPECT_EQ(config.limits, (LimitSettings{limits.maxZones(), limits.maxGroups(), limits.maxRps(),
                                          limits.maxFragments()}));
}

TEST(Config, IsReadAsWritten) {
  const DaemonConfig config = load(fileText("tests/data/config/good/everything.yaml"));
  EXPECT_EQ(config.controlSocket, "/tmp/r1.sock");
  EXPECT_EQ(config.stateDirectory, "/tmp/r1");
  EXPECT_EQ(config.logLevel, "debug");
  EXPECT_EQ(config.traces, (std::map<std::string, int>{{"Agent", -1}, {"Pim::Bsr", 9}}));
  EXPECT_EQ(config.limits, (LimitSettings{0, 4294967295, 2, 3}));

  const AccessList& sites = config.accessLists.at({AddressFamily::ipv4, "SITES"});
  ASSERT_EQ(sites.rules.size(), 3U);
  EXPECT_EQ(sites.type, AclType::standard);
  EXPECT_EQ(sites.rules.begin()->second.action, AclAction::deny);
  EXPECT_EQ(sites.rules.at(4294967295).source.text(), "239.200.0.0 0.0.255.255");
  const AccessList& rps = config.accessLists.at({AddressFamily::ipv4, "RPS"});
  EXPECT_EQ(rps.type, AclType::extended);
  EXPECT_EQ(rps.rules.at(1).destination.text(), "239.128.0.0/10");

  const FamilySettings& ipv4 = family(config, "default", AddressFamily::ipv4);
  EXPECT_EQ(ipv4.interfaces.at("eth0").helloInterval, 10.5);
  EXPECT_EQ(ipv4.interfaces.at("eth0").helloHoldtime, 65535);
  EXPECT_EQ(ipv4.interfaces.at("eth0").border, BorderSettings());
  PermittedLists lists(config);
  const auto helloOf = [&](const InterfaceSettings& interface) {
    return helloConfig(interface, AddressFamily::ipv4, 0.5, lists);
  };
  EXPECT_EQ(helloOf(ipv4.interfaces.at("lo")).neighbors, std::nullopt);
  EXPECT_EQ(helloOf(ipv4.interfaces.at("eth0")).neighbors,
            (std::set{prefix("10.0.0.0/8"), prefix("192.0.2.1/32")}));
  EXPECT_EQ(ipv4.interfaces.at("eth1").border, (BorderSettings{{prefix("224.0.0.0/4")}, {}}));
  EXPECT_EQ(ipv4.rpFilter, std::set<std::string>{"RPS"});
  const BsrInterfaceSettings& bsr = ipv4.bsrCandidates.at("lo");
  EXPECT_EQ(bsr.zones.at(prefix("224.0.0.0/4")), (ZoneSettings{64, 30, 10}));
  EXPECT_EQ(bsr.accessLists.at("SITES"), (ZoneSettings{64, 0, 10}));
  const RpInterfaceSettings& rp = ipv4.rpCandidates.at("lo");
  EXPECT_EQ(rp.mode, Pim::PimMode::bidirectional);
  EXPECT_EQ(rp.interval, 21845);
  EXPECT_EQ(rp.ranges.at(prefix("224.0.0.0/4")).value, 0);
  EXPECT_EQ(rp.accessLists.at("RPS").value, 255);

  const FamilySettings& ipv6 = family(config, "red", AddressFamily::ipv6);
  EXPECT_EQ(ipv6.holdTime, 1073741823U);
  EXPECT_EQ(ipv6.scopeZoneTimeout, 4294967295U);
  const InterfaceSettings& interface = ipv6.interfaces.at("eth2.100");
  EXPECT_EQ(interface.border, (BorderSettings{{prefix("ff3e::/32")}, {"SITES"}}));
  EXPECT_EQ(interface.helloHoldtime, 63000);
  EXPECT_EQ(interface.drPriority, 0U);
  EXPECT_FALSE(interface.helloPassive);
  const InterfaceSettings& others = ipv6.interfaces.at("eth3");
  EXPECT_TRUE(others.helloPassive);
  EXPECT_EQ(others.drPriority, 1U) << "what other programs announce by default";
}

TEST(Config, DoesNotDependOnOrderOrNotation) {
  const std::string block = fileText("tests/data/config/good/same-as-flow.yaml");
  EXPECT_EQ(load(block), load(fileText("tests/data/config/good/same-as-block.yaml")));
  EXPECT_NE(load(block), load(block + "log-level: debug\n"));
  EXPECT_EQ(load("vrf: []"), DaemonConfig());
  const DaemonConfig others = load("{vrf: [], metrics: {address: '::1'}, consumer: /bin/cat}");
  EXPECT_EQ(others.metrics + others.consumer, "[::1]:9593/bin/cat");
  EXPECT_FALSE(readConfig("").config) << "a file cut short at its beginning";
}

TEST(Config, TakesTextForTextWhateverItLooksLike) {
  const DaemonConfig config = load(R"(vrf:
  - name: default
    address-family:
      - address-family: ipv4
        interface: [{name: 100}, {name: true}, {name: 1e3}, {name: "null"}, {name: 'no'}])");
  std::set<std::string> names;
  for (const auto& [name, value] : family(config, "default", AddressFamily::ipv4).interfaces) {
    names.insert(name);
  }
  EXPECT_EQ(names, (std::set<std::string>{"100", "1e3", "no", "null", "true"}));
}

/// A list of standard type whose rules have destinations, each of which is an error.
std::string manyErrors(unsigned rules) {
  std::string text = "access-list:\n- {name: A, address-family: ipv4, rule: [\n";
  for (unsigned i = 0; i < rules; ++i) {
    text += "{sequence: " + std::to_string(i) + ", action: deny, destination: any},\n";
  }
  return text + "]}\n";
}

TEST(Findings, AreBoundedInNumber) {
  EXPECT_EQ(readConfig(manyErrors(maxFindings)).findings.size(), maxFindings);
  const Findings findings = readConfig(manyErrors(8000)).findings;
  ASSERT_EQ(findings.size(), maxFindings + 1);
  EXPECT_EQ(findings.back(), (Finding{Severity::error, 0, "", "... more"}));
  EXPECT_EQ(findings[maxFindings - 1].line, 2 + maxFindings);
}

/// Seconds of the processor.
double timeToRead(const std::string& text) {
  const std::clock_t start = std::clock();
  EXPECT_FALSE(hasErrors(readConfig(text).findings));
  return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

std::string manyEntries(std::size_t count) {
  std::string text = "vrf: []\ntrace:\n";
  for (std::size_t i = 0; i < count; ++i) {
    text += "- {facility: f" + std::to_string(i) + ", level: 1}\n";
  }
  return text;
}

TEST(AFileWithinTheBounds, TakesTimeInProportion) {
  constexpr std::size_t factor = 8;
  double few = std::numeric_limits<double>::max();
  for (int i = 0; i < 3; ++i) few = std::min(few, timeToRead(manyEntries(22000 / factor)));
  EXPECT_LT(timeToRead(manyEntries(22000)), 3 * factor * few);
}

TEST(Findings, QuoteNoTextThatATerminalWouldObey) {
  const LoadedConfig loaded = readConfig("log-level: \"\xc2\x9b[2J\"\n\"\\u009b2J\": 1\n");
  ASSERT_EQ(loaded.findings.size(), 2U);
  for (const Finding& finding : loaded.findings) {
    for (const char c : findingText(finding)) EXPECT_TRUE(c >= 0x20 && c <= 0x7e);
  }
}

/// A number below `bound`, in small tests as well: ranges grow with the size of the test otherwise.
std::size_t lessThan(std::size_t bound) {
  return *rc::gen::resize(rc::kNominalSize, rc::gen::inRange<std::size_t>(0, bound));
}

/// One or more random edits, mostly few: digits and octets changed, pieces moved or taken out.
std::string mutated(std::string text) {
  constexpr const char* digits = "0123456789";
  const auto edits = *rc::gen::elementOf(std::vector<int>{1, 1, 2, 2, 6});
  for (int i = 0; i < edits && !text.empty(); ++i) {
    const std::size_t at = lessThan(text.size());
    const std::size_t length = lessThan(40);
    const std::string piece = text.substr(lessThan(text.size()), length);
    const std::size_t what = lessThan(8);
    const auto digit = text.find_first_of(digits, at);
    if (what == 0) {
      text[at] = *rc::gen::arbitrary<char>();
    } else if (what == 1) {
      text[at] = *rc::gen::elementOf(std::string(" \n:-[]{}\"'&*!#,?|>%@0129a"));
    } else if (what <= 4) {  // a piece put in, taken out, put in its place
      text.replace(at, what == 2 ? 0 : std::min(length, text.size() - at), what == 3 ? "" : piece);
    } else if (digit != std::string::npos) {
      text[digit] = *rc::gen::elementOf(std::string(digits));
    }
  }
  return text;
}

void expectSound(const LoadedConfig& loaded, const std::string& text) {
  RC_CLASSIFY(loaded.config.has_value(), "taken");
  RC_ASSERT(loaded.config.has_value() != hasErrors(loaded.findings));
  const auto lines = static_cast<unsigned>(std::count(text.begin(), text.end(), '\n')) + 1;
  for (const Finding& finding : loaded.findings) {
    RC_ASSERT(finding.line <= lines);
    RC_ASSERT(!finding.text.empty());
  }
}

TEST(RandomMutations, OfAGoodFileAreTakenOrRefused) {
  for (const char* file : {"everything.yaml", "json.yaml"}) {
    const std::string good = fileText(std::string("tests/data/config/good/") + file);
    ASSERT_FALSE(good.empty());
    EXPECT_TRUE(rc::check([&good] {
      const std::string text = mutated(good);
      expectSound(readConfig(text), text);
    }));
  }
}

}  // namespace
}  // namespace Routing::Agent
