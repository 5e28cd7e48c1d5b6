#include <nlohmann/json.hpp>

#include "ctl/Format.h"
#include "ctl/Render.h"
#include "ctl/Table.h"

namespace Routing::Ctl {
namespace {

std::string groupsText(const Json& groups) {
  using enum Table::Align;
  Table table({{"Group range"},
               {"RP"},
               {"Mode"},
               {"Priority", right},
               {"Hash mask", right},
               {"Holdtime", right},
               {"Uptime", right},
               {"Expires", right}});
  for (const Json& group : groups) {
    for (const Json& rp : group.at("rps")) {
      table.row({valueText(group.at("group-range")), valueText(rp.at("rp-address")),
                 valueText(rp.at("mode")), valueText(rp.at("priority")),
                 valueText(rp.at("hash-mask-length")), valueText(rp.at("holdtime")),
                 durationText(rp.at("up-time")), durationText(rp.at("expiration"))});
    }
  }
  return table.empty() ? "  No RPs\n" : table.text(2);
}

std::string incompleteText(const Json& ranges) {
  std::string text;
  for (const Json& range : ranges) {
    text += wrapped("Incomplete: " + valueText(range.at("group-range")) + ", " +
                        valueText(range.at("rps-received")) + " of " +
                        valueText(range.at("rps-expected")) + " RPs received, since " +
                        durationText(range.at("since")),
                    2, 12);
  }
  return text;
}

}  // namespace

std::string renderRpSet(const Json& data) {
  std::string text = titleText("PIM RP set", data);
  for (const Json& zone : data.at("zones")) {
    text += zoneText(zone) + groupsText(zone.at("groups")) + incompleteText(zone.at("incomplete")) +
            "\n";
  }
  const Json& mappings = data.at("mappings");
  return text + "Mappings in use (source: " + valueText(mappings.at("source")) + ", digest " +
         valueText(mappings.at("digest")) + ")\n" + groupsText(mappings.at("groups"));
}

}  // namespace Routing::Ctl
