#include "agent/control/DrainCommands.h"

#include <nlohmann/json.hpp>
#include <optional>

#include "agent/control/ShowParts.h"

namespace Routing::Agent {
namespace {

std::optional<Candidacies> candidaciesOf(const std::string& topic) {
  if (topic == "bsr") return Candidacies{.bsr = true};
  if (topic == "rp") return Candidacies{.rp = true};
  if (topic == "all") return Candidacies{.bsr = true, .rp = true};
  if (topic == "status") return Candidacies{};
  return std::nullopt;
}

Json zoneJson(const DrainReport::Zone& zone) {
  return {{"vrf", zone.vrf.text()},
          {"address-family", enumName(zone.af)},
          {"zone", zone.zone.text()},
          {"bsr", textOrNull(zone.bsr)}};
}

Json rpJson(const DrainReport::Rp& rp) {
  return {{"vrf", rp.vrf.text()},
          {"address-family", enumName(rp.af)},
          {"rp-address", rp.address.text()},
          {"withdrawn", rp.withdrawn}};
}

Json reportJson(const DrainReport& report) {
  Json zones = Json::array();
  Json rps = Json::array();
  for (const DrainReport::Zone& zone : report.zones) zones.push_back(zoneJson(zone));
  for (const DrainReport::Rp& rp : report.rps) rps.push_back(rpJson(rp));
  return {{"drained", drainedJson(report.drained)},
          {"zones", std::move(zones)},
          {"rps", std::move(rps)},
          {"complete", report.complete()}};
}

}  // namespace

Json drain(const ControlTarget& target, const std::string& topic) {
  const auto kinds = candidaciesOf(topic);
  if (!kinds) throw RequestError(RefusalCode::badRequest, "unknown topic '" + topic + "'");
  if (!kinds->none()) target.commands.drain(*kinds);
  return reportJson(target.view.drainReport());
}

Json undrain(const ControlTarget& target) {
  target.commands.undrain();
  return reportJson(target.view.drainReport());
}

}  // namespace Routing::Agent
