#include "sim/replay/ReplayReport.h"

#include <cmath>
#include <nlohmann/json.hpp>
#include <vector>

#include "bsr/types/ErrorReasons.h"
#include "platform/pim/rp/RpSelection.h"
#include "platform/pim/rp/RpSetDigest.h"

namespace Routing::Sim {
namespace {

using Json = nlohmann::json;

Json heardZones(const Pim::Bsr::Status& status) {
  Json zones = Json::array();
  for (const auto& [zone, bsr] : status.bootstrapRouter()) {
    if (bsr->ipAddr().isUnset()) continue;
    zones.push_back({{"zone", zone.text()},
                     {"bsr", bsr->ipAddr().text()},
                     {"priority", bsr->priority()},
                     {"hash-mask-length", bsr->hashMaskLen()}});
  }
  return zones;
}

Json heardRps(const std::vector<Pim::RpMapping>& mappings) {
  Json rps = Json::array();
  for (const Pim::RpMapping& mapping : mappings) {
    rps.push_back({{"group-range", mapping.groupRange.text()},
                   {"rp-address", mapping.rp.text()},
                   {"priority", mapping.priority}});
  }
  return rps;
}

Json droppedByReason(const ReplayRouter& router) {
  Json dropped = Json::object();
  for (const auto& [reason, count] : router.messages().rxDropped()) dropped[reason] = count;
  return dropped;
}

Json refusedByReason(const ReplayRouter& router) {
  Json refused = Json::object();
  for (const auto& [reason, count] : errorsByReason(router.status().counters()->errCounters())) {
    if (count > 0) refused[std::string(reason)] = count;
  }
  return refused;
}

Json routerJson(const ReplayRouter& router) {
  const std::vector<Pim::RpMapping> mappings = Pim::rpMappings(router.rpSet());
  return {{"address-family", enumName(router.af())},
          {"packets", router.heard()},
          {"zones", heardZones(router.status())},
          {"rp-set", heardRps(mappings)},
          {"digest", Pim::rpSetDigestText(Pim::rpSetDigest(mappings))},
          {"dropped", droppedByReason(router)},
          {"refused", refusedByReason(router)}};
}

std::string wordOf(const Json& json) {
  return json.is_string() ? json.get<std::string>() : json.dump();
}

std::string countsText(const char* what, const Json& counts) {
  std::string text;
  for (const auto& [reason, count] : counts.items()) {
    text += std::string("  ") + what + ", " + reason + ": " + wordOf(count) + "\n";
  }
  return text;
}

std::string familyText(const Json& family) {
  std::string text = (family.at("address-family") == "ipv4" ? "IPv4, " : "IPv6, ") +
                     wordOf(family.at("packets")) + " PIM packets\n";
  for (const Json& zone : family.at("zones")) {
    text += "  zone " + wordOf(zone.at("zone")) + ": BSR " + wordOf(zone.at("bsr")) +
            ", priority " + wordOf(zone.at("priority")) + ", hash mask " +
            wordOf(zone.at("hash-mask-length")) + "\n";
  }
  if (family.at("zones").empty()) text += "  no BSR\n";
  for (const Json& rp : family.at("rp-set")) {
    text += "  RP " + wordOf(rp.at("rp-address")) + " for " + wordOf(rp.at("group-range")) +
            ", priority " + wordOf(rp.at("priority")) + "\n";
  }
  if (!family.at("rp-set").empty()) text += "  digest " + wordOf(family.at("digest")) + "\n";
  return text + countsText("dropped", family.at("dropped")) +
         countsText("refused", family.at("refused"));
}

}  // namespace

Json replayJson(const Replay& replay) {
  Json families = Json::array();
  for (const ReplayRouter* router : replay.routers()) {
    if (router->heard() > 0) families.push_back(routerJson(*router));
  }
  return {{"seconds", replay.seconds()}, {"families", std::move(families)}};
}

std::string replayText(const Json& report) {
  if (report.at("families").empty()) return "There are no PIM packets\n";
  const auto seconds = std::to_string(std::lround(report.at("seconds").get<double>()));
  std::string text = "After " + seconds + " s a router on this link knows\n";
  for (const Json& family : report.at("families")) text += "\n" + familyText(family);
  return text;
}

bool allTaken(const Json& report) {
  for (const Json& family : report.at("families")) {
    if (!family.at("dropped").empty() || !family.at("refused").empty()) return false;
  }
  return true;
}

}  // namespace Routing::Sim
