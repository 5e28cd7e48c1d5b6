#include <nlohmann/json.hpp>

#include "agent/control/Reasons.h"
#include "agent/control/ShowParts.h"
#include "bsr/engine/PimBsrSm.h"
#include "bsr/engine/RpCandidateSm.h"

namespace Routing::Agent {
namespace {

using Pim::Bsr::RpCandidate;
using Pim::Bsr::RpCandidateSm;

/// The advertisers of an address, one for each priority.
std::vector<std::shared_ptr<const RpCandidateSm>> advertisersOf(const ShowInput& in,
                                                                const IpGenAddr& address) {
  std::vector<std::shared_ptr<const RpCandidateSm>> machines;
  if (in.instance.engine == nullptr) return machines;
  for (const auto& [options, machine] : in.instance.engine->rpCandidateSm()) {
    if (options.rpAddress() == address) machines.push_back(machine);
  }
  return machines;
}

Json rangesJson(const RpCandidate& candidate) {
  Json ranges = Json::array();
  for (const auto& [range, options] : candidate.prefixOptions()) {
    ranges.push_back({{"group-range", range.text()}, {"priority", options->priority().value()}});
  }
  return ranges;
}

/// The BSRs that hear of it.
Json receiversJson(const ShowInput& in, const IpGenAddr& address) {
  Json receivers = Json::array();
  for (const auto& machine : advertisersOf(in, address)) {
    for (const auto& [zone, ranges] : machine->crpAdvSet()) {
      const auto& bsr = in.instance.status->bootstrapRouter(zone);
      if (ranges.empty() || !bsr) continue;
      receivers.push_back({{"zone", zone.text()}, {"bsr", bsr->ipAddr().text()}});
    }
  }
  return receivers;
}

Json nextJson(const ShowInput& in, const IpGenAddr& address) {
  double next = never;
  for (const auto& machine : advertisersOf(in, address)) {
    next = std::min(next, machine->crpAdvExpiry());
  }
  return secondsBetween(in.now, next);
}

}  // namespace

Json showRpCandidate(const ShowInput& in) {
  Json candidates = Json::array();
  for (const auto& [address, candidate] : in.instance.status->crp()) {
    candidates.push_back({{"rp-address", address.text()},
                          {"interface", textOrNull(candidate->intfId())},
                          {"mode", enumName(candidate->mode())},
                          {"interval", candidate->interval().value()},
                          {"ranges", rangesJson(*candidate)},
                          {"advertised-to", receiversJson(in, address)},
                          {"next-advertisement", nextJson(in, address)}});
  }
  Json idle = Json::array();
  for (const IdleCandidate& each : in.instance.idle) {
    idle.push_back({{"office", each.bsr ? "bsr" : "rp"},
                    {"interface", each.intf},
                    {"reason", enumName(each.reason)},
                    {"text", idleText(each)}});
  }
  return {{"drained", drainedJson(in.drained)},
          {"candidates", std::move(candidates)},
          {"idle", std::move(idle)}};
}

}  // namespace Routing::Agent
