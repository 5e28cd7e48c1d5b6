#include <algorithm>
#include <nlohmann/json.hpp>

#include "ctl/Format.h"
#include "ctl/Render.h"

namespace Routing::Ctl {
namespace {

std::string factsText(const Json& facts) {
  std::size_t width = 0;
  for (const Json& fact : facts) width = std::max(width, valueText(fact.at("name")).size());
  std::string text;
  for (const Json& fact : facts) {
    std::string name = valueText(fact.at("name")) + ":";
    name.resize(width + 2, ' ');
    text += wrapped(name + valueText(fact.at("value")), 2, width + 2);
  }
  return text;
}

std::string dropsText(const Json& drops) {
  std::string text;
  for (const Json& drop : drops) {
    const bool several = drop.at("count") > 1;
    text += wrapped(durationText(drop.at("age")) + " ago  " + valueText(drop.at("text")) +
                        (several ? " (" + valueText(drop.at("count")) + " times)" : ""),
                    2, 14);
  }
  return text;
}

std::string section(const char* title, const std::string& lines) {
  return lines.empty() ? "" : std::string("\n") + title + "\n" + lines;
}

}  // namespace

std::string renderExplanation(const Json& data) {
  const std::string facts = factsText(data.at("facts"));
  return wrapped(valueText(data.at("answer")), 0, 0) + (facts.empty() ? "" : "\n" + facts) +
         section("Changes", eventLines(data.at("changes"), 2)) +
         section("Dropped", dropsText(data.at("drops")));
}

}  // namespace Routing::Ctl
