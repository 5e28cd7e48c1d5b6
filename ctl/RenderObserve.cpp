#include "ctl/RenderObserve.h"

#include <nlohmann/json.hpp>

#include "ctl/Table.h"

namespace Routing::Ctl {
namespace {

using enum Table::Align;

std::string observedBsr(const Json& bsr) {
  return valueText(bsr.at("address")) + ", priority " + valueText(bsr.at("priority")) +
         ", hash mask " + valueText(bsr.at("hash-mask-length")) + ", " +
         valueText(bsr.at("messages")) + " messages, last heard " +
         durationText(bsr.at("last-heard")) + " ago\n";
}

std::string observedZone(const Json& zone) {
  std::string text = "Zone " + valueText(zone.at("zone")) + "\n";
  for (const Json& bsr : zone.at("bsrs")) {
    text += (bsr.at("followed").get<bool>() ? "  BSR   " : "  also  ") + observedBsr(bsr);
  }
  for (const Json& range : zone.at("incomplete-ranges")) {
    text += "  incomplete: " + valueText(range.at("group-range")) + " of " +
            valueText(range.at("bsr")) + ", " + valueText(range.at("rps-received")) + " of " +
            valueText(range.at("rps-announced")) + " RPs heard\n";
  }
  return text + "\n";
}

std::string observedRpSet(const Json& family) {
  Table table({{"Group range"}, {"RP"}, {"Mode"}, {"Priority", right}, {"Hash mask", right}});
  for (const Json& rp : family.at("rp-set")) {
    table.row({valueText(rp.at("group-range")), valueText(rp.at("rp-address")),
               valueText(rp.at("mode")), valueText(rp.at("priority")),
               valueText(rp.at("hash-mask-length"))});
  }
  if (table.empty()) return "No RPs\n\n";
  return table.text() + "Digest " + valueText(family.at("digest")) + "\n\n";
}

std::string observedAdvertisements(const Json& family) {
  Table table({{"Candidate RP"}, {"to BSR"}, {"Priority", right}, {"Holdtime", right}, {"Groups"}});
  for (const Json& said : family.at("advertisements")) {
    table.row({valueText(said.at("rp-address")), valueText(said.at("bsr")),
               valueText(said.at("priority")), valueText(said.at("holdtime")),
               listText(said.at("group-ranges"))});
  }
  return table.empty() ? "" : table.text() + "\n";
}

std::string observedFamily(const Json& family) {
  const auto silent = [&family](const char* member) { return family.at(member).empty(); };
  if (silent("zones") && silent("routers") && silent("advertisements")) return "";
  const bool v4 = family.at("address-family") == "ipv4";
  std::string text = std::string("== ") + (v4 ? "IPv4" : "IPv6") + ", " +
                     std::to_string(family.at("routers").size()) + " PIM routers heard\n\n";
  for (const Json& zone : family.at("zones")) text += observedZone(zone);
  return text + observedRpSet(family) + observedAdvertisements(family);
}

}  // namespace

std::string renderObserve(const Json& report) {
  std::string text = valueText(report.at("packets")) + " PIM packets in " +
                     durationText(report.at("seconds")) + "\n\n";
  for (const Json& family : report.at("families")) text += observedFamily(family);
  for (const auto& [reason, count] : report.at("bad-packets").items()) {
    text += "Bad packets, " + reason + ": " + valueText(count) + "\n";
  }
  if (report.at("no-room-for") != 0) {
    text += "There was no room for " + valueText(report.at("no-room-for")) + " things heard\n";
  }
  return text;
}

bool looksWell(const Json& report) {
  for (const Json& family : report.at("families")) {
    for (const Json& zone : family.at("zones")) {
      if (zone.at("bsrs").size() > 1 || !zone.at("incomplete-ranges").empty()) return false;
    }
  }
  return report.at("bad-packets").empty();
}

}  // namespace Routing::Ctl
