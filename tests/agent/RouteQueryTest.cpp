#include <net/if.h>
#include <unistd.h>

#include <fstream>
#include <set>
#include <utility>

#include "agent/kernel/RouteChanges.h"
#include "agent/kernel/RouteQuery.h"
#include "tests/agent/OwnNetwork.h"

namespace Routing::Agent {
namespace {

/// HopTexts as "INTERFACE" or "INTERFACE GATEWAY".
using HopTexts = std::multiset<std::string>;

class RouteQueryTest : public OwnNetwork {
 protected:
  void SetUp() override {
    OwnNetwork::SetUp();
    if (IsSkipped()) return;
    ipBatch(
        "link add v0 type veth peer name p0\nlink add v1 type veth peer name p1\n"
        "link set v0 up\nlink set v1 up\nlink set p0 up\nlink set p1 up\n"
        "addr add 10.0.0.1/24 dev v0\naddr add 10.0.1.1/24 dev v1\n"
        "addr add 2001:db8::1/64 dev v0 nodad\naddr add 2001:db8:1::1/64 dev v1 nodad\n");
  }

  HopTexts hops(const std::string& address, std::uint32_t vrfIndex = 0) {
    const auto answer = query->hops(IpGenAddr::fromText(address).value(), vrfIndex);
    if (!answer) return {"no answer"};
    HopTexts result;
    for (const RouteHop& hop : *answer) {
      char name[IF_NAMESIZE]{};
      if_indextoname(hop.index, name);
      result.insert(name + (hop.gateway.isUnset() ? "" : " " + hop.gateway.text()));
    }
    return result;
  }

  /// The kernel makes an IPv6 address local a moment after it has taken it.
  void awaitLocal(const std::string& address) {
    for (int tries = 0; tries < 500 && hops(address) != HopTexts{}; ++tries) usleep(10'000);
  }

  // The socket is to be in the test's network.
  struct Lazy {
    RouteQuery* operator->() {
      if (!query) query.emplace();
      return &*query;
    }
    std::optional<RouteQuery> query;
  } query;
};

TEST_F(RouteQueryTest, FollowsIpv4Routes) {
  ipBatch(
      "route add 192.0.2.0/24 via 10.0.0.2\n"
      "route add 198.51.100.0/24 nexthop via 10.0.0.2 nexthop via 10.0.1.2\n"
      "route add blackhole 203.0.113.0/28\nroute add unreachable 203.0.113.16/28\n"
      "route add prohibit 203.0.113.32/28\nroute add 100.64.0.0/24 via inet6 2001:db8::2 dev v0\n"
      "route add 192.0.2.128/25 dev v1 scope link\n");
  EXPECT_EQ(hops("10.0.0.77"), HopTexts{"v0"});
  EXPECT_EQ(hops("192.0.2.1"), HopTexts{"v0 10.0.0.2"});
  EXPECT_EQ(hops("192.0.2.129"), HopTexts{"v1"});
  EXPECT_EQ(hops("198.51.100.1"), (HopTexts{"v0 10.0.0.2", "v1 10.0.1.2"}));
  for (const char* text : {"203.0.113.1", "203.0.113.17", "203.0.113.33", "100.64.0.1", "10.0.0.1",
                           "10.0.1.1", "10.0.0.255", "172.16.0.1"}) {
    EXPECT_EQ(hops(text), HopTexts{}) << text;
  }
  ip("route change 192.0.2.0/24 via 10.0.1.2");
  EXPECT_EQ(hops("192.0.2.1"), HopTexts{"v1 10.0.1.2"});
  ip("route add default via 10.0.0.9");
  EXPECT_EQ(hops("172.16.0.1"), HopTexts{"v0 10.0.0.9"});
}

TEST_F(RouteQueryTest, FollowsIpv6Routes) {
  ipBatch(
      "route add 2001:db8:a::/48 via fe80::2 dev v0\n"
      "route add 2001:db8:b::/48 nexthop via fe80::2 dev v0 nexthop via 2001:db8:1::2\n"
      "route add blackhole 2001:db8:c::/48\nroute add unreachable 2001:db8:d::/48\n"
      "route add prohibit 2001:db8:e::/48\n");
  awaitLocal("2001:db8::1");
  EXPECT_EQ(hops("2001:db8::77"), HopTexts{"v0"});
  EXPECT_EQ(hops("2001:db8:a::1"), HopTexts{"v0 fe80::2"});
  EXPECT_EQ(hops("2001:db8:b::1"), (HopTexts{"v0 fe80::2", "v1 2001:db8:1::2"}));
  for (const char* text :
       {"2001:db8:c::1", "2001:db8:d::1", "2001:db8:e::1", "2001:db8::1", "2001:db8:ffff::1"}) {
    EXPECT_EQ(hops(text), HopTexts{}) << text;
  }
}

TEST_F(RouteQueryTest, AsksAgainForARouteThatOnlyNamesANextHopObject) {
  std::ofstream("/proc/sys/net/ipv4/nexthop_compat_mode") << "0\n";
  ipBatch("nexthop add id 5 via 10.0.0.2 dev v0\nroute add 192.0.2.0/24 nhid 5\n");
  EXPECT_EQ(hops("192.0.2.1"), HopTexts{"v0 10.0.0.2"});
}

TEST_F(RouteQueryTest, KeepsVrfsApart) {
  if (std::system("ip link add red type vrf table 10 2>/dev/null") != 0) {
    GTEST_SKIP() << "the kernel has no VRFs";
  }
  ipBatch(
      "link set red up\nlink set v1 master red\n"
      "addr add 2001:db8:1::1/64 dev v1 nodad\n"
      "route add 192.0.2.0/24 via 10.0.0.2\nroute add 192.0.2.0/24 via 10.0.1.2 vrf red\n"
      "route add 2001:db8:a::/48 via fe80::2 dev v1 vrf red\n");
  const std::uint32_t red = if_nametoindex("red");
  EXPECT_EQ(hops("192.0.2.1"), HopTexts{"v0 10.0.0.2"});
  EXPECT_EQ(hops("192.0.2.1", red), HopTexts{"v1 10.0.1.2"});
  EXPECT_EQ(hops("2001:db8:a::1"), HopTexts{});
  EXPECT_EQ(hops("2001:db8:a::1", red), HopTexts{"v1 fe80::2"});
  EXPECT_EQ(hops("10.0.1.1", red), HopTexts{});
  EXPECT_EQ(hops("10.0.0.77", red), HopTexts{"v0"}) << "the kernel looks on in the main table";
}

TEST_F(RouteQueryTest, IsToldOfWhateverChangesRoutes) {
  EventLoop loop;
  unsigned changes = 0;
  const RouteChanges watch(loop, [&] { ++changes; });
  for (const char* command :
       {"route add 192.0.2.0/24 via 10.0.0.2", "route del 192.0.2.0/24",
        "route add 2001:db8:a::/48 via 2001:db8::2", "rule add pref 5 from 10.9.9.9 lookup 5",
        "-6 rule add pref 5 from 2001:db8:9::9 lookup 5", "nexthop add id 5 via 10.0.0.2 dev v0"}) {
    runFor(loop, 0.02);  // what is still under way
    changes = 0;
    ip(command);
    EXPECT_TRUE(runUntil(loop, [&] { return changes > 0; })) << command;
  }
}

}  // namespace
}  // namespace Routing::Agent
