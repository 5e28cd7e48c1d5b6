#include "agent/kernel/RouteQuery.h"

#include <linux/rtnetlink.h>
#include <netlink/attr.h>
#include <netlink/msg.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <system_error>

namespace Routing::Agent {
namespace {

using Milliseconds = std::chrono::milliseconds;
constexpr Milliseconds longestWait{100};

NetlinkRequest routeRequest(const IpGenAddr& address, std::uint32_t vrfIndex, unsigned flags) {
  rtmsg header{};
  header.rtm_family = address.af() == AddressFamily::ipv4 ? AF_INET : AF_INET6;
  header.rtm_dst_len = static_cast<unsigned char>(addressBits(address.af()));
  header.rtm_flags = flags;
  auto request = netlinkRequest(RTM_GETROUTE, 0, header);
  std::array<std::uint8_t, 16> octets{};
  address.toBytes(octets.data());
  const auto length = static_cast<int>(addressBytes(address.af()));
  nla_put(request.get(), RTA_DST, length, octets.data());
  if (vrfIndex != 0) nla_put_u32(request.get(), RTA_OIF, vrfIndex);
  return request;
}

/// Waits until the socket can be read or the deadline has passed.
void waitFor(int fd, std::chrono::steady_clock::time_point deadline) {
  const auto left = std::chrono::ceil<Milliseconds>(deadline - std::chrono::steady_clock::now());
  pollfd wanted{fd, POLLIN, 0};
  poll(&wanted, 1, std::max(0, static_cast<int>(left.count())));
}

}  // namespace

std::optional<std::vector<RouteHop>> RouteQuery::hops(const IpGenAddr& address,
                                                      std::uint32_t vrfIndex) {
  try {
    Answer answer = ask(address, vrfIndex, RTM_F_FIB_MATCH);
    if (answer.received && !answer.hops) {
      // The route names a next-hop object. Without FIB match the kernel picks one of its hops.
      answer = ask(address, vrfIndex, 0);
    }
    return answer.hops;
  } catch (const std::system_error&) {
    return std::nullopt;
  }
}

RouteQuery::Answer RouteQuery::ask(const IpGenAddr& address, std::uint32_t vrfIndex,
                                   unsigned flags) {
  const auto request = routeRequest(address, vrfIndex, flags);
  const std::uint32_t serial = socket_.send(*request);
  const auto deadline = std::chrono::steady_clock::now() + longestWait;
  Answer answer;
  const auto take = [&](nlmsghdr& message) {
    if (message.nlmsg_seq != serial) return;  // the late answer to an earlier question
    answer.received = true;
    if (message.nlmsg_type == RTM_NEWROUTE) answer.hops = routeHopsOf(message);
    if (message.nlmsg_type == NLMSG_ERROR) answer.hops.emplace();  // no route, or one that discards
  };
  while (!answer.received && std::chrono::steady_clock::now() < deadline) {
    const auto received = socket_.receive(take);
    if (received == NetlinkSocket::Received::failed) break;
    if (received == NetlinkSocket::Received::nothing) waitFor(socket_.fd(), deadline);
  }
  return answer;
}

}  // namespace Routing::Agent
