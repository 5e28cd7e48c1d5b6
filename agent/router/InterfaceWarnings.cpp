#include "agent/router/InterfaceWarnings.h"

#include <spdlog/spdlog.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

namespace Routing::Agent {
namespace {

constexpr std::size_t mostLines = 16;  // in a VRF

std::string inAnotherVrf(const Interface& interface, const VrfName& vrf) {
  return "interface " + interface.link.name + " is in VRF " + interface.vrf.text() + ", not " +
         vrf.text();
}

std::set<std::string> namesOf(const VrfSettings& families) {
  std::set<std::string> names;
  for (const auto& [af, settings] : families) {
    for (const auto& [name, interface] : settings.interfaces) names.insert(name);
  }
  return names;
}

}  // namespace

void warnOfAbsent(const DaemonConfig& config, const InterfaceTable& interfaces) {
  for (const auto& [vrf, families] : config.vrfs) {
    std::vector<std::string> lines;
    for (const std::string& name : namesOf(families)) {
      const Interface* interface = interfaces.interface(IntfId(name));
      if (interface == nullptr) {
        lines.push_back("interface " + name + " does not exist yet");
      } else if (interface->vrf != vrf) {
        lines.push_back(inAnotherVrf(*interface, vrf));
      }
    }
    const std::size_t said = std::min(lines.size(), mostLines);
    for (std::size_t i = 0; i < said; ++i) spdlog::warn("{}", lines[i]);
    if (said == lines.size()) continue;
    spdlog::warn("{} more interfaces of VRF {} are not there yet", lines.size() - said, vrf.text());
  }
}

void warnOfChange(const DaemonConfig& config, const Interface& before, const Interface& now) {
  const std::string& name = now.link.name;
  for (const auto& [vrf, families] : config.vrfs) {
    if (before.vrf != vrf) continue;
    const bool named = namesOf(families).contains(name);
    if (now.vrf != vrf && named) spdlog::warn("{}", inAnotherVrf(now, vrf));
    const bool candidate = std::ranges::any_of(families, [&name](const auto& family) {
      return family.second.bsrCandidates.contains(name) ||
             family.second.rpCandidates.contains(name);
    });
    if (!candidate || before.link.up == now.link.up) continue;
    spdlog::log(now.link.up ? spdlog::level::info : spdlog::level::warn,
                "interface {}, whose address is a candidate's, is {}", name,
                now.link.up ? "up" : "down");
  }
}

}  // namespace Routing::Agent
