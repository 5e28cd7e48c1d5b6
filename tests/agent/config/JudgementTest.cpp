#include <gtest/gtest.h>

#include <algorithm>

#include "agent/config/Judgement.h"

namespace Routing::Agent {
namespace {

IpGenPrefix prefix(const char* text) {
  return IpGenPrefix::fromText(text).value();
}

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
  /// A list of the sources that it permits.
  void list(const char* name, const std::vector<const char*>& sources) {
    AccessList& list = config_.accessLists[{AddressFamily::ipv4, name}];
    for (const char* source : sources) {
      const auto next = static_cast<std::uint32_t>(list.rules.size());
      list.rules[next].source = AclAddresses::fromText(source).value();
    }
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
  EXPECT_EQ(warnings(), Texts());
  EXPECT_EQ(errors(), Texts());
  EXPECT_EQ(texts(Severity::information),
            (Texts{ipv4Path +
                   "/bsr/hold-time: a lost BSR is replaced by this router within 153 seconds, if "
                   "by none before"}));
}

TEST_F(Judgement, WarnsOfARouterWithoutPim) {
  config_.vrfs.clear();
  EXPECT_EQ(warnings(), (Texts{"vrf: PIM runs on no interface"}));
}

TEST_F(Judgement, WantsAHoldTimeThatBearsTheInterval) {
  struct Case {
    std::uint32_t hold;
    std::uint32_t interval;
    const char* text;  // empty: no warning
  };
  const Case cases[] = {
      {130, 60, ""},
      {129, 60, "hold-time 129 bears no lost Bootstrap message (RFC 5059 section 5: 2 x 60 + 10)"},
      {61, 60, "hold-time 61 bears no lost Bootstrap message (RFC 5059 section 5: 2 x 60 + 10)"},
      {60, 60, "hold-time 60 is over before the next Bootstrap message, 60 seconds later"},
      {12, 10, "hold-time 12 bears no lost Bootstrap message (RFC 5059 section 5: 2 x 10 + 10)"},
      {43700, 21845, ""},
      {43702, 21846, "three intervals do not fit the hold time of an RP, which is 65535 at most"},
  };
  for (const Case& c : cases) {
    zone().interval = c.interval;
    family().holdTime = c.hold;
    family().scopeZoneTimeout = 10 * c.hold;
    const std::string where = ipv4Path + "/bsr/bsr-candidate/interface[eth0]/zone[224.0.0.0/4]: ";
    EXPECT_EQ(warnings(), *c.text == 0 ? Texts() : Texts{where + c.text});
  }
}

TEST_F(Judgement, WantsTenHoldTimesForAScopeZone) {
  family().scopeZoneTimeout = 1299;
  EXPECT_EQ(warnings(), (Texts{ipv4Path + "/bsr/scope-zone-timeout: 1299 is less than ten hold "
                                          "times; taken as 1300"}));
  family().holdTime = 429496729;
  family().scopeZoneTimeout = 4294967290;
  EXPECT_EQ(warnings(), Texts());
  family().holdTime = 429496730;
  EXPECT_EQ(warnings(), (Texts{ipv4Path + "/bsr/hold-time: ten hold times do not fit the "
                                          "scope-zone time-out; 4294967295 is taken"}));
}

TEST_F(Judgement, WarnsOfCandidatesThatAreAllTheLeastPreferred) {
  zone("239.0.0.0/8").priority = 0;
  list("A", {"238.0.0.0/8"});
  family().bsrCandidates["eth1"].accessLists["A"].priority = 0;
  EXPECT_EQ(warnings(), (Texts{ipv4Path + "/bsr/bsr-candidate: every priority is 0, the lowest: "
                                          "any other candidate is preferred"}));
  zone("239.0.0.0/8").priority = 1;
  EXPECT_EQ(warnings(), Texts());
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

TEST_F(Judgement, WarnsOfCandidatesForNothing) {
  family().bsrCandidates["eth0"];
  family().rpCandidates["eth0"];
  EXPECT_EQ(warnings(),
            (Texts{ipv4Path + "/bsr/bsr-candidate/interface[eth0]: no zone and no access list: "
                              "this is no candidate",
                   ipv4Path + "/bsr/rp-candidate/interface[eth0]: no range and no access list: "
                              "this is no candidate"}));
}

TEST_F(Judgement, WarnsOfListsThatPermitNoGroup) {
  list("UNICAST", {"10.0.0.0/8"});
  family().interfaces["eth0"].border.accessLists = {"UNICAST"};
  family().bsrCandidates["eth0"].accessLists["UNICAST"];
  family().rpCandidates["eth0"].accessLists["UNICAST"] = {1, true};
  const std::string text = "/access-list[UNICAST]: the list permits no group";
  EXPECT_EQ(warnings(), (Texts{ipv4Path + "/interface[eth0]/bsr-border" + text,
                               ipv4Path + "/bsr/bsr-candidate/interface[eth0]" + text,
                               ipv4Path + "/bsr/rp-candidate/interface[eth0]" + text}));
}

TEST_F(Judgement, WarnsOfFiltersThatPermitNothing) {
  list("GROUPS", {"239.0.0.0/8"});
  list("RPS", {"10.0.0.0/8"});
  family().rpFilter = {"RPS"};
  EXPECT_EQ(warnings(), Texts());
  family().rpFilter = {"GROUPS", "RPS"};
  EXPECT_EQ(warnings(),
            (Texts{ipv4Path + "/bsr/rp-filter[GROUPS]: the list permits no RP address"}));
  family().rpFilter = {"GROUPS"};
  EXPECT_EQ(warnings(), (Texts{ipv4Path + "/bsr/rp-filter[GROUPS]: the list permits no RP address, "
                                          "which filters nothing: every RP is accepted"}));
}

TEST_F(Judgement, SaysWhichRangesGetThePriorityOfDefault) {
  list("A", {"239.0.0.0/8"});
  RpCandidate& candidate = family().rpCandidates["eth0"];
  candidate.ranges[allIpv4];
  candidate.ranges[prefix("238.0.0.0/8")] = {192, true};
  candidate.accessLists["A"];
  const std::string path = ipv4Path + "/bsr/rp-candidate/interface[eth0]/";
  EXPECT_EQ(warnings(), (Texts{path + "range[224.0.0.0/4]: no priority given; taken as 192",
                               path + "access-list[A]: no priority given; taken as 192"}));
}

TEST_F(Judgement, WarnsOfRangesWithTwoPriorities) {
  list("A", {"239.0.0.0/9", "239.128.0.0/9"});
  RpCandidate& candidate = family().rpCandidates["eth0"];
  candidate.ranges[prefix("239.0.0.0/8")] = {1, true};
  candidate.accessLists["A"] = {1, true};
  EXPECT_EQ(warnings(), Texts());
  candidate.accessLists["A"] = {2, true};
  const std::string path = ipv4Path + "/bsr/rp-candidate/interface[eth0]/";
  EXPECT_EQ(warnings(),
            (Texts{path + "access-list[A]: range 239.0.0.0/8 has another priority at " + path +
                   "range[239.0.0.0/8]; the last access list by name "
                   "holds"}));
}

TEST_F(Judgement, ToleratesAZoneTwiceOnOneInterfaceOnly) {
  list("A", {"239.0.0.0/8"});
  zone("239.0.0.0/8");
  family().bsrCandidates["eth0"].accessLists["A"];
  EXPECT_EQ(warnings(), Texts());
  family().bsrCandidates["eth0"].accessLists["A"].priority = 1;
  const std::string path = ipv4Path + "/bsr/bsr-candidate/interface";
  EXPECT_EQ(warnings(),
            (Texts{path + "[eth0]/access-list[A]: zone 239.0.0.0/8 is claimed by "
                          "interface[eth0]/zone[239.0.0.0/8] too, with other settings; the last "
                          "access list by name holds"}));
  EXPECT_EQ(errors(), Texts());
  family().bsrCandidates["eth1"].zones[prefix("239.0.0.0/8")];
  EXPECT_EQ(errors(), (Texts{path + "[eth1]/zone[239.0.0.0/8]: zone 239.0.0.0/8 is claimed by "
                                    "interface[eth0]/zone[239.0.0.0/8] too (allowed: one "
                                    "interface for a zone)"}));
}

TEST_F(Judgement, LetsZonesOverlapAndVrfsAgree) {
  zone("239.0.0.0/8");
  zone("239.1.0.0/16", "eth1");
  FamilySettings& red = config_.vrfs[VrfName("red")][AddressFamily::ipv4];
  red.interfaces["eth2"];
  red.bsrCandidates["eth2"].zones[prefix("239.0.0.0/8")];
  EXPECT_EQ(errors(), Texts());
  EXPECT_EQ(warnings(), Texts());
}

TEST_F(Judgement, KnowsListsByFamily) {
  list("A", {"239.0.0.0/8"});
  family(AddressFamily::ipv6).interfaces["eth0"].border.accessLists = {"A"};
  EXPECT_EQ(errors(), (Texts{"vrf[default]/address-family[ipv6]/interface[eth0]/bsr-border/"
                             "access-list[A]: there is no access list of this name and family"}));
  EXPECT_EQ(texts(Severity::information), (Texts{"access-list[ipv4 A]: nothing uses the list"}));
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
