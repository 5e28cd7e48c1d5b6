#pragma once

#include <netlink/netlink.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace Routing::Agent {

/// A connection to the kernel's routing part, and its membership in notice groups.
class NetlinkSocket {
 public:
  enum class Received : std::uint8_t {
    messages,  ///< there may be more
    nothing,
    overrun,  ///< the kernel had to throw notices away
    failed,
  };

  /// Raises std::system_error if there is no connection to be had. A group that this kernel does
  /// not have is left out.
  explicit NetlinkSocket(const std::vector<int>& groups = {});

  int fd() const;
  /// Completes a request and sends it. Returns its sequence number; raises std::system_error.
  std::uint32_t send(nl_msg& request);
  /// Takes one datagram in and hands its messages on, without waiting. What does not come from the
  /// kernel is left out.
  Received receive(const std::function<void(nlmsghdr&)>& handle);

 private:
  struct Free {
    void operator()(nl_sock* socket) const { nl_socket_free(socket); }
  };
  std::unique_ptr<nl_sock, Free> socket_;
};

/// A request under construction.
struct NetlinkFree {
  void operator()(nl_msg* message) const;
};
using NetlinkRequest = std::unique_ptr<nl_msg, NetlinkFree>;

/// A request of a type, with flags and a header that is copied in.
NetlinkRequest netlinkRequest(int type, int flags, const void* header, std::size_t length);
template <class Header>
NetlinkRequest netlinkRequest(int type, int flags, const Header& header) {
  return netlinkRequest(type, flags, &header, sizeof header);
}

}  // namespace Routing::Agent
