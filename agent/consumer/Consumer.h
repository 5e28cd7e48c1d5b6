#pragma once

#include <sys/types.h>

#include <cstddef>
#include <memory>
#include <string>

#include "agent/feed/RpFeed.h"
#include "agent/kernel/EventLoop.h"

namespace Routing::Agent {

/// What a consumer may cost.
struct ConsumerLimits {
  std::size_t waitingBytes = 4 << 20;  ///< changes that it has not read
  double firstPause = 1.0;             ///< seconds before it is started again; doubled each time
  double longestPause = 60.0;          ///< whoever has run longer is started after the first pause
};

/// Keeps a program running that gets the RP feed on its standard input, one JSON object a line. It
/// is never waited for: one that ends is started again after a pause, and so is one that has fallen
/// too far behind, which is killed; each new one begins with the present state. The daemon's rights
/// are not handed on, and no consumer outlives the daemon.
class Consumer {
 public:
  /// Both must outlive the consumer.
  Consumer(EventLoop& loop, RpFeed& feed, const ConsumerLimits& limits = {});
  Consumer(const Consumer&) = delete;
  Consumer& operator=(const Consumer&) = delete;
  /// Kills it.
  ~Consumer();

  /// The absolute path of the program; none if it is empty. Another one takes the place of that
  /// which runs.
  void programIs(const std::string& path);

 private:
  class Process;

  void start();
  void handleEnd(const std::string& how);

  EventLoop& loop_;
  RpFeed& feed_;
  const ConsumerLimits limits_;
  std::string program_;
  std::shared_ptr<Process> process_;
  double startedAt_ = 0;
  double pause_;
  Timer restart_;
};

}  // namespace Routing::Agent
