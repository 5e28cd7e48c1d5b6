#pragma once

#include "agent/events/Event.h"
#include "agent/events/RateLimiter.h"

namespace Routing::Agent {

/// Brings events into the daemon's log: under systemd to the journal, with priority and fields,
/// else to standard error as a line like all others. Strangers can cause events: how many of a kind
/// are written is bounded.
class Journal {
 public:
  static constexpr double eventsPerSecond = 1;
  static constexpr double eventsAtOnce = 200;

  /// The clock must outlive the journal.
  explicit Journal(const Clock& clock);

  void write(const Event& event);

 private:
  RateLimiter limiter_;
  const bool structured_;
};

}  // namespace Routing::Agent
