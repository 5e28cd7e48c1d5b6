#include "agent/events/EventBook.h"

#include <algorithm>
#include <iterator>

namespace Routing::Agent {
namespace {

bool ofNeighbor(EventKind kind) {
  return kind == EventKind::neighborUp || kind == EventKind::neighborDown ||
         kind == EventKind::neighborRestarted || kind == EventKind::foreignAdvertiser;
}

bool ofElection(const Event& event) {
  return event.kind == EventKind::bsrNew || event.kind == EventKind::electionWon ||
         event.kind == EventKind::electionLost ||
         (event.kind == EventKind::bsrChanged && !event.bsrBefore.isUnset());
}

bool ofBsr(EventKind kind) {
  return kind == EventKind::bsrNew || kind == EventKind::bsrChanged || kind == EventKind::bsrGone ||
         kind == EventKind::electionWon || kind == EventKind::electionLost;
}

}  // namespace

void EventBook::add(const Event& event) {
  std::deque<Event>& events = ofNeighbor(event.kind) ? neighbors_ : network_;
  events.push_back(event);
  if (events.size() > share) events.pop_front();
  if (!ofBsr(event.kind)) return;
  if (histories_.size() >= zones && !histories_.contains(event.zone)) return;
  ZoneHistory& history = histories_[event.zone];
  if (ofElection(event)) ++history.elections;
  if (event.cause == EventCause::silent) ++history.silences;
  history.lastChange = event;
}

std::vector<Event> EventBook::last(std::size_t most,
                                   const std::function<bool(const Event&)>& passes) const {
  std::vector<Event> all;
  std::merge(network_.begin(), network_.end(), neighbors_.begin(), neighbors_.end(),
             std::back_inserter(all),
             [](const Event& a, const Event& b) { return a.time < b.time; });
  if (passes) std::erase_if(all, [&](const Event& event) { return !passes(event); });
  if (all.size() > most) all.erase(all.begin(), all.end() - static_cast<std::ptrdiff_t>(most));
  return all;
}

const EventBook::ZoneHistory* EventBook::history(const IpGenPrefix& zone) const {
  const auto found = histories_.find(zone);
  return found == histories_.end() ? nullptr : &found->second;
}

}  // namespace Routing::Agent
