#pragma once

#include <list>
#include <memory>

#include "agent/events/Event.h"

namespace Routing::Agent {

/// Hands events on as they happen.
class EventFeed {
 public:
  /// Tells of every event as long as the subscription lives. The sink may end subscriptions, not
  /// begin one.
  [[nodiscard]] std::shared_ptr<void> subscribe(EventSink sink);
  void tell(const Event& event);

 private:
  std::list<std::weak_ptr<EventSink>> sinks_;
};

}  // namespace Routing::Agent
