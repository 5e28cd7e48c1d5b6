#include <gtest/gtest.h>

#include "agent/kernel/LocalRoutes.h"
#include "tests/support/Octets.h"

namespace Routing::Agent {
namespace {

using TestKit::addr;

Interface with(const std::vector<std::string>& addresses) {
  Interface interface;
  for (const std::string& text : addresses)
    interface.addresses.push_back({addr(text), 24, false, 0});
  return interface;
}

bool isLocal(const LocalRoutes& routes, const std::string& address) {
  const IpGenPrefix host = IpGenPrefix::host(addr(address));
  const bool local = routes.status()->table().entry(host).kind == Pim::ForwardingKind::local;
  EXPECT_EQ(routes.status()->trie().route(host), local) << address;
  return local;
}

TEST(LocalRoutes, HoldAnAddressAsLongAsAnyInterfaceHasIt) {
  LocalRoutes routes(AddressFamily::ipv4);
  const Interface a = with({"10.0.0.1", "10.9.9.9", "fe80::1"});
  const Interface b = with({"10.0.1.1", "10.9.9.9"});
  routes.intfChanged(nullptr, &a);
  routes.intfChanged(nullptr, &b);
  EXPECT_TRUE(isLocal(routes, "10.0.0.1"));
  EXPECT_TRUE(isLocal(routes, "10.9.9.9"));
  EXPECT_FALSE(isLocal(routes, "10.0.0.2"));
  const Interface more = with({"10.0.1.1", "10.0.1.2", "10.9.9.9"});
  routes.intfChanged(&b, &more);
  EXPECT_TRUE(isLocal(routes, "10.0.1.2"));
  routes.intfChanged(&more, &b);
  EXPECT_FALSE(isLocal(routes, "10.0.1.2"));
  routes.intfChanged(&a, nullptr);
  EXPECT_FALSE(isLocal(routes, "10.0.0.1"));
  EXPECT_TRUE(isLocal(routes, "10.9.9.9"));
  routes.intfChanged(&b, nullptr);
  EXPECT_FALSE(isLocal(routes, "10.9.9.9"));
}

}  // namespace
}  // namespace Routing::Agent
