#pragma once

#include <string>
#include <vector>

#include "agent/view/AgentView.h"
#include "platform/time/TimerWheel.h"

namespace Routing::Agent {

/// One line for people of how the instances stand: whom each follows, and how many RP mappings it
/// uses.
/// Above four instances it counts them.
std::string summary(const std::vector<InstanceView>& instances);

/// What systemd is told of the process (sd_notify(3)): that it is ready, reloading or ending, that
/// it lives, where a watchdog asks for it, and a summary whenever that has changed. Without a
/// NOTIFY_SOCKET it does nothing.
class ServiceManager {
 public:
  /// Both must outlive the object.
  ServiceManager(TimerWheel& wheel, const AgentView& view);

  void ready();
  /// Until ready() the configuration is read again.
  void reloading();
  void stopping();

 private:
  void report();

  const AgentView& view_;
  double period_;  // seconds between two reports
  std::string said_;
  Timer timer_;
};

}  // namespace Routing::Agent
