#include <nlohmann/json.hpp>

#include "agent/control/ShowParts.h"
#include "bsr/engine/PimBsrSm.h"
#include "platform/pim/rp/RpSetDigest.h"

namespace Routing::Agent {
namespace {

Json rpJson(const ShowInput& in, const Pim::RpEntry& rp) {
  return {{"rp-address", rp.address().text()},
          {"priority", priorityJson(rp.priority().value())},
          {"holdtime", rp.holdTime().value()},
          {"mode", enumName(rp.mode())},
          {"hash-mask-length", hashMaskLenJson(rp.hashMaskLen().value(), in.instance.af)},
          {"up-time", secondsBetween(rp.setupTime(), in.now)},
          {"expiration", secondsBetween(in.now, rp.expiryTime())}};
}

Json groupsJson(const ShowInput& in, const Pim::RpCandidateStatus& set) {
  Json groups = Json::array();
  for (const auto& [range, candidates] : set.crpSet()) {
    Json rps = Json::array();
    for (const auto& entry : candidates->rp()) rps.push_back(rpJson(in, *entry.second));
    groups.push_back({{"group-range", range.text()}, {"rps", std::move(rps)}});
  }
  return groups;
}

/// The ranges of which not all RPs have arrived.
Json incompleteJson(const ShowInput& in, const IpGenPrefix& zone) {
  Json ranges = Json::array();
  if (in.instance.engine == nullptr) return ranges;
  for (const auto& [prefix, gap] : in.instance.engine->incompleteRanges(zone)) {
    ranges.push_back({{"group-range", prefix.text()},
                      {"rps-expected", gap.expected},
                      {"rps-received", gap.received},
                      {"since", secondsBetween(gap.since, in.now)}});
  }
  return ranges;
}

}  // namespace

Json showRpSet(const ShowInput& in) {
  Json zones = Json::array();
  for (const auto& [zone, entry] : in.instance.status->crpStatus()) {
    if (!entry->status()) continue;
    zones.push_back({{"zone", zone.text()},
                     {"scope", scopeName(zone)},
                     {"incomplete", incompleteJson(in, zone)},
                     {"groups", groupsJson(in, *entry->status())}});
  }
  const Pim::RpCandidateStatus& used = *in.instance.rpCandidate;
  Json mappings = {{"source", enumName(used.rpSetType())},
                   {"digest", Pim::rpSetDigestText(Pim::rpSetDigest(used))},
                   {"groups", groupsJson(in, used)}};
  return {{"zones", std::move(zones)}, {"mappings", std::move(mappings)}};
}

}  // namespace Routing::Agent
