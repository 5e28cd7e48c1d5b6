#include <algorithm>
#include <cmath>
#include <map>
#include <nlohmann/json.hpp>
#include <string>

#include "agent/control/ShowParts.h"

// The operational state in the words of RFC 9128 (ietf-pim-rp), which knows the global zone alone.

namespace Routing::Agent {
namespace {

using Pim::Bsr::BsrCandidateState;

/// Hundredths of a second, which as 64 bits are a string in JSON (RFC 7951 section 6.1).
std::string ticksSince(double start, double now) {
  return std::to_string(static_cast<std::uint64_t>(std::max(0.0, now - start) * 100));
}

unsigned timerValue(double now, double expiry) {
  return static_cast<unsigned>(std::clamp(std::ceil(expiry - now), 1.0, 65535.0));
}

std::string listName(AddressFamily af) {
  return af == AddressFamily::ipv4 ? "ipv4-rp" : "ipv6-rp";
}

const char* modeIdentity(const Pim::RpEntry& rp) {
  return rp.mode() == Pim::PimMode::bidirectional ? "ietf-pim-bidir:rp-bidir" : "ietf-pim-sm:rp-sm";
}

std::shared_ptr<Pim::Bsr::ElectedBsrStatus> globalBsr(const ShowInput& in) {
  const auto bsr = in.instance.status->bootstrapRouter(IpGenPrefix::multicast(in.instance.af));
  return bsr && !bsr->ipAddr().isUnset() ? bsr : nullptr;
}

void addElectionState(const ShowInput& in, Json& bsr) {
  const auto candidate = in.instance.status->cbsr(IpGenPrefix::multicast(in.instance.af));
  if (!candidate || candidate->state() == BsrCandidateState::noInfoBsr) {
    bsr["non-candidate-bsr-state"] = globalBsr(in) ? "accept" : "accept-any";
  } else {
    const bool elected = candidate->state() == BsrCandidateState::eBsr;
    const bool pending = candidate->state() == BsrCandidateState::pBsr;
    bsr["candidate-bsr-state"] = elected ? "elected" : pending ? "pending" : "candidate";
  }
}

Json bsrState(const ShowInput& in) {
  Json json = Json::object();
  if (const auto bsr = globalBsr(in)) {
    json["bsr"] = {{"address", bsr->ipAddr().text()},
                   {"hash-mask-length", bsr->hashMaskLen()},
                   {"priority", bsr->priority()},
                   {"up-time", ticksSince(bsr->setupTime(), in.now)}};
  }
  addElectionState(in, json);
  return json;
}

Json mappingState(const ShowInput& in) {
  Json mappings = Json::array();
  for (const auto& [range, set] : in.instance.rpCandidate->crpSet()) {
    for (const auto& [address, rp] : set->rp()) {
      mappings.push_back({{"group-range", range.text()},
                          {"rp-address", address.text()},
                          {"up-time", ticksSince(rp->setupTime(), in.now)},
                          {"expiration", timerValue(in.now, rp->expiryTime())}});
    }
  }
  return mappings;
}

/// Each RP once in each mode, for as long as any of its ranges has it.
Json rpState(const ShowInput& in) {
  std::map<std::pair<IpGenAddr, std::string>, std::pair<double, double>> lives;
  for (const auto& [range, set] : in.instance.rpCandidate->crpSet()) {
    for (const auto& [address, rp] : set->rp()) {
      const auto [life, added] =
          lives.try_emplace({address, modeIdentity(*rp)}, rp->setupTime(), rp->expiryTime());
      life->second.first = std::min(life->second.first, rp->setupTime());
      life->second.second = std::max(life->second.second, rp->expiryTime());
    }
  }
  Json rps = Json::array();
  for (const auto& [key, life] : lives) {
    rps.push_back({{"rp-address", key.first.text()},
                   {"mode", key.second},
                   {"info-source-type", "ietf-pim-rp:bootstrap"},
                   {"up-time", ticksSince(life.first, in.now)},
                   {"expiration", timerValue(in.now, life.second)}});
  }
  return rps;
}

}  // namespace

Json showYang(const ShowInput& in) {
  const std::string list = listName(in.instance.af);
  Json rp = {{"bsr", bsrState(in)},
             {"rp-list", {{list, rpState(in)}}},
             {"rp-mappings", {{list, mappingState(in)}}}};
  Json family = {{"address-family", "ietf-routing:" + std::string(enumName(in.instance.af))},
                 {"ietf-pim-rp:rp", std::move(rp)}};
  Json pim = {{"address-family", Json::array({std::move(family)})}};
  Json routing = {{"control-plane-protocols", {{"ietf-pim-base:pim", std::move(pim)}}}};
  return {{"operational", {{"ietf-routing:routing", std::move(routing)}}}};
}

}  // namespace Routing::Agent
