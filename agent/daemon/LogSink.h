#pragma once

#include <map>
#include <memory>
#include <string>

#include "agent/events/RateLimiter.h"
#include "platform/trace/SysLogMessage.h"
#include "platform/trace/Trace.h"

namespace spdlog {
class logger;
}

namespace Routing::Agent {

/// Brings traces and system log messages into the daemon's log while it lives. Which traces are
/// written is their thresholds' matter; how many is bounded for each facility and each message, so
/// that a flood of bad packets does not fill a disk.
class LogSink final : public TraceSink, public SysLogSink {
 public:
  static constexpr double linesPerSecond = 5;
  static constexpr double linesAtOnce = 1000;

  /// The clock must outlive the sink.
  LogSink(const Clock& clock, std::shared_ptr<spdlog::logger> logger);
  ~LogSink() override;

  void trace(std::string_view facility, int level, std::string_view text) override;
  void log(const SysLogMessage& message, std::string_view text) override;

 private:
  bool admitted(std::string_view subject);

  RateLimiter limiter_;
  std::shared_ptr<spdlog::logger> logger_;
};

/// Sends the daemon's own messages to standard error, and gives the logger for a LogSink, which
/// writes all that it is given.
std::shared_ptr<spdlog::logger> startLogging();
/// From which level on (such as "info") the daemon's own messages are written.
void logLevelIs(const std::string& level);
/// Up to which levels facilities trace, by prefix; all others trace level 0 only.
void tracesAre(const std::map<std::string, int>& levels);

}  // namespace Routing::Agent
