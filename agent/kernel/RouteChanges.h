#pragma once

#include <functional>

#include "agent/kernel/EventLoop.h"
#include "agent/kernel/NetlinkSocket.h"

namespace Routing::Agent {

/// Tells when anything has changed on which route look-ups depend: routes, rules, next-hop objects.
/// What has changed is not looked at, and many changes may be told of once.
class RouteChanges {
 public:
  /// The loop must outlive the object. Raises std::system_error if the kernel cannot be reached.
  RouteChanges(EventLoop& loop, std::function<void()> changed);

 private:
  void handleReadable();

  std::function<void()> changed_;
  NetlinkSocket socket_;
  Watch watch_;
};

}  // namespace Routing::Agent
