#include <nlohmann/json.hpp>

#include "agent/control/ShowParts.h"

namespace Routing::Agent {

Json eventJson(const Event& event, double now) {
  Json json = {{"time", timeText(event.wall)},   {"age", secondsBetween(event.time, now)},
               {"severity", severityOf(event)},  {"event", enumName(event.kind)},
               {"cause", enumName(event.cause)}, {"text", textOf(event)}};
  if (!event.zone.isNone()) json["zone"] = event.zone.text();
  if (!event.bsr.isUnset()) json["bsr"] = event.bsr.text();
  if (!event.neighbor.isUnset()) json["neighbor"] = event.neighbor.text();
  if (!event.intf.isUnset()) json["interface"] = event.intf.text();
  if (!event.rp.isUnset()) json["rp-address"] = event.rp.text();
  return json;
}

Json eventsJson(const ShowInput& in, std::size_t most,
                const std::function<bool(const Event&)>& passes) {
  Json events = Json::array();
  if (in.instance.events == nullptr) return events;
  for (const Event& event : in.instance.events->last(most, passes)) {
    events.push_back(eventJson(event, in.now));
  }
  return events;
}

Json showEvents(const ShowInput& in) {
  return {{"events", eventsJson(in, 2 * EventBook::share)}};
}

}  // namespace Routing::Agent
