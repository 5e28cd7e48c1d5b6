#include "agent/kernel/RouteChanges.h"

#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cerrno>
#include <utility>

namespace Routing::Agent {
namespace {
constexpr int changesPerTurn = 1024;  // they are thrown away unread
}  // namespace

RouteChanges::RouteChanges(EventLoop& loop, std::function<void()> changed)
    : changed_(std::move(changed)),
      socket_({RTNLGRP_IPV4_ROUTE, RTNLGRP_IPV6_ROUTE, RTNLGRP_IPV4_RULE, RTNLGRP_IPV6_RULE,
               RTNLGRP_NEXTHOP}),
      watch_(loop.whenReadable(socket_.fd(), [this] { handleReadable(); })) {}

void RouteChanges::handleReadable() {
  char octet;
  for (int i = 0; i < changesPerTurn; ++i) {
    // An overrun is a change, too, and is told once.
    const bool read = recv(socket_.fd(), &octet, sizeof octet, 0) >= 0;
    if (!read && errno != ENOBUFS && errno != EINTR) break;
  }
  changed_();
}

}  // namespace Routing::Agent
