#include <gtest/gtest.h>

#include <algorithm>

#include "agent/config/Judgement.h"
#include "tests/support/Octets.h"

namespace Routing::Agent {
namespace {

using TestKit::prefix;

const IpGenPrefix allIpv4 = IpGenPrefix::multicast(AddressFamily::ipv4);
const std::string ipv4Path = "vrf[default]/address-family[ipv4]";

/// A router with PIM on eth0 and eth1, IPv4 in the default VRF.
class Judgement : public testing::Test {
 protected:
  Judgement() {
    family().interfaces["eth0"];
    family().interfaces["eth1"];
  }

  FamilySettings& family(AddressFamily af = AddressFamily::ipv4) {
    return config_.vrfs[VrfName("default")][af];
  }
  BsrCandidateSettings& zone(const char* group = "224.0.0.0/4", const char* interface = "eth0") {
    return family().bsrCandidates[interface].zones[prefix(group)];
  }
  std::vector<std::string> texts(Severity severity,
                                 const std::optional<AddressedInterfaces>& addressed = {}) const {
    std::vector<std::string> result;
    for (const Finding& finding : judge(config_, addressed)) {
      if (finding.severity == severity) result.push_back(findingText(finding));
    }
    return result;
  }
  std::vector<std::string> warnings() const { return texts(Severity::warning); }
  std::vector<std::string> errors() const { return texts(Severity::error); }

  DaemonConfig config_;
};

using Texts = std::vector<std::string>;

TEST_F(Judgement, HasNothingAgainstASimpleRouter) {
  zone();
  family().rpCandidates["eth1"].ranges[allIpv4] = {192, true};
  config_.accessLists[{AddressFamily::ipv4, "A"}];
  EXPECT_EQ(warnings(), Texts());
  EXPECT_EQ(errors(), Texts());
  EXPECT_EQ(
      texts(Severity::information),
      (Texts{"access-list[ipv4 A]: nothing uses the list",
             ipv4Path +
                 "/bsr/hold-time: a lost BSR is replaced by this router within 153 seconds, if "
                 "by none before"}));
}

TEST_F(Judgement, TellsTheLongestFailover) {
  EXPECT_EQ(worstFailover(family(), AddressFamily::ipv4), std::nullopt);
  // 5 + 2 log2(1 + 255 - priority) + the delay of the address, behind the bootstrap time-out: the
  // hold time, or two intervals and 10 where it is over before the next message.
  zone("239.0.0.0/8").priority = 255;
  EXPECT_DOUBLE_EQ(worstFailover(family(), AddressFamily::ipv4).value(), 130 + 5 + 2);
  zone("238.0.0.0/8").priority = 0;
  EXPECT_DOUBLE_EQ(worstFailover(family(), AddressFamily::ipv4).value(), 130 + 5 + 16 + 2);
  family().holdTime = 61;
  zone("238.0.0.0/8").priority = 192;
  EXPECT_DOUBLE_EQ(worstFailover(family(), AddressFamily::ipv4).value(), 61 + 5 + 12 + 2);
  zone("239.0.0.0/8").interval = 61;
  EXPECT_DOUBLE_EQ(worstFailover(family(), AddressFamily::ipv4).value(), 132 + 5 + 2);
}

TEST_F(Judgement, LooksAtTheInterfacesOfCandidates) {
  zone("224.0.0.0/4", "lo");
  family().rpCandidates["eth1"].ranges[allIpv4] = {1, true};
  const std::string bsr = ipv4Path + "/bsr/bsr-candidate/interface[lo]: ";
  const std::string rp = ipv4Path + "/bsr/rp-candidate/interface[eth1]: ";
  const std::string noPim = "PIM does not run on this interface; only its address is used";
  const std::string noAddress =
      "the interface has no address of ipv4; there is no candidate until it has one";
  EXPECT_EQ(warnings(), Texts{});
  const Texts said = texts(Severity::information);
  EXPECT_NE(std::find(said.begin(), said.end(), bsr + noPim), said.end());
  const AddressedInterfaces both{{"lo", AddressFamily::ipv4}, {"eth1", AddressFamily::ipv4}};
  EXPECT_EQ(texts(Severity::warning, both), Texts{});
  const AddressedInterfaces foreign{{"lo", AddressFamily::ipv4}, {"eth1", AddressFamily::ipv6}};
  EXPECT_EQ(texts(Severity::warning, foreign), (Texts{rp + noAddress}));
  EXPECT_EQ(texts(Severity::warning, AddressedInterfaces()),
            (Texts{bsr + noAddress, rp + noAddress}));
}

TEST_F(Judgement, BoundsTheWorkThatAListMakes) {
  AccessList& longList = config_.accessLists[{AddressFamily::ipv4, "LONG"}];
  for (std::uint32_t i = 0; i < 4096; ++i) longList.rules[i];
  EXPECT_EQ(errors(), Texts());
  longList.rules[4096];
  EXPECT_EQ(errors(),
            (Texts{"access-list[ipv4 LONG]: too long (allowed: 4096 rules, whose wildcards come "
                   "down to 16384 address ranges)"}));
}

}  // namespace
}  // namespace Routing::Agent
