#include <gtest/gtest.h>

#include <set>

#include "bsr/coll/PimBsrColl.h"
#include "platform/entity/MountTable.h"
#include "tests/support/Refusal.h"

namespace Routing::Pim::Bsr {
namespace {

TEST(PimBsrColl, PathsDifferAndOtherFamiliesFail) {
  std::set<std::string_view> paths;
  for (const AddressFamily af : {AddressFamily::ipv4, AddressFamily::ipv6}) {
    paths.insert(
        {ConfigColl::mountPath(af), ClearConfigColl::mountPath(af), StatusColl::mountPath(af)});
  }
  EXPECT_EQ(paths, (std::set<std::string_view>{
                       "routing/pim/bsr/configcoll", "routing6/pim/bsr/configcoll",
                       "routing/pim/bsr/clear/configcoll", "routing6/pim/bsr/clear/configcoll",
                       "routing/pim/bsr/statuscoll", "routing6/pim/bsr/statuscoll"}));
  for (const auto path :
       {&ConfigColl::mountPath, &ClearConfigColl::mountPath, &StatusColl::mountPath}) {
    EXPECT_EQ(TestKit::refusal([&] { path(AddressFamily::unset); }),
              "false && \"Unsupported address family\"");
  }
}

TEST(PimBsrColl, HoldsTheDefaultVrfFromTheStart) {
  MountTable mounts;
  const AddressFamily af = AddressFamily::ipv6;
  mounts.mountIs(ConfigColl::mountPath(af), std::make_shared<ConfigColl>("config"));
  mounts.mountIs(ClearConfigColl::mountPath(af), std::make_shared<ClearConfigColl>("clear"));
  mounts.mountIs(StatusColl::mountPath(af), std::make_shared<StatusColl>("status"));
  const auto config = mounts.mount<ConfigColl>("routing6/pim/bsr/configcoll");
  const auto clear = mounts.mount<ClearConfigColl>("routing6/pim/bsr/clear/configcoll");
  const auto status = mounts.mount<StatusColl>("routing6/pim/bsr/statuscoll");
  ASSERT_TRUE(config && clear && status);
  EXPECT_EQ(config->vrfConfig().size(), 1U);
  EXPECT_EQ(clear->vrfClearConfig().size(), 1U);
  EXPECT_EQ(status->vrfStatus().size(), 1U);
  EXPECT_TRUE(config->intfConfig().empty());
  const VrfName name("default");
  EXPECT_EQ(config->vrfConfigIs(name), config->vrfConfig(name));
  EXPECT_EQ(status->vrfStatus(name)->vrfName(), name);
}

}  // namespace
}  // namespace Routing::Pim::Bsr
