#include "agent/events/EventFeed.h"

#include <utility>

namespace Routing::Agent {

std::shared_ptr<void> EventFeed::subscribe(EventSink sink) {
  const auto subscription = std::make_shared<EventSink>(std::move(sink));
  sinks_.push_back(subscription);
  return subscription;
}

void EventFeed::tell(const Event& event) {
  for (auto at = sinks_.begin(); at != sinks_.end();) {
    const auto current = at++;
    if (const auto sink = current->lock()) {
      (*sink)(event);
    } else {
      sinks_.erase(current);
    }
  }
}

}  // namespace Routing::Agent
