#include "agent/kernel/NetlinkMessages.h"

#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <netlink/attr.h>

#include <array>
#include <string_view>

namespace Routing::Agent {
namespace {

AddressFamily familyOf(int af) {
  if (af == AF_INET) return AddressFamily::ipv4;
  return af == AF_INET6 ? AddressFamily::ipv6 : AddressFamily::unset;
}

/// The attributes of a message or of a nested attribute, by type.
class Attributes {
 public:
  static constexpr int max = 127;  // above all that is asked for

  bool parse(nlmsghdr& message, std::size_t header) {
    return nlmsg_parse(&message, static_cast<int>(header), table_.data(), max, nullptr) == 0;
  }
  bool parse(nlattr* first, int length) {
    return nla_parse(table_.data(), max, first, length, nullptr) == 0;
  }
  bool parseNested(nlattr* nest) {
    return nla_parse_nested(table_.data(), max, nest, nullptr) == 0;
  }

  nlattr* find(int type) const { return table_[static_cast<std::size_t>(type)]; }
  bool has(int type) const { return find(type) != nullptr; }
  std::optional<std::uint32_t> u32(int type) const {
    nlattr* attribute = find(type);
    if (attribute == nullptr || nla_len(attribute) < 4) return std::nullopt;
    return nla_get_u32(attribute);
  }
  std::string_view text(int type) const {
    nlattr* attribute = find(type);
    if (attribute == nullptr) return {};
    const std::string_view octets(static_cast<const char*>(nla_data(attribute)),
                                  static_cast<std::size_t>(nla_len(attribute)));
    return octets.substr(0, octets.find('\0'));
  }
  /// Unset unless the attribute holds exactly one address of the family.
  IpGenAddr address(int type, AddressFamily af) const {
    nlattr* attribute = find(type);
    if (attribute == nullptr || nla_len(attribute) != static_cast<int>(addressBytes(af))) return {};
    return IpGenAddr::fromBytes(af, static_cast<const std::uint8_t*>(nla_data(attribute)));
  }

 private:
  std::array<nlattr*, std::size_t{max} + 1> table_{};
};

template <class Header>
const Header* headerOf(nlmsghdr& message) {
  if (!nlmsg_valid_hdr(&message, sizeof(Header))) return nullptr;
  return static_cast<const Header*>(nlmsg_data(&message));
}

bool isVrf(const Attributes& attributes) {
  nlattr* info = attributes.find(IFLA_LINKINFO);
  Attributes nested;
  return info != nullptr && nested.parseNested(info) && nested.text(IFLA_INFO_KIND) == "vrf";
}

/// Adds one hop, unless it cannot be used. `gateways` are the attributes of the hop.
void addHop(std::vector<RouteHop>& hops, const Attributes& gateways, std::uint32_t index,
            unsigned flags, AddressFamily af) {
  if (index == 0 || (flags & RTNH_F_DEAD) != 0 || gateways.has(RTA_VIA)) return;
  const IpGenAddr gateway = gateways.address(RTA_GATEWAY, af);
  if (gateways.has(RTA_GATEWAY) && gateway.isUnset()) return;
  hops.push_back({index, gateway});
}

std::vector<RouteHop> multipathOf(nlattr* multipath, AddressFamily af) {
  std::vector<RouteHop> hops;
  auto* hop = static_cast<rtnexthop*>(nla_data(multipath));
  int left = nla_len(multipath);
  while (left >= static_cast<int>(sizeof *hop) && RTNH_OK(hop, left)) {
    Attributes attributes;
    const int length = hop->rtnh_len - static_cast<int>(RTNH_LENGTH(0));
    if (attributes.parse(reinterpret_cast<nlattr*>(RTNH_DATA(hop)), length)) {
      addHop(hops, attributes, static_cast<std::uint32_t>(hop->rtnh_ifindex), hop->rtnh_flags, af);
    }
    const int step = RTNH_ALIGN(hop->rtnh_len);
    hop = RTNH_NEXT(hop);
    left -= step;
  }
  return hops;
}

}  // namespace

std::optional<Link> linkOf(nlmsghdr& message) {
  const auto* header = headerOf<ifinfomsg>(message);
  Attributes attributes;
  if (header == nullptr || header->ifi_family != AF_UNSPEC || header->ifi_index <= 0) return {};
  if (!attributes.parse(message, sizeof *header)) return {};
  constexpr unsigned working = IFF_UP | IFF_RUNNING;
  Link link;
  link.index = static_cast<std::uint32_t>(header->ifi_index);
  link.name = attributes.text(IFLA_IFNAME);
  link.mtu = attributes.u32(IFLA_MTU).value_or(0);
  link.up = (header->ifi_flags & working) == working;
  link.master = attributes.u32(IFLA_MASTER).value_or(0);
  link.vrfDevice = isVrf(attributes);
  link.loopback = (header->ifi_flags & IFF_LOOPBACK) != 0;
  if (link.name.empty() || link.name.size() > VrfName::maxBytes) return {};
  return link;
}

std::optional<AddressNotice> addressOf(nlmsghdr& message) {
  const auto* header = headerOf<ifaddrmsg>(message);
  Attributes attributes;
  if (header == nullptr || !attributes.parse(message, sizeof *header)) return {};
  const AddressFamily af = familyOf(header->ifa_family);
  if (af == AddressFamily::unset || header->ifa_prefixlen > addressBits(af)) return {};
  // On a point-to-point link IFA_ADDRESS is the peer's.
  IpGenAddr address = attributes.address(IFA_LOCAL, af);
  if (address.isUnset()) address = attributes.address(IFA_ADDRESS, af);
  if (address.isUnset()) return {};
  const std::uint32_t flags = attributes.u32(IFA_FLAGS).value_or(header->ifa_flags);
  const bool checking = (flags & IFA_F_TENTATIVE) != 0 && (flags & IFA_F_OPTIMISTIC) == 0;
  // IPv6 marks temporary addresses with the bit that is IPv4's mark of secondary ones.
  const bool secondary = af == AddressFamily::ipv4 && (flags & IFA_F_SECONDARY) != 0;
  return AddressNotice{header->ifa_index,
                       {address, header->ifa_prefixlen, secondary, header->ifa_scope},
                       !checking && (flags & IFA_F_DADFAILED) == 0};
}

std::optional<std::vector<RouteHop>> routeHopsOf(nlmsghdr& message) {
  const auto* header = headerOf<rtmsg>(message);
  Attributes attributes;
  if (header == nullptr || !attributes.parse(message, sizeof *header)) return {};
  const AddressFamily af = familyOf(header->rtm_family);
  if (header->rtm_type != RTN_UNICAST) return std::vector<RouteHop>{};
  if (nlattr* multipath = attributes.find(RTA_MULTIPATH)) return multipathOf(multipath, af);
  if (!attributes.has(RTA_OIF)) return {};
  std::vector<RouteHop> hops;
  addHop(hops, attributes, attributes.u32(RTA_OIF).value_or(0), header->rtm_flags, af);
  return hops;
}

}  // namespace Routing::Agent
