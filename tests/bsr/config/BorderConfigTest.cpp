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

TEST_F(BorderConfiguration, GroupsListsAndRulesAreToldInTheirOwnWords) {
  bed.start();
  for (const char* intf : {"eth0", "eth1"}) groupIs(intf, "239.1.0.0/16");
  expectTraced({"4 Created group 239.1.0.0/16 BSR Border set",
                "4 Added interface eth1 into 239.1.0.0/16 BSR border set.",
                "8 PrefixCounter for prefix 239.1.0.0/16 is 1"});
  groupIs("eth0", "239.1.0.0/16", false);
  expectTraced({"4 Deleted interface eth0 from 239.1.0.0/16 BSR border set.",
                "8 Deleted refcount object for interface eth0"});
  bed.aclIs("inside", {"permit 239.1.0.0/16", "permit 239.2.0.0/16"});
  bed.border("eth1")->bsrBorderAclIs("inside", true);
  expectTraced({"4 Created group 239.2.0.0/16 BSR border set",
                "8 PrefixCounter for prefix 239.1.0.0/16 is 2"});
  bed.aclIs("inside", {"permit any"});
  expectTraced({"8 Writing to Status for 224.0.0.0/4 and interface  eth1",
                "8 Acl name found in ACL config", "8 Group added to BsrConfigAcl Map 224.0.0.0/4",
                "4 Created group 224.0.0.0/4 Bsr Border set",
                "4 Added interface eth1 into 224.0.0.0/4 BSR border.",
                "8 Removing interface eth1 for prefix 239.2.0.0/16",
                "4 Deleted interfaceeth1 from 239.2.0.0/16 BSR border set."});
  EXPECT_EQ(bed.borders(), (Lines{"224.0.0.0/4 eth1", "239.1.0.0/16 eth1"}));
  bed.vrfIntfConfig->intfConfigDel("eth1");
  expectTraced({"4 Deleted group 239.1.0.0/16 BSR Border set",
                "8 Deleted interface eth1from BsrConfigAcl object for acl inside"});
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
