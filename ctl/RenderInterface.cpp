#include <nlohmann/json.hpp>

#include "ctl/Format.h"
#include "ctl/Render.h"
#include "ctl/Table.h"

namespace Routing::Ctl {

using enum Table::Align;

std::string renderNeighbor(const Json& data) {
  Table table({{"Interface"},
               {"Neighbor"},
               {"Uptime", right},
               {"Expires", right},
               {"DR priority", right},
               {"Generation ID"},
               {"DR"},
               {"Secondary addresses"}});
  for (const Json& neighbor : data.at("neighbors")) {
    table.row({valueText(neighbor.at("interface")), valueText(neighbor.at("address")),
               durationText(neighbor.at("up-time")), durationText(neighbor.at("expiration")),
               valueText(neighbor.at("dr-priority")), genIdText(neighbor.at("gen-id")),
               neighbor.at("dr").get<bool>() ? "yes" : "no",
               listText(neighbor.at("secondary-addresses"))});
  }
  return titleText("PIM neighbors", data) + (table.empty() ? "No neighbors\n" : table.text());
}

std::string renderInterface(const Json& data) {
  Table table({{"Interface"},
               {"State"},
               {"Address"},
               {"DR"},
               {"DR priority", right},
               {"Generation ID"},
               {"Neighbors", right},
               {"Triggered hellos", right},
               {"MTU", right},
               {"Border of"}});
  for (const Json& intf : data.at("interfaces")) {
    const bool dr = intf.at("dr");
    table.row({valueText(intf.at("interface")), intf.at("up").get<bool>() ? "up" : "down",
               valueText(intf.at("address")),
               valueText(intf.at("dr-address")) + (dr ? " (this router)" : ""),
               valueText(intf.at("dr-priority")), genIdText(intf.at("gen-id")),
               valueText(intf.at("neighbor-count")), valueText(intf.at("triggered-hellos-sent")),
               valueText(intf.at("mtu")), listText(intf.at("borders"))});
  }
  return titleText("PIM interfaces", data) + (table.empty() ? "No interfaces\n" : table.text());
}

}  // namespace Routing::Ctl
