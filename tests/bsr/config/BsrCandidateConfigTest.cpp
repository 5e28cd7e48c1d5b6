#include <gtest/gtest.h>

#include <functional>

#include "bsr/config/ConfigSm.h"
#include "tests/bsr/NeighborFixture.h"
#include "tests/support/ConfigBed.h"

namespace Routing::TestKit {
namespace {

struct BsrCandidateConfiguration : TracedTest {
  ConfigBed bed;
  void TearDown() override { EXPECT_EQ(bed.violations, Lines{}); }
};

TEST_F(BsrCandidateConfiguration, AZoneNeedsAnAddressAndItsSettings) {
  bed.start();
  const auto group = bed.bsr("eth0")->newGroup(prefix("239.0.0.0/8"));
  expectTraced({"4 New BSR candidate configured for interface eth0",
                "8 Deferred initialization since IP address for interface eth0 is not set"});
  group->hashMaskLenIs(30);
  bed.addressIs("eth0", "10.1.1.1");
  EXPECT_EQ(bed.cbsr(), Lines{});
  expectTraced({"8 Skipping initialization since priority or hashmask lengths are not set"});
  EXPECT_THROW(group->priorityIs(300), RangeError);
  group->hashMaskLenIs(31);
  EXPECT_EQ(bed.cbsr(), Lines{}) << "a refused value must not be used";
  group->priorityIs(7);
  EXPECT_EQ(bed.cbsr(), Lines{"239.0.0.0/8 eth0 10.1.1.1 7/31/60"});
  expectTraced(
      {"4 Created candidate BSR for zone 239.0.0.0/8 with IP 10.1.1.1, Priority=7, HashMaskLen=31, "
       "Interval=60",
       "8 239.0.0.0/8 forms zone with interface eth0"});
  EXPECT_EQ(*bed.status->zoneGroup(prefix("239.0.0.0/8")), IntfId("eth0"));
}

TEST_F(BsrCandidateConfiguration, SettingsAreWrittenInPlace) {
  bed.addressIs("eth0", "10.1.1.1");
  const auto group = bed.groupIs("eth0", "239.0.0.0/8");
  bed.start();
  bed.changes();
  group->priorityIs(9);
  group->hashMaskLenIs(24);
  group->intervalIs(10);
  EXPECT_EQ(bed.changes(),
            (Lines{"= /cbsr[239.0.0.0/8]/priority 9", "= /cbsr[239.0.0.0/8]/hashMaskLen 24",
                   "= /cbsr[239.0.0.0/8]/bsPeriod 10"}));
  expectTraced({"4 Priority for Candidate BSR in Zone 239.0.0.0/8 with IP 10.1.1.1 changed to 9"});
  EXPECT_THROW(group->intervalIs(9), RangeError);
  EXPECT_THROW(group->priorityIs(300), RangeError);
  bed.addressIs("eth0", "10.1.1.2");
  EXPECT_EQ(bed.changes(), Lines{"= /cbsr[239.0.0.0/8]/address 10.1.1.2"})
      << "what was refused is not picked up later";
  group->priorityIs(256);
  EXPECT_EQ(bed.changes(), Lines{"= /cbsr[239.0.0.0/8]/priority 256"})
      << "back to not set is shown, for the engine to ignore";
  for (const char* none : {"", "0.0.0.0", "2001:db8::1"}) {
    bed.addressIs("eth0", none);
    EXPECT_EQ(bed.cbsr(), Lines{}) << none;
    expectTraced({"8 Interface eth0 IP unset"});
    bed.addressIs("eth0", "10.1.1.1");
    EXPECT_EQ(bed.cbsr(), Lines{"239.0.0.0/8 eth0 10.1.1.1 256/24/10"});
  }
}

TEST_F(BsrCandidateConfiguration, RuleEditsChangeTheZonesTheyTouch) {
  bed.addressIs("eth0", "10.1.1.1");
  bed.groupAclIs("eth0", "zones");
  bed.start();
  EXPECT_EQ(bed.status->zoneAcl().size(), 1U) << "a list claims its name before it has rules";
  bed.aclIs("zones", {"permit 239.1.0.0/16", "permit 239.3.0.0/16"});
  EXPECT_EQ(bed.cbsr().size(), 2U);
  bed.changes();
  const auto acl = bed.acls->acl("zones");
  acl->ruleIs(30, aclRule("permit 239.5.0.0/16"));
  EXPECT_EQ(bed.changes().front(), "+ /cbsr[239.5.0.0/16]");
  acl->ruleIs(5, aclRule("deny 239.1.0.0/16"));
  EXPECT_EQ(bed.changes(), Lines{"- /cbsr[239.1.0.0/16]"});
  acl->remarkIs(1, "no more of the first");
  acl->ruleIs(40, aclRule("deny 239.1.0.0/16"));
  acl->ruleDel(40);
  acl->ruleIs(15, aclRule("permit 10.0.0.0/8"));
  EXPECT_EQ(bed.changes(), Lines{});
  // Within an edit nothing is seen to go that is there again at its end.
  bed.aclIs("zones", {"permit 239.5.0.0/16", "permit 239.3.0.0/16"});
  EXPECT_EQ(bed.changes(), Lines{});
  acl->typeIs(AclType::extended);
  EXPECT_EQ(bed.cbsr(), Lines{"224.0.0.0/4 eth0 10.1.1.1 64/30/60"});
  expectTraced({"8 PrefixCounter for prefix 224.0.0.0/4 is 1"});
  bed.bsr("eth0")->aclDel("zones");
  EXPECT_EQ(bed.cbsr(), Lines{});
  expectTraced({"8 Deleted interface eth0from BsrConfigAcl object for acl zones"});
}

TEST_F(BsrCandidateConfiguration, WhatAReactorOfTheStatusEditsIsWrittenLast) {
  bed.addressIs("eth0", "10.1.1.1");
  bed.start();
  const auto group = bed.bsr("eth0")->newGroup(prefix("239.0.0.0/8"));
  group->hashMaskLenIs(30);
  const auto reactor = bed.status->cbsrReactor([&](const IpGenPrefix&) { group->priorityIs(9); });
  group->priorityIs(7);
  EXPECT_EQ(bed.cbsr(), Lines{"239.0.0.0/8 eth0 10.1.1.1 9/30/60"});
}

// --- one zone, one interface ------------------------------------------------------------------

struct ZoneConflicts : BsrCandidateConfiguration {
  void SetUp() override {
    bed.addressIs("eth0", "10.1.1.1");
    bed.addressIs("eth1", "10.2.2.2");
    bed.aclIs("zones", {"permit 239.1.0.0/16"});
    bed.aclIs("others", {"permit 239.1.0.0/16"});
  }
  void expectFatal(const std::function<void()>& edit) {
    const auto before = bed.cbsr();
    EXPECT_EQ(refusal(edit), "intfId == kelBsrCandidateConfig()->intfId()");
    expectTraced({"3 Interface eth0 already BSR for zone. Asserting..."});
    EXPECT_EQ(bed.cbsr(), before);
  }
};

TEST_F(ZoneConflicts, GroupAgainstGroup) {
  bed.groupIs("eth0", "239.1.0.0/16");
  bed.start();
  expectFatal([&] { bed.groupIs("eth1", "239.1.0.0/16"); });
  bed.groupIs("eth1", "239.2.0.0/16");  // no assertion: what was refused holds nobody up
  EXPECT_EQ(bed.cbsr().size(), 2U);
}

TEST_F(ZoneConflicts, ListAgainstListAndGroup) {
  bed.groupAclIs("eth0", "zones");
  bed.start();
  expectFatal([&] { bed.groupIs("eth1", "239.1.0.0/16"); });
  EXPECT_TRUE(bed.status->zoneGroup().empty());
  expectFatal([&] { bed.groupAclIs("eth1", "others"); });
  EXPECT_FALSE(bed.status->zoneAcl("others"));
  bed.groupAclIs("eth0", "without rules");
  expectFatal([&] { bed.groupAclIs("eth1", "without rules"); });
}

TEST_F(ZoneConflicts, RuleEdit) {
  bed.groupIs("eth0", "239.1.0.0/16");
  bed.groupAclIs("eth1", "edited");
  bed.aclIs("edited", {"permit 239.5.0.0/16"});
  bed.start();
  // Not even the first of the new zones is taken.
  expectFatal([&] { bed.aclIs("edited", {"permit 238.0.0.0/8", "permit 239.1.0.0/16"}); });
}

}  // namespace
}  // namespace Routing::TestKit
