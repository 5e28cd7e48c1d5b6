#include "agent/kernel/NetlinkSocket.h"

#include <linux/rtnetlink.h>
#include <netlink/errno.h>
#include <netlink/msg.h>
#include <netlink/socket.h>
#include <sys/socket.h>

#include <cstdlib>
#include <new>
#include <string>
#include <system_error>

namespace Routing::Agent {
namespace {

constexpr int receiveBuffer = 4 << 20;  // octets; a burst of notices of some thousand interfaces

/// libnl keeps few of the kernel's error numbers; its texts say what happened.
[[noreturn]] void fail(const std::string& what, int error) {
  throw std::system_error(std::make_error_code(std::errc::io_error),
                          "netlink: " + what + ": " + nl_geterror(error));
}

void enlargeReceiveBuffer(int fd) {
  const int wanted = receiveBuffer;
  if (setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &wanted, sizeof wanted) != 0) {
    setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &wanted, sizeof wanted);  // as far as the system allows
  }
}

}  // namespace

NetlinkSocket::NetlinkSocket(const std::vector<int>& groups) : socket_(nl_socket_alloc()) {
  if (!socket_) throw std::bad_alloc();
  if (const int error = nl_connect(socket_.get(), NETLINK_ROUTE); error < 0) fail("connect", error);
  for (const int group : groups) nl_socket_add_membership(socket_.get(), group);
  if (const int error = nl_socket_set_nonblocking(socket_.get()); error < 0) {
    fail("non-blocking mode", error);
  }
  nl_socket_disable_auto_ack(socket_.get());
  enlargeReceiveBuffer(fd());
}

int NetlinkSocket::fd() const {
  return nl_socket_get_fd(socket_.get());
}

std::uint32_t NetlinkSocket::send(nl_msg& request) {
  const int error = nl_send_auto(socket_.get(), &request);
  if (error < 0) fail("send", error);
  return nlmsg_hdr(&request)->nlmsg_seq;
}

NetlinkSocket::Received NetlinkSocket::receive(const std::function<void(nlmsghdr&)>& handle) {
  sockaddr_nl sender{};
  unsigned char* octets = nullptr;
  const int length = nl_recv(socket_.get(), &sender, &octets, nullptr);
  if (length == -NLE_AGAIN || length == 0) return Received::nothing;
  if (length == -NLE_NOMEM) return Received::overrun;
  if (length < 0) return Received::failed;
  const std::unique_ptr<unsigned char, decltype(&std::free)> owner(octets, &std::free);
  if (sender.nl_pid != 0) return Received::messages;
  int left = length;
  for (auto* message = reinterpret_cast<nlmsghdr*>(octets); nlmsg_ok(message, left);
       message = nlmsg_next(message, &left)) {
    handle(*message);
  }
  return Received::messages;
}

void NetlinkFree::operator()(nl_msg* message) const {
  nlmsg_free(message);
}

NetlinkRequest netlinkRequest(int type, int flags, const void* header, std::size_t length) {
  NetlinkRequest request(nlmsg_alloc_simple(type, flags));
  void* copy = const_cast<void*>(header);  // which libnl does not change
  if (!request || nlmsg_append(request.get(), copy, length, NLMSG_ALIGNTO) < 0) {
    throw std::bad_alloc();
  }
  return request;
}

}  // namespace Routing::Agent
