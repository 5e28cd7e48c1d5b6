#include <gtest/gtest.h>

#include "bsr/config/ConfigSm.h"
#include "tests/bsr/NeighborFixture.h"
#include "tests/support/ConfigBed.h"

namespace Routing::TestKit {
namespace {

struct BorderConfiguration : TracedTest {
  ConfigBed bed;
  void groupIs(const char* intf, const char* group, bool on = true) {
    bed.border(intf)->bsrBorderGrpIs(prefix(group), on);
  }
};

TEST_F(BorderConfiguration, InterfacesShareAnEntry) {
  bed.start();
  groupIs("eth0", "239.1.0.0/16");
  groupIs("eth1", "239.1.0.0/16");
  EXPECT_EQ(bed.borders(), Lines{"239.1.0.0/16 eth0 eth1"});
  expectTraced({"4 Created group 239.1.0.0/16 BSR Border set",
                "4 Added interface eth1 into 239.1.0.0/16 BSR border set."});
  groupIs("eth0", "239.1.0.0/16", false);
  EXPECT_EQ(bed.borders(), Lines{"239.1.0.0/16 eth1"});
  expectTraced({"4 Deleted interface eth0 from 239.1.0.0/16 BSR border set."});
  bed.vrfIntfConfig->intfConfigDel("eth1");
  EXPECT_EQ(bed.borders(), Lines{});
  expectTraced({"4 Deleted group 239.1.0.0/16 BSR Border set"});
  EXPECT_TRUE(bed.sm->state().borderPfxRefCount().empty());
}

TEST_F(BorderConfiguration, AGroupAndAListCountTwice) {
  bed.aclIs("inside", {"permit 239.1.0.0/16"});
  bed.aclIs("outside", {"permit 239.2.0.0/16"});
  groupIs("eth0", "239.1.0.0/16");
  bed.start();
  bed.border("eth0")->bsrBorderAclIs("inside", true);
  expectTraced({"8 PrefixCounter for prefix 239.1.0.0/16 is 2"});
  bed.changes();
  groupIs("eth0", "239.1.0.0/16", false);
  EXPECT_EQ(bed.changes(), Lines{});
  groupIs("eth0", "239.1.0.0/16");
  bed.border("eth0")->bsrBorderAclIs("inside", false);
  EXPECT_EQ(bed.borders(), Lines{"239.1.0.0/16 eth0"});
  expectTraced({"8 Deleted interface eth0from BsrConfigAcl object for acl inside"});
  bed.border("eth1")->bsrBorderAclIs("outside", true);
  expectTraced({"4 Created group 239.2.0.0/16 BSR border set"});
  bed.border("eth1")->bsrBorderAclIs("outside", false);
  EXPECT_TRUE(bed.sm->state().bsrConfigAcl().empty());
}

TEST_F(BorderConfiguration, ListsAreFollowed) {
  bed.border("eth0")->bsrBorderAclIs("inside", true);
  bed.border("eth1")->bsrBorderAclIs("inside", true);
  bed.start();
  EXPECT_EQ(bed.borders(), Lines{});
  bed.aclIs("inside", {"permit 239.1.0.0/16"});
  EXPECT_EQ(bed.borders(), Lines{"239.1.0.0/16 eth0 eth1"});
  expectTraced({"8 Writing to Status for 239.1.0.0/16 and interface  eth0",
                "8 Acl name found in ACL config", "8 Group added to BsrConfigAcl Map 239.1.0.0/16",
                "4 Created group 239.1.0.0/16 Bsr Border set",
                "4 Added interface eth0 into 239.1.0.0/16 BSR border."});
  bed.aclIs("inside", {"permit any"});
  EXPECT_EQ(bed.borders(), Lines{"224.0.0.0/4 eth0 eth1"});
  expectTraced({"4 Deleted interfaceeth0 from 239.1.0.0/16 BSR border set.",
                "8 Removing interface eth0 for prefix 239.1.0.0/16"});
}

TEST_F(BorderConfiguration, AnotherEntityOfAnInterfaceIsADifference) {
  groupIs("eth0", "239.1.0.0/16");
  groupIs("eth0", "239.2.0.0/16");
  bed.start();
  bed.changes();
  const auto other = std::make_shared<Bsr::IntfConfig>("eth0");
  other->bsrBorderGrpIs(prefix("239.2.0.0/16"), true);
  other->bsrBorderGrpIs(prefix("239.3.0.0/16"), true);
  bed.vrfIntfConfig->intfConfigIs("eth0", other);
  EXPECT_EQ(bed.changes(),
            (Lines{"+ /bsBorder[239.3.0.0/16]", "+ /bsBorder[239.3.0.0/16]/intfId['eth0']",
                   "- /bsBorder[239.1.0.0/16]/intfId['eth0']", "- /bsBorder[239.1.0.0/16]"}));
}

}  // namespace
}  // namespace Routing::TestKit
