#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "agent/kernel/EventLoop.h"
#include "agent/kernel/InterfaceTable.h"
#include "agent/kernel/NetlinkSocket.h"

namespace Routing::Agent {

/// Keeps an interface table as the kernel's devices and addresses are. It subscribes first and
/// reads everything then, on one socket, so that nothing falls between. When notices were lost it
/// starts anew; the table keeps what it has until the new reading is complete.
class NetlinkMonitor {
 public:
  /// `synchronised` runs once, when the table is complete for the first time; nothing is published
  /// before. Raises std::system_error if the kernel cannot be reached. Loop and table must outlive
  /// the monitor.
  NetlinkMonitor(EventLoop& loop, InterfaceTable& table, std::function<void()> synchronised);

 private:
  enum class Phase : std::uint8_t { links, addresses, following };

  void start();
  void startAnew(const char* reason);
  void phaseIs(Phase phase);
  void handleReadable();
  void handle(nlmsghdr& message);
  void handleDumpEnd();
  void handleAddress(nlmsghdr& message);
  void publish();

  EventLoop& loop_;
  InterfaceTable& table_;
  std::function<void()> synchronised_;  // empty once it has run
  std::optional<NetlinkSocket> socket_;
  Watch watch_;
  Timer retryTimer_;
  Phase phase_ = Phase::links;
  bool interrupted_ = false;  // what the dump tells is no longer one state
  bool failed_ = false;
};

}  // namespace Routing::Agent
