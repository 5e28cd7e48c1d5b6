#include <gtest/gtest.h>

#include "bsr/config/ConfigSm.h"
#include "tests/bsr/NeighborFixture.h"
#include "tests/support/ConfigBed.h"
#include "tests/support/Refusal.h"

namespace Routing::TestKit {
namespace {

struct ConfigSmTest : TracedTest {
  ConfigBed bed;
};

TEST_F(ConfigSmTest, CopiesTheHoldTimeAtOnce) {
  bed.start();
  EXPECT_EQ(bed.status->bsTimeout(), 130U);
  bed.config->holdTimeIs(12);
  EXPECT_EQ(bed.status->bsTimeout(), 12U);
  expectTraced({"4 BSR Hold Time is 12"});
  EXPECT_THROW(bed.config->holdTimeIs(11), RangeError);
  EXPECT_EQ(bed.status->bsTimeout(), 12U);
}

TEST_F(ConfigSmTest, NamesTheInputThatIsMissing) {
  bed.status = nullptr;
  EXPECT_EQ(refusal([this] { bed.start(); }), "status()");
}

TEST_F(ConfigSmTest, RaisesAScopeZoneTimeoutThatIsTooLow) {
  struct {
    unsigned hold, configured, status;
    const char* trace;
  } const rows[] = {
      {130, 1300, 1300, "4 Scoped Zone timeout is 1300 secs"},
      {200, 1301, 2000,
       "4 Scoped Zone timeout 1301 secs too low. Setting it to 2000 secs in status"},
      // Ten times the hold time wraps at 32 bits.
      {429496730, 1301, 1301, "4 Scoped Zone timeout is 1301 secs"},
      {1073741823, 1301, 2147483638,
       "4 Scoped Zone timeout 1301 secs too low. Setting it to 2147483638 secs in status"},
  };
  for (const auto& row : rows) {
    ConfigBed each;
    each.start();
    each.config->holdTimeIs(row.hold);
    EXPECT_EQ(each.status->szTimeout(), 1300U) << "a hold time alone changes nothing";
    if (row.configured != 1300) each.config->szTimeoutIs(row.configured);
    EXPECT_EQ(each.status->szTimeout(), row.status);
    expectTraced({row.trace});
  }
}

TEST_F(ConfigSmTest, ClearsTheCountersOfPimOnRequest) {
  bed.status->countersIs("counters")->rxIs(7);
  bed.pimCounters->rxHelloIs(3);
  bed.start();
  EXPECT_EQ(bed.sm->zeroPfx(), prefix("0.0.0.0/0"));
  EXPECT_EQ(bed.pimCounters->rxHello(), 3U);
  bed.changes();
  bed.clearConfig->countersCountInc();
  EXPECT_EQ(bed.pimCounters->rxHello(), 0U);
  EXPECT_EQ(bed.changes(), std::vector<std::string>{});
  bed.pimCounters->rxHelloIs(3);
  const auto other = std::make_shared<Bsr::ClearConfig>(VrfName("default"));
  bed.sm->clearConfigIs(other);
  EXPECT_EQ(bed.pimCounters->rxHello(), 0U);
  bed.pimCounters->rxHelloIs(3);
  other->countersCountInc();
  EXPECT_EQ(bed.pimCounters->rxHello(), 0U);

  bed.pimCounters.reset();
  bed.restart();
  bed.clearConfig->countersCountInc();
}

TEST_F(ConfigSmTest, AnotherConfigEntityIsAppliedAsADifference) {
  bed.addressIs("eth0", "10.1.1.1");
  bed.aclIs("rps", {"permit 10.0.0.0/8"});
  bed.config->crpFilterAclIs("rps", true);
  bed.groupIs("eth0", "239.1.0.0/16");
  bed.groupIs("eth0", "239.2.0.0/16");
  bed.groupIs("eth0", "239.3.0.0/16");
  bed.rp("eth0")->groupRangeIs(prefix("224.0.0.0/4"), true);
  bed.rp("eth1")->groupRangeIs(prefix("224.0.0.0/4"), true);
  bed.start();
  bed.changes();

  const auto before = bed.config;
  bed.config = std::make_shared<Bsr::Config>(VrfName("default"));
  bed.config->holdTimeIs(150);
  bed.groupIs("eth0", "239.2.0.0/16", 70);
  bed.groupIs("eth0", "239.3.0.0/16", 256);  // not set: the earlier settings stay
  bed.rp("eth0")->groupRangeIs(prefix("225.0.0.0/8"), true);
  bed.sm->configIs(bed.config);
  EXPECT_EQ(bed.changes(),
            (Lines{"= /bsTimeout 150", "= /szTimeout 1500", "+ /crpPermit[0.0.0.0/0]",
                   "- /crpPermit[10.0.0.0/8]", "= /cbsr[239.2.0.0/16]/priority 70",
                   "- /cbsr[239.1.0.0/16]", "- /zoneGroup[239.1.0.0/16]",
                   "+ /crp[10.1.1.1]/prefixSet[225.0.0.0/8]",
                   "- /crp[10.1.1.1]/prefixSet[224.0.0.0/4]"}));
  before->holdTimeIs(99);
  before->newBsrCandidateConfig(IntfId("eth0"))->newGroup(prefix("239.7.0.0/16"))->priorityIs(1);
  before->crpFilterAclIs("rps", false);
  EXPECT_EQ(bed.changes(), Lines{});
  EXPECT_EQ(bed.violations, Lines{});
}

TEST_F(ConfigSmTest, EditsThatBelongTogetherAreWrittenAsOne) {
  for (const char* intf : {"eth0", "eth1"})
    bed.addressIs(intf, intf[3] == '0' ? "10.1.1.1" : "10.2.2.2");
  bed.aclIs("old", {"permit 239.1.0.0/16", "permit 10.0.0.0/8"});
  bed.config->crpFilterAclIs("old", true);
  bed.groupAclIs("eth0", "old");
  bed.groupIs("eth0", "239.2.0.0/16");
  bed.border("eth0")->bsrBorderAclIs("old", true);
  bed.rp("eth0")->aclIs("old", true);
  bed.start();
  bed.changes();

  bed.config->editingIs(true);
  bed.groupIs("eth1", "239.2.0.0/16", 70);  // two interfaces have it now
  bed.aclIs("old", {});
  bed.aclIs("new", {"permit 10.0.0.0/8"});
  bed.groupIs("eth0", "239.1.0.0/16");
  bed.border("eth0")->bsrBorderGrpIs(prefix("239.1.0.0/16"), true);
  bed.rp("eth0")->groupRangeIs(prefix("239.1.0.0/16"), true);
  bed.config->crpFilterAclIs("old", false);
  bed.config->crpFilterAclIs("new", true);
  bed.bsr("eth0")->groupDel(prefix("239.2.0.0/16"));
  EXPECT_EQ(bed.changes(), Lines{});
  bed.restart();
  EXPECT_EQ(bed.changes(), Lines{}) << "a start waits as well";
  bed.config->editingIs(false);
  EXPECT_EQ(bed.cbsr(),
            (Lines{"239.1.0.0/16 eth0 10.1.1.1 64/30/60", "239.2.0.0/16 eth1 10.2.2.2 70/30/60"}));
  Lines gone = bed.changes();
  std::erase_if(gone, [](const std::string& line) { return line[0] != '-'; });
  EXPECT_EQ(gone, (Lines{"- /cbsr[239.2.0.0/16]", "- /zoneGroup[239.2.0.0/16]"}));
  EXPECT_EQ(bed.violations, Lines{});
}

// --- the filter of candidate RPs --------------------------------------------------------------

struct Filter : ConfigSmTest {
  void TearDown() override { EXPECT_EQ(bed.violations, Lines{}); }
};

TEST_F(Filter, PermitsEveryoneUnlessSomeListPermitsSomeone) {
  bed.aclIs("ten", {"permit 10.0.0.0/8"});
  bed.aclIs("none", {"deny 10.0.0.0/8"});
  bed.aclIs("groups", {"permit 239.0.0.0/8"});
  bed.start();
  EXPECT_EQ(bed.permit(), Lines{"0.0.0.0/0"});
  bed.config->crpFilterAclIs("ten", true);
  EXPECT_EQ(bed.permit(), Lines{"10.0.0.0/8"});
  for (const char* name : {"none", "groups", "unknown"}) bed.config->crpFilterAclIs(name, true);
  EXPECT_EQ(bed.permit(), Lines{"10.0.0.0/8"});
  bed.config->crpFilterAclIs("ten", false);
  EXPECT_EQ(bed.permit(), Lines{"0.0.0.0/0"});
  bed.config->crpFilterAclDelAll();
  EXPECT_EQ(bed.permit(), Lines{"0.0.0.0/0"});
  EXPECT_TRUE(bed.sm->state().bsrConfigAcl().empty());
}

TEST_F(Filter, CountsPrefixesOfSeveralLists) {
  bed.aclIs("a", {"permit 10.0.0.0/8"});
  bed.aclIs("b", {"permit 10.0.0.0/8", "permit 192.0.2.0/24"});
  bed.config->crpFilterAclIs("a", true);
  bed.start();
  bed.config->crpFilterAclIs("b", true);
  expectTraced({"8 Filter ACL PrefixCounter for prefix 10.0.0.0/8 is 2"});
  EXPECT_EQ(bed.permit(), (Lines{"10.0.0.0/8", "192.0.2.0/24"}));
  bed.config->crpFilterAclIs("b", false);
  EXPECT_EQ(bed.permit(), Lines{"10.0.0.0/8"});
  expectTraced({"8 Filter ACL PrefixCounter for prefix 10.0.0.0/8 is 1",
                "8 Deleted refcount for prefix 192.0.2.0/24",
                "8 Deleted prefix 192.0.2.0/24 from status",
                "8 Deleted BsrConfigAcl object for acl b"});
}

}  // namespace
}  // namespace Routing::TestKit
