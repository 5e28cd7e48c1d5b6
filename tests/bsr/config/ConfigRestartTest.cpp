#include <gtest/gtest.h>

#include "bsr/config/ConfigSm.h"
#include "tests/bsr/NeighborFixture.h"
#include "tests/support/ConfigBed.h"

namespace Routing::TestKit {
namespace {

/// A configuration with every kind of entry, some of them made twice.
struct ConfigRestart : TracedTest {
  ConfigBed bed;

  void SetUp() override {
    bed.addressIs("eth0", "10.1.1.1");
    bed.addressIs("eth1", "10.2.2.2");
    bed.addressIs("eth2", "10.2.2.2");
    bed.aclIs("zones", {"permit 239.1.0.0/16", "permit 239.3.0.0/16"});
    bed.aclIs("rps", {"permit 10.0.0.0/8"});
    bed.groupIs("eth0", "224.0.0.0/4", 5);
    bed.groupIs("eth1", "239.1.0.0/16", 6);
    bed.groupAclIs("eth1", "zones", 7);
    for (const char* intf : {"eth0", "eth1", "eth2"}) {
      bed.rp(intf)->groupRangeIs(prefix("225.0.0.0/8"), true);
    }
    bed.rp("eth1")->aclIs("zones", true);
    bed.rp("eth2")->groupRangeIs(prefix("239.1.0.0/16"), true);
    bed.rangePriorityIs("eth1", "225.0.0.0/8", 10);
    bed.rangePriorityIs("eth2", "225.0.0.0/8", 20);
    bed.rangePriorityIs("eth2", "239.1.0.0/16", 30);
    bed.aclPriorityIs("eth1", "zones", 40);
    bed.border("eth0")->bsrBorderGrpIs(prefix("239.1.0.0/16"), true);
    bed.border("eth0")->bsrBorderAclIs("zones", true);
    bed.config->crpFilterAclIs("rps", true);
    bed.start();
    bed.changes();
  }
  void TearDown() override { EXPECT_EQ(bed.violations, Lines{}); }
  Lines changesOfRestart() {
    bed.restart();
    return bed.changes();
  }
  std::string fresh() const {
    const auto other = bed.twin();
    other->start();
    return other->statusText();
  }
};

TEST_F(ConfigRestart, AnUnchangedConfigurationChangesNothing) {
  const auto state = treeText(bed.sm->state());
  EXPECT_EQ(changesOfRestart(), Lines{});
  EXPECT_EQ(treeText(bed.sm->state()), state);
  bed.config->crpFilterAclIs("rps", false);
  bed.changes();
  EXPECT_EQ(changesOfRestart(), Lines{}) << "without filter";
}

TEST_F(ConfigRestart, WhatIsNotConfiguredAnyMoreGoes) {
  bed.stop();
  bed.bsr("eth1")->aclDel("zones");
  bed.bsr("eth0")->groupDel(prefix("224.0.0.0/4"));
  bed.config->rpCandidateConfigDel(IntfId("eth0"));
  bed.border("eth0")->bsrBorderAclIs("zones", false);
  bed.config->crpFilterAclIs("rps", false);
  EXPECT_EQ(
      changesOfRestart(),
      (Lines{"- /bsBorder[239.3.0.0/16]/intfId['eth0']", "- /bsBorder[239.3.0.0/16]",
             "- /cbsr[224.0.0.0/4]", "- /cbsr[239.3.0.0/16]", "- /crp[10.1.1.1]",
             "+ /crpPermit[0.0.0.0/0]", "- /crpPermit[10.0.0.0/8]", "- /zoneGroup[224.0.0.0/4]",
             "- /zoneAcl['zones']", "= /cbsr[239.1.0.0/16]/priority 6"}));
  expectTraced({"8 Deleted Interface eth0 from prefix 239.3.0.0/16 in status",
                "8 Deleting prefix 239.3.0.0/16 from status",
                "8 Deleting zone 224.0.0.0/4 from CBSR status",
                "8 Deleting CRP 10.1.1.1 from status",
                "8 Deleting CRP Permit Prefix 10.0.0.0/8 from status"});
  EXPECT_EQ(bed.statusText(), fresh());
}

TEST_F(ConfigRestart, SurvivorsAreBroughtUpToDateInPlace) {
  bed.stop();
  const auto candidate = bed.status->cbsr(prefix("239.3.0.0/16"));
  candidate->electedIs(true);
  bed.status->crp(addr("10.1.1.1"))->intervalIs(Pim::Bsr::CrpAdvInterval(120));
  bed.status->crp(addr("10.1.1.1"))->prefixSetIs(prefix("238.0.0.0/8"), true);
  bed.status->crp(addr("10.1.1.1"))->newPrefixOptions(prefix("238.0.0.0/8"));
  bed.config->bsrCandidateConfig(IntfId("eth1"))->acl("zones")->priorityIs(8);
  bed.aclIs("rps", {"permit 172.16.0.0/12"});
  bed.rp("eth2")->modeIs(Pim::PimMode::bidirectional);  // eth1 speaks for the address
  bed.rp("eth0")->modeIs(Pim::PimMode::bidirectional);
  bed.changes();
  EXPECT_EQ(changesOfRestart(),
            (Lines{"+ /crpPermit[172.16.0.0/12]", "- /crpPermit[10.0.0.0/8]",
                   "= /cbsr[239.1.0.0/16]/priority 8", "= /cbsr[239.3.0.0/16]/priority 8",
                   "= /crp[10.1.1.1]/interval 60", "= /crp[10.1.1.1]/mode bidirectional",
                   "- /crp[10.1.1.1]/prefixOptions[238.0.0.0/8]",
                   "- /crp[10.1.1.1]/prefixSet[238.0.0.0/8]"}));
  EXPECT_TRUE(candidate->elected());
  EXPECT_EQ(bed.status->cbsr(prefix("239.3.0.0/16")), candidate);
}

TEST_F(ConfigRestart, AddressesThatChangedWhileItWasDown) {
  bed.stop();
  bed.addressIs("eth0", "10.1.1.9");
  bed.addressIs("eth1", "");
  const auto lines = changesOfRestart();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "= /cbsr[224.0.0.0/4]/address 10.1.1.9"), 1);
  EXPECT_EQ(bed.cbsr(), Lines{"224.0.0.0/4 eth0 10.1.1.9 5/30/60"});
  EXPECT_EQ(bed.crp(), (Lines{"10.1.1.9 eth0 60 sparse 225.0.0.0/8",
                              "10.2.2.2 eth2 60 sparse 225.0.0.0/8=20 239.1.0.0/16=30"}));
}

TEST_F(ConfigRestart, UntilTheDumpIsDoneAddressesMayStillCome) {
  bed.stop();
  bed.sourceIntfSm->initialDumpDoneIs(false);
  for (const char* intf : {"eth0", "eth1", "eth2"}) bed.addressIs(intf, "");
  bed.changes();
  EXPECT_EQ(changesOfRestart(), Lines{});
  bed.addressIs("eth0", "10.1.1.1");
  bed.addressIs("eth1", "10.2.2.2");
  EXPECT_EQ(bed.cbsr().size(), 3U);
  bed.addressIs("eth0", "");
  EXPECT_EQ(bed.cbsr().size(), 2U) << "once it had come it is waited for no more";
  EXPECT_FALSE(bed.status->crp(addr("10.1.1.1")));
  bed.addressIs("eth0", "10.1.1.1");
  bed.changes();
  bed.addressIs("eth2", "10.2.2.2");
  bed.sourceIntfSm->initialDumpDoneIs(true);
  EXPECT_EQ(bed.statusText(), fresh());
}

TEST_F(ConfigRestart, WhatHasNoAddressAfterTheDumpGoes) {
  bed.rp("eth3")->groupRangeIs(prefix("225.0.0.0/8"), true);
  bed.addressIs("eth3", "10.3.3.3");
  bed.stop();
  bed.rp("eth3")->groupRangeIs(prefix("225.0.0.0/8"), false);
  bed.sourceIntfSm->initialDumpDoneIs(false);
  for (const char* intf : {"eth0", "eth1", "eth2", "eth3"}) bed.addressIs(intf, "");
  bed.changes();
  EXPECT_EQ(changesOfRestart(), Lines{"- /crp[10.3.3.3]"}) << "it serves nothing";
  bed.config->rpCandidateConfigDel(IntfId("eth0"));
  EXPECT_EQ(bed.changes(), Lines{"- /crp[10.1.1.1]"}) << "what is kept for others stays";
  bed.addressIs("eth0", "10.1.1.7");
  bed.bsr("eth1")->groupDel(prefix("239.1.0.0/16"));
  EXPECT_FALSE(bed.status->zoneGroup(prefix("239.1.0.0/16")));
  EXPECT_EQ(bed.crp().size(), 1U);
  bed.sourceIntfSm->initialDumpDoneIs(true);
  EXPECT_EQ(bed.cbsr(), Lines{"224.0.0.0/4 eth0 10.1.1.7 5/30/60"});
  EXPECT_EQ(bed.crp(), Lines{});
}

}  // namespace
}  // namespace Routing::TestKit
