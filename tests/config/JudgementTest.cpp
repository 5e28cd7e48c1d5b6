#include <gtest/gtest.h>

#include "config/judge/Judgement.h"
#include "tests/support/Octets.h"

namespace Routing::Agent {
namespace {

using Texts = std::vector<std::string>;

Texts textsOf(const Findings& findings, Severity severity) {
  Texts texts;
  for (const Finding& finding : findings) {
    if (finding.severity == severity) texts.push_back(findingText(finding));
  }
  return texts;
}

TEST(Judgement, LooksAtTheAddressesOfCandidates) {
  DaemonConfig config;
  FamilySettings& family = config.vrfs[VrfName("default")][AddressFamily::ipv4];
  family.interfaces["eth1"];
  family.bsrCandidates["lo"].zones[TestKit::prefix("224.0.0.0/4")];
  family.rpCandidates["eth1"].ranges[TestKit::prefix("224.0.0.0/4")] = {1, true};
  const auto warnings = [&](const AddressedInterfaces& addressed) {
    return textsOf(judge(config, addressed), Severity::warning);
  };
  const std::string path = "vrf[default]/address-family[ipv4]/bsr/";
  const std::string noAddress =
      ": the interface has no address of ipv4; there is no candidate until it has one";
  const std::string bsr = path + "bsr-candidate/interface[lo]" + noAddress;
  const std::string rp = path + "rp-candidate/interface[eth1]" + noAddress;
  const std::pair<std::string, AddressFamily> lo{"lo", AddressFamily::ipv4};
  EXPECT_EQ(warnings({lo, {"eth1", AddressFamily::ipv4}}), Texts{});
  EXPECT_EQ(warnings({lo, {"eth1", AddressFamily::ipv6}}), Texts{rp});
  EXPECT_EQ(warnings({}), (Texts{bsr, rp}));
}

TEST(Judgement, BoundsTheWorkThatAListMakes) {
  DaemonConfig config;
  AccessList& longList = config.accessLists[{AddressFamily::ipv4, "LONG"}];
  for (std::uint32_t i = 0; i < 4096; ++i) longList.rules[i];
  EXPECT_EQ(textsOf(judge(config), Severity::error), Texts());
  longList.rules[4096];
  EXPECT_EQ(textsOf(judge(config), Severity::error),
            (Texts{"access-list[ipv4 LONG]: too long (allowed: 4096 rules, whose wildcards come "
                   "down to 16384 address ranges)"}));
}

}  // namespace
}  // namespace Routing::Agent
