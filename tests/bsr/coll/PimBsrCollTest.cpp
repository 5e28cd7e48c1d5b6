#include <gtest/gtest.h>

#include <string>

#include "bsr/coll/PimBsrColl.h"
#include "platform/entity/MountTable.h"
#include "tests/support/Refusal.h"

namespace Routing::Pim::Bsr {
namespace {

TEST(PimBsrColl, MountsHoldTheDefaultVrfFromTheStart) {
  MountTable mounts;
  for (const AddressFamily af : {AddressFamily::ipv4, AddressFamily::ipv6}) {
    mounts.mountIs(ConfigColl::mountPath(af), std::make_shared<ConfigColl>("config"));
    mounts.mountIs(ClearConfigColl::mountPath(af), std::make_shared<ClearConfigColl>("clear"));
    mounts.mountIs(StatusColl::mountPath(af), std::make_shared<StatusColl>("status"));
  }
  const VrfName name("default");
  for (const std::string root : {"routing/pim/bsr/", "routing6/pim/bsr/"}) {
    const auto config = mounts.mount<ConfigColl>(root + "configcoll");
    const auto clear = mounts.mount<ClearConfigColl>(root + "clear/configcoll");
    const auto status = mounts.mount<StatusColl>(root + "statuscoll");
    ASSERT_TRUE(config && clear && status) << root;
    EXPECT_TRUE(config->vrfConfig(name) && clear->vrfClearConfig(name)) << root;
    EXPECT_EQ(config->vrfConfigIs(name), config->vrfConfig(name));
    EXPECT_EQ(status->vrfStatus(name)->vrfName(), name);
  }
  for (const auto path :
       {&ConfigColl::mountPath, &ClearConfigColl::mountPath, &StatusColl::mountPath}) {
    EXPECT_EQ(TestKit::refusal([&] { path(AddressFamily::unset); }),
              "false && \"Unsupported address family\"");
  }
}

}  // namespace
}  // namespace Routing::Pim::Bsr
