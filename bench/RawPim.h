#pragma once

#include <arpa/inet.h>
#include <net/if.h>
#include <sys/socket.h>

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>

namespace Routing::Bench {

/// A raw PIM socket on one interface, with nothing around it: what any daemon must at least do.
/// Raises std::runtime_error where the process may not have one.
class RawPim {
 public:
  explicit RawPim(const char* interface) : socket_(socket(AF_INET, SOCK_RAW, protocol)) {
    ip_mreqn link{};
    link.imr_multiaddr = allRouters_.sin_addr;
    link.imr_ifindex = static_cast<int>(if_nametoindex(interface));
    set(SOL_SOCKET, SO_RCVBUFFORCE, room);
    set(SOL_SOCKET, SO_SNDBUFFORCE, room);
    set(IPPROTO_IP, IP_ADD_MEMBERSHIP, link);
    set(IPPROTO_IP, IP_MULTICAST_IF, link);
    set(IPPROTO_IP, IP_MULTICAST_LOOP, 0);
  }
  int handle() const { return socket_; }

  /// To all PIM routers of the link.
  void send(std::span<const std::uint8_t> message) const {
    const auto* to = reinterpret_cast<const sockaddr*>(&allRouters_);
    if (sendto(socket_, message.data(), message.size(), 0, to, sizeof allRouters_) < 0) {
      throw std::runtime_error("nothing can be sent");
    }
  }
  /// The next message, without its IP header; empty after a second of silence.
  std::span<const std::uint8_t> receive() {
    const ssize_t size = recv(socket_, buffer_, sizeof buffer_, 0);
    const std::ptrdiff_t header = (buffer_[0] & 15) * 4;
    if (size <= header) return {};
    return {buffer_ + header, buffer_ + size};
  }
  template <class Value>
  void set(int level, int option, const Value& value) const {
    if (setsockopt(socket_, level, option, &value, sizeof value) == 0) return;
    throw std::runtime_error("option " + std::to_string(option) + " of the socket is refused");
  }

 private:
  static constexpr int protocol = 103;
  static constexpr int room = 8 << 20;  // octets

  int socket_;
  sockaddr_in allRouters_{AF_INET, 0, {inet_addr("224.0.0.13")}, {}};
  std::uint8_t buffer_[65536] = {};
};

}  // namespace Routing::Bench
