#include <gtest/gtest.h>

#include "bsr/config/ConfigSm.h"
#include "tests/bsr/NeighborFixture.h"
#include "tests/support/ConfigBed.h"

namespace Routing::TestKit {
namespace {

struct RpCandidateConfiguration : TracedTest {
  ConfigBed bed;
  void SetUp() override { bed.addressIs("eth0", "10.1.1.1"); }
  void TearDown() override { EXPECT_EQ(bed.violations, Lines{}); }
  void rangeIs(const char* intf, const char* range, bool on = true) {
    bed.rp(intf)->groupRangeIs(prefix(range), on);
  }
};

TEST_F(RpCandidateConfiguration, RangesAndSettingsComeAndGo) {
  bed.start();
  bed.rp("eth0")->advIntervalIs(Pim::Bsr::CrpAdvInterval(30));
  EXPECT_EQ(bed.crp(), Lines{}) << "no entry for settings alone";
  rangeIs("eth0", "224.0.0.0/4");
  expectTraced({"4 New RP candidate configured for interface eth0", "4 Created C-RP 10.1.1.1",
                "8 Added Prefix 224.0.0.0/4 to C-RP 10.1.1.1",
                "8 C-RP PrefixCounter for prefix 224.0.0.0/4 is 1"});
  bed.rangePriorityIs("eth0", "224.0.0.0/4", 10);
  expectTraced({"4 Priority of 224.0.0.0/4 changed to 10"});
  rangeIs("eth0", "224.0.0.0/4", false);
  EXPECT_EQ(bed.crp(), Lines{});
  expectTraced({"8 Deleted prefix 224.0.0.0/4 from prefixSet",
                "4 Deleted candidate RP 10.1.1.1 since it doest serve any group"});
  rangeIs("eth0", "224.0.0.0/4");
  EXPECT_EQ(bed.crp(), Lines{"10.1.1.1 eth0 30 sparse 224.0.0.0/4=10"})
      << "an option that was there before its range";
  bed.rp("eth0")->advIntervalIs(Pim::Bsr::CrpAdvInterval(20));
  expectTraced({"4 Advertisement interface for Candidate C-RP 10.1.1.1 changed to 20"});
  bed.rp("eth0")->modeIs(Pim::PimMode::bidirectional);
  expectTraced({"4 Pim mode for Candidate C-RP 10.1.1.1 changed to bidirectional"});
  EXPECT_EQ(bed.crp(), Lines{"10.1.1.1 eth0 20 bidirectional 224.0.0.0/4=10"});
}

TEST_F(RpCandidateConfiguration, TheEntryMovesWithTheAddress) {
  bed.addressIs("eth0", "");
  bed.aclIs("groups", {"permit 239.0.0.0/8"});
  rangeIs("eth0", "224.1.0.0/16");
  bed.rp("eth0")->aclIs("groups", true);
  bed.sourceIntfSm->initialDumpDoneIs(false);
  bed.start();
  expectTraced({"8 Deferred C-RP initialization since IP address for interface eth0 is not set"});
  EXPECT_TRUE(bed.sm->state().crpPfxRefCount().empty());
  bed.addressIs("eth0", "10.1.1.1");
  expectTraced({"8 Interface eth0 assigned IP 10.1.1.1 for the first time."});
  bed.addressIs("eth0", "10.1.1.2");
  EXPECT_EQ(bed.crp(), Lines{"10.1.1.2 eth0 60 sparse 224.1.0.0/16 239.0.0.0/8"});
  expectTraced({"4 Deleted candidate RP 10.1.1.1"});
  bed.addressIs("eth0", "");
  expectTraced({"8 C-RP Interface eth0 IP unset"});
  EXPECT_EQ(bed.crp(), Lines{});
}

TEST_F(RpCandidateConfiguration, ListEditsAddBeforeTheyRemove) {
  bed.aclIs("groups", {"permit 239.1.0.0/16"});
  bed.rp("eth0")->aclIs("groups", true);
  bed.aclPriorityIs("eth0", "groups", 5);
  bed.start();
  expectTraced({"8 Added interface eth0 to BsrConfigAcl's C-RP object for acl groups",
                "4 Created C-RP with IP 10.1.1.1 advInterval=60",
                "8 Address prefix 239.1.0.0/16 as part of Aclgroups to C-RP 10.1.1.1",
                "8 Created priority 5 to prefix 239.1.0.0/16 to C-RP 10.1.1.1"});
  bed.changes();
  bed.aclIs("groups", {"permit 239.3.0.0/16"});
  EXPECT_EQ(bed.changes(), (Lines{"+ /crp[10.1.1.1]/prefixSet[239.3.0.0/16]",
                                  "+ /crp[10.1.1.1]/prefixOptions[239.3.0.0/16]",
                                  "= /crp[10.1.1.1]/prefixOptions[239.3.0.0/16]/priority 256",
                                  "= /crp[10.1.1.1]/prefixOptions[239.3.0.0/16]/priority 5",
                                  "- /crp[10.1.1.1]/prefixOptions[239.1.0.0/16]",
                                  "- /crp[10.1.1.1]/prefixSet[239.1.0.0/16]"}));
  bed.aclIs("groups", {"deny any"});
  EXPECT_EQ(bed.crp(), Lines{}) << "it serves no group";
}

TEST_F(RpCandidateConfiguration, APriorityThatGoesLeavesTheNextOne) {
  bed.aclIs("a", {"permit 239.0.0.0/8"});
  bed.aclIs("b", {"permit 239.0.0.0/8", "permit 225.0.0.0/8"});
  rangeIs("eth0", "239.0.0.0/8");
  for (const char* acl : {"a", "b"}) bed.rp("eth0")->aclIs(acl, true);
  bed.start();
  bed.rangePriorityIs("eth0", "239.0.0.0/8", 10);
  EXPECT_EQ(bed.crp(), Lines{"10.1.1.1 eth0 60 sparse 225.0.0.0/8 239.0.0.0/8=10"});
  bed.aclPriorityIs("eth0", "b", 30);
  bed.aclPriorityIs("eth0", "a", 20);
  EXPECT_EQ(bed.crp(), Lines{"10.1.1.1 eth0 60 sparse 225.0.0.0/8=30 239.0.0.0/8=30"});
  expectTraced({"4 Priority for Candidate RP in ACL b with intf ip 10.1.1.1 changed to 30"});
  bed.changes();
  bed.rp("eth0")->groupRangeOptionsDel(prefix("239.0.0.0/8"));
  EXPECT_EQ(bed.changes(), Lines{});
  expectTraced(
      {"8 Created prefix 239.0.0.0/8 with priority 30 to C-RP 10.1.1.1 because this prefix appears "
       "in ACL rules."});
  bed.rp("eth0")->aclOptionsDel("b");
  EXPECT_EQ(bed.changes(), (Lines{"- /crp[10.1.1.1]/prefixOptions[225.0.0.0/8]",
                                  "= /crp[10.1.1.1]/prefixOptions[239.0.0.0/8]/priority 20"}));
  expectTraced(
      {"8 Created prefix 239.0.0.0/8 with priority 20 to C-RP 10.1.1.1 because this prefix appears "
       "in other ACL rules or in group range."});
  bed.aclPriorityIs("eth0", "a", 256);
  EXPECT_EQ(bed.crp(), Lines{"10.1.1.1 eth0 60 sparse 225.0.0.0/8 239.0.0.0/8"});
  expectTraced({"8 Deleted priority of prefix 239.0.0.0/8 from prefixOptions"});
}

TEST_F(RpCandidateConfiguration, AStretchedIntervalOutlastsOtherChanges) {
  rangeIs("eth0", "225.0.0.0/8");
  bed.start();
  bed.status->crp(addr("10.1.1.1"))->intervalIs(Pim::Bsr::CrpAdvInterval(120));
  rangeIs("eth0", "226.0.0.0/8");
  bed.rp("eth0")->modeIs(Pim::PimMode::bidirectional);
  EXPECT_EQ(bed.crp(), Lines{"10.1.1.1 eth0 120 bidirectional 225.0.0.0/8 226.0.0.0/8"});
  bed.restart();
  EXPECT_EQ(bed.crp(), Lines{"10.1.1.1 eth0 60 bidirectional 225.0.0.0/8 226.0.0.0/8"});
}

}  // namespace
}  // namespace Routing::TestKit
