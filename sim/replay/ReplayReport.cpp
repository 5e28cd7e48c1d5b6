#include "sim/replay/ReplayReport.h"

#include <cmath>
#include <nlohmann/json.hpp>
#include <vector>

#include "bsr/types/ErrorReasons.h"
#include "platform/pim/rp/RpSelection.h"
#include "platform/pim/rp/RpSetDigest.h"

namespace Routing::Sim {
namespace {

using nlohmann::json;

json heardZones(const Pim::Bsr::Status& status) {
  json zones = json::array();
  for (const auto& [zone, bsr] : status.bootstrapRouter()) {
    if (bsr->ipAddr().isUnset()) continue;
    zones.push_back({{"zone", zone.text()},
                     {"bsr", bsr->ipAddr().text()},
                     {"priority", bsr->priority()},
                     {"hash-mask-length", bsr->hashMaskLen()}});
  }
  return zones;
}

json heardRps(const std::vector<Pim::RpMapping>& mappings) {
  json rps = json::array();
  for (const Pim::RpMapping& mapping : mappings) {
    rps.push_back({{"group-range", mapping.groupRange.text()},
                   {"rp-address", mapping.rp.text()},
                   {"priority", mapping.priority}});
  }
  return rps;
}

json droppedByReason(const ReplayRouter& router) {
  json dropped = json::object();
  for (const auto& [reason, count] : router.messages().rxDropped()) dropped[reason] = count;
  return dropped;
}

json refusedByReason(const ReplayRouter& router) {
  json refused = json::object();
  for (const auto& [reason, count] : errorsByReason(router.status().counters()->errCounters())) {
    if (count > 0) refused[std::string(reason)] = count;
  }
  return refused;
}

json routerJson(const ReplayRouter& router) {
  const std::vector<Pim::RpMapping> mappings = Pim::rpMappings(router.rpSet());
  return {{"address-family", enumName(router.af())},
          {"packets", router.heard()},
          {"zones", heardZones(router.status())},
          {"rp-set", heardRps(mappings)},
          {"digest", Pim::rpSetDigestText(Pim::rpSetDigest(mappings))},
          {"dropped", droppedByReason(router)},
          {"refused", refusedByReason(router)}};
}

std::string wordOf(const json& json) {
  return json.is_string() ? json.get<std::string>() : json.dump();
}

std::string countsText(const char* what, const json& counts) {
  std::string text;
  for (const auto& [reason, count] : counts.items()) {
    text += std::string("  ") + what + ", " + reason + ": " + wordOf(count) + "\n";
  }
  return text;
}

std::string familyText(const json& family) {
  std::string text = (family.at("address-family") == "ipv4" ? "IPv4, " : "IPv6, ") +
                     wordOf(family.at("packets")) + " PIM packets\n";
  for (const json& zone : family.at("zones")) {
    text += "  zone " + wordOf(zone.at("zone")) + ": BSR " + wordOf(zone.at("bsr")) +
            ", priority " + wordOf(zone.at("priority")) + ", hash mask " +
            wordOf(zone.at("hash-mask-length")) + "\n";
  }
  if (family.at("zones").empty()) text += "  no BSR\n";
  for (const json& rp : family.at("rp-set")) {
    text += "  RP " + wordOf(rp.at("rp-address")) + " for " + wordOf(rp.at("group-range")) +
            ", priority " + wordOf(rp.at("priority")) + "\n";
  }
  if (!family.at("rp-set").empty()) text += "  digest " + wordOf(family.at("digest")) + "\n";
  return text + countsText("dropped", family.at("dropped")) +
         countsText("refused", family.at("refused"));
}

}  // namespace

json replayJson(const Replay& replay) {
  json families = json::array();
  for (const ReplayRouter* router : replay.routers()) {
    if (router->heard() > 0) families.push_back(routerJson(*router));
  }
  return {{"seconds", replay.seconds()}, {"families", std::move(families)}};
}

std::string replayText(const json& report) {
  if (report.at("families").empty()) return "There are no PIM packets\n";
  const auto seconds = std::to_string(std::lround(report.at("seconds").get<double>()));
  std::string text = "After " + seconds + " s a router on this link knows\n";
  for (const json& family : report.at("families")) text += "\n" + familyText(family);
  return text;
}

bool allTaken(const json& report) {
  for (const json& family : report.at("families")) {
    if (!family.at("dropped").empty() || !family.at("refused").empty()) return false;
  }
  return true;
}

}  // namespace Routing::Sim
