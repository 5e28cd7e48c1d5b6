#include <gtest/gtest.h>
#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <netlink/attr.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "agent/kernel/NetlinkMessages.h"
#include "agent/kernel/NetlinkSocket.h"
#include "tests/support/Octets.h"

namespace Routing::Agent {
namespace {

using TestKit::addr;

/// A message under construction, read from a copy that ends where the message ends, so that a
/// sanitizer sees every octet that is read beyond.
class Message {
 public:
  template <class Header>
  Message(int type, const Header& header) : request_(netlinkRequest(type, 0, header)) {}

  Message& address(int type, const std::string& text) {
    std::uint8_t octets[16];
    const IpGenAddr value = addr(text);
    value.toBytes(octets);
    nla_put(request_.get(), type, static_cast<int>(addressBytes(value.af())), octets);
    return *this;
  }
  Message& u32(int type, std::uint32_t value) {
    nla_put_u32(request_.get(), type, value);
    return *this;
  }
  Message& text(int type, const std::string& value) {
    nla_put_string(request_.get(), type, value.c_str());
    return *this;
  }
  Message& raw(int type, const std::vector<std::uint8_t>& octets) {
    nla_put(request_.get(), type, static_cast<int>(octets.size()), octets.data());
    return *this;
  }
  Message& kind(const std::string& name) {
    nlattr* nest = nla_nest_start(request_.get(), IFLA_LINKINFO);
    nla_put_string(request_.get(), IFLA_INFO_KIND, name.c_str());
    nla_nest_end(request_.get(), nest);
    return *this;
  }
  nl_msg* get() { return request_.get(); }

  std::vector<std::uint8_t> octets() const {
    const nlmsghdr* header = nlmsg_hdr(request_.get());
    const auto* first = reinterpret_cast<const std::uint8_t*>(header);
    return {first, first + header->nlmsg_len};
  }
  template <class Read>
  auto read(Read&& how) const {
    std::vector<std::uint8_t> copy = octets();
    return how(*reinterpret_cast<nlmsghdr*>(copy.data()));
  }

 private:
  NetlinkRequest request_;
};

Message linkMessage(unsigned flags, unsigned char family = AF_UNSPEC) {
  ifinfomsg header{};
  header.ifi_family = family;
  header.ifi_index = 4;
  header.ifi_flags = flags;
  return {RTM_NEWLINK, header};
}

TEST(NetlinkMessages, ReadALink) {
  const auto link = linkMessage(IFF_UP | IFF_RUNNING)
                        .text(IFLA_IFNAME, "eth0")
                        .u32(IFLA_MTU, 9000)
                        .u32(IFLA_MASTER, 7)
                        .kind("veth")
                        .read(linkOf);
  EXPECT_EQ(link, (Link{4, "eth0", 9000, true, 7, false}));
  const auto vrf = linkMessage(IFF_UP).text(IFLA_IFNAME, "red").kind("vrf").read(linkOf);
  EXPECT_EQ(vrf, (Link{4, "red", 0, false, 0, true}));
}

TEST(NetlinkMessages, LeaveOutLinkNoticesThatSayNothingOfTheDevice) {
  EXPECT_FALSE(linkMessage(IFF_UP, AF_BRIDGE).text(IFLA_IFNAME, "eth0").read(linkOf));
  EXPECT_FALSE(linkMessage(IFF_UP, AF_INET6).text(IFLA_IFNAME, "eth0").read(linkOf));
  EXPECT_FALSE(linkMessage(IFF_UP).read(linkOf));
}

Message addressMessage(unsigned char family, unsigned char length, unsigned char flags = 0) {
  ifaddrmsg header{};
  header.ifa_family = family;
  header.ifa_prefixlen = length;
  header.ifa_flags = flags;
  header.ifa_scope = RT_SCOPE_LINK;
  header.ifa_index = 4;
  return {RTM_NEWADDR, header};
}

TEST(NetlinkMessages, ReadTheOwnAddressOfALink) {
  auto notice = addressMessage(AF_INET, 32, IFA_F_SECONDARY)
                    .address(IFA_ADDRESS, "10.0.0.2")  // the peer
                    .address(IFA_LOCAL, "10.0.0.1")
                    .read(addressOf);
  ASSERT_TRUE(notice);
  EXPECT_EQ(notice->index, 4U);
  EXPECT_EQ(notice->address, (LocalAddress{addr("10.0.0.1"), 32, true, RT_SCOPE_LINK}));
  notice = addressMessage(AF_INET6, 64, IFA_F_TEMPORARY)
               .address(IFA_ADDRESS, "2001:db8::1")
               .read(addressOf);
  ASSERT_TRUE(notice);
  EXPECT_EQ(notice->address, (LocalAddress{addr("2001:db8::1"), 64, false, RT_SCOPE_LINK}));
}

TEST(NetlinkMessages, TellWhetherAnAddressMayBeUsed) {
  struct Case {
    std::uint32_t flags;
    bool usable;
  };
  for (const Case c : {Case{IFA_F_PERMANENT, true}, Case{IFA_F_TENTATIVE, false},
                       Case{IFA_F_TENTATIVE | IFA_F_OPTIMISTIC, true}, Case{IFA_F_DADFAILED, false},
                       Case{IFA_F_TENTATIVE | IFA_F_DADFAILED, false},
                       Case{IFA_F_DEPRECATED | IFA_F_MANAGETEMPADDR, true}}) {
    const auto notice = addressMessage(AF_INET6, 64)
                            .address(IFA_ADDRESS, "fe80::1")
                            .u32(IFA_FLAGS, c.flags)
                            .read(addressOf);
    ASSERT_TRUE(notice);
    EXPECT_EQ(notice->usable, c.usable) << c.flags;
  }
}

TEST(NetlinkMessages, LeaveOutAddressesThatAreNone) {
  EXPECT_FALSE(addressMessage(AF_INET, 24).read(addressOf));
  EXPECT_FALSE(addressMessage(AF_INET, 33).address(IFA_LOCAL, "10.0.0.1").read(addressOf));
  EXPECT_FALSE(addressMessage(AF_INET, 24).address(IFA_LOCAL, "fe80::1").read(addressOf));
  EXPECT_FALSE(addressMessage(AF_MPLS, 24).address(IFA_LOCAL, "10.0.0.1").read(addressOf));
}

Message routeMessage(unsigned char family, unsigned char type = RTN_UNICAST, unsigned flags = 0) {
  rtmsg header{};
  header.rtm_family = family;
  header.rtm_type = type;
  header.rtm_flags = flags;
  return {RTM_NEWROUTE, header};
}

/// Appends a hop to the list that becomes RTA_MULTIPATH.
void addHop(std::vector<std::uint8_t>& list, std::uint32_t index, const char* gateway,
            unsigned char flags = 0, int gatewayType = RTA_GATEWAY) {
  std::uint8_t octets[64]{};
  auto* hop = reinterpret_cast<rtnexthop*>(octets);
  hop->rtnh_ifindex = static_cast<int>(index);
  hop->rtnh_flags = flags;
  hop->rtnh_len = RTNH_LENGTH(0);
  if (gateway != nullptr) {
    const IpGenAddr address = addr(gateway);
    auto* attribute = reinterpret_cast<rtattr*>(octets + RTNH_LENGTH(0));
    attribute->rta_type = static_cast<unsigned short>(gatewayType);
    attribute->rta_len = static_cast<unsigned short>(RTA_LENGTH(addressBytes(address.af())));
    address.toBytes(static_cast<std::uint8_t*>(RTA_DATA(attribute)));
    hop->rtnh_len = static_cast<unsigned short>(RTNH_LENGTH(RTA_ALIGN(attribute->rta_len)));
  }
  list.insert(list.end(), octets, octets + hop->rtnh_len);
}

using Hops = std::vector<RouteHop>;

TEST(NetlinkMessages, ReadTheHopOfARoute) {
  EXPECT_EQ(
      routeMessage(AF_INET).u32(RTA_OIF, 3).address(RTA_GATEWAY, "10.0.0.2").read(routeHopsOf),
      (Hops{{3, addr("10.0.0.2")}}));
  EXPECT_EQ(routeMessage(AF_INET6).u32(RTA_OIF, 3).read(routeHopsOf), (Hops{{3, {}}}));
  EXPECT_EQ(routeMessage(AF_INET, RTN_UNICAST, RTNH_F_DEAD).u32(RTA_OIF, 3).read(routeHopsOf),
            Hops{});
  // An IPv4 route by way of an IPv6 router has no next hop that IPv4 PIM could know.
  EXPECT_EQ(routeMessage(AF_INET).u32(RTA_OIF, 3).raw(RTA_VIA, {0, 10}).read(routeHopsOf), Hops{});
  EXPECT_EQ(routeMessage(AF_INET).u32(RTA_OIF, 3).raw(RTA_GATEWAY, {1, 2}).read(routeHopsOf),
            Hops{});
  EXPECT_EQ(routeMessage(AF_INET, RTN_BLACKHOLE).u32(RTA_OIF, 1).read(routeHopsOf), Hops{});
  EXPECT_EQ(routeMessage(AF_INET).u32(RTA_NH_ID, 5).read(routeHopsOf), std::nullopt);
}

TEST(NetlinkMessages, ReadAllHopsOfAMultipathRoute) {
  std::vector<std::uint8_t> list;
  addHop(list, 2, "10.0.0.2");
  addHop(list, 3, nullptr);
  static_assert((RTNH_F_DEAD | RTNH_F_ONLINK) == RTA_GATEWAY);  // is none of the hop before it
  addHop(list, 4, "10.0.1.2", RTNH_F_DEAD | RTNH_F_ONLINK);
  addHop(list, 5, "10.0.2.2", RTNH_F_LINKDOWN);
  addHop(list, 6, "fe80::1", 0, RTA_VIA);
  addHop(list, 0, "10.0.3.2");
  EXPECT_EQ(routeMessage(AF_INET).raw(RTA_MULTIPATH, list).read(routeHopsOf),
            (Hops{{2, addr("10.0.0.2")}, {3, {}}, {5, addr("10.0.2.2")}}));
}

TEST(NetlinkMessages, SurviveLengthsThatLie) {
  std::vector<std::uint8_t> list;
  addHop(list, 2, "10.0.0.2");
  addHop(list, 3, "10.0.1.2");
  const auto whole = routeMessage(AF_INET).raw(RTA_MULTIPATH, list).octets();
  ASSERT_EQ(routeMessage(AF_INET).raw(RTA_MULTIPATH, list).read(routeHopsOf)->size(), 2U);
  for (std::size_t length = sizeof(nlmsghdr); length < whole.size(); ++length) {
    std::vector<std::uint8_t> cut(whole.begin(), whole.begin() + static_cast<long>(length));
    auto& message = *reinterpret_cast<nlmsghdr*>(cut.data());
    message.nlmsg_len = static_cast<std::uint32_t>(length);
    const auto hops = routeHopsOf(message);
    EXPECT_LE(hops ? hops->size() : 0, 2U);
    EXPECT_FALSE(linkOf(message));
  }
  for (std::size_t at = sizeof(nlmsghdr); at < whole.size(); ++at) {
    for (const int octet : {0, 1, 3, 4, 7, 8, 127, 128, 255}) {
      std::vector<std::uint8_t> bent = whole;
      bent[at] = static_cast<std::uint8_t>(octet);
      const auto hops = routeHopsOf(*reinterpret_cast<nlmsghdr*>(bent.data()));
      EXPECT_LE(hops ? hops->size() : 0, list.size() / sizeof(rtnexthop));
    }
  }
}

}  // namespace
}  // namespace Routing::Agent
