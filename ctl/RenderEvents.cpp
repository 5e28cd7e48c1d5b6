#include <nlohmann/json.hpp>

#include "ctl/Format.h"
#include "ctl/Render.h"

namespace Routing::Ctl {

std::string eventLines(const Json& events, std::size_t indent) {
  std::string text;
  for (const Json& event : events) {
    text += wrapped(valueText(event.at("time")) + "  " + valueText(event.at("text")), indent, 22);
  }
  return text;
}

std::string renderEvents(const Json& data) {
  const Json& events = data.at("events");
  return titleText("Events", data) + (events.empty() ? "No events\n" : eventLines(events, 0));
}

}  // namespace Routing::Ctl
