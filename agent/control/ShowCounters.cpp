#include <nlohmann/json.hpp>

#include "agent/control/ShowParts.h"
#include "bsr/types/ErrorReasons.h"

namespace Routing::Agent {
namespace {

Json messagesJson(const Pim::PimMessageCounters& counters) {
  Json dropped = Json::object();
  for (const auto& [reason, count] : counters.rxDropped()) dropped[reason] = count;
  return {{"received",
           {{"hello", counters.rxHello()},
            {"bsr", counters.rxBootstrap()},
            {"candidate-rp-advertisement", counters.rxCrpAdv()},
            {"other", counters.rxOther()}}},
          {"sent",
           {{"hello", counters.txHello()},
            {"bsr", counters.txBootstrap()},
            {"candidate-rp-advertisement", counters.txCrpAdv()},
            {"error", counters.txError()}}},
          {"dropped", std::move(dropped)}};
}

Json tallyJson(std::uint32_t all, std::uint32_t success, std::uint32_t error) {
  return {{"all", all}, {"success", success}, {"error", error}};
}

Json errorsJson(const Pim::Bsr::PimBsrErrorCounters& errors) {
  Json json = Json::object();
  for (const auto& [reason, count] : errorsByReason(errors)) json[reason] = count;
  return json;
}

Json bsrJson(const Pim::Bsr::PimBsrCounters& c) {
  return {{"received", tallyJson(c.rx(), c.rxSuccess(), c.rxError())},
          {"received-bsm", tallyJson(c.rxBsm(), c.rxBsmSuccess(), c.rxBsmError())},
          {"received-candidate-rp-advertisement",
           tallyJson(c.rxCrpAdv(), c.rxCrpAdvSuccess(), c.rxCrpAdvError())},
          {"sent", tallyJson(c.tx(), c.txSuccess(), c.txError())},
          {"receive-errors", errorsJson(c.errCounters())}};
}

Json limitJson(std::uint64_t limit, std::uint32_t refused) {
  return {{"limit", limit}, {"refused", refused}};
}

Json limitsJson(const Pim::Bsr::PimBsrLimits& limits) {
  return {{"zones", limitJson(limits.maxZones(), limits.refusedZones())},
          {"groups", limitJson(limits.maxGroups(), limits.refusedGroups())},
          {"rps", limitJson(limits.maxRps(), limits.refusedRps())},
          {"fragments", limitJson(limits.maxFragments(), limits.refusedFragments())},
          {"kept", limitJson(maxKept(limits), limits.refusedKept())}};
}

Json tallyJson(const Pim::InterfaceTally& tally, std::uint32_t echoes) {
  return {{"received-hello", tally.rxHello},
          {"received-bsr", tally.rxBootstrap},
          {"received-candidate-rp-advertisement", tally.rxCrpAdv},
          {"dropped", tally.rxDropped},
          {"echoes", echoes},
          {"sent-hello", tally.txHello},
          {"sent-bsr", tally.txBootstrap},
          {"send-errors", tally.txError}};
}

Json interfacesJson(const Pim::PamManager& packets) {
  Json interfaces = Json::array();
  const auto& echoes = packets.drops().echoesByIntf();
  for (const auto& [intf, tally] : packets.tallies()) {
    const auto found = echoes.find(intf);
    Json json = tallyJson(tally, found == echoes.end() ? 0 : found->second);
    json["interface"] = intf.text();
    interfaces.push_back(std::move(json));
  }
  return interfaces;
}

}  // namespace

Json showCounters(const ShowInput& in) {
  const Pim::PamManager& packets = *in.instance.pamManager;
  const Pim::DropLog::Echoes& echoes = packets.drops().echoes();
  const auto& bsr = in.instance.status->counters();
  return {{"bsr", bsr ? bsrJson(*bsr) : Json(nullptr)},
          {"messages", messagesJson(*in.instance.pamManager->counters())},
          {"echoes", {{"neighbor-rpf-check", echoes.rpf}, {"no-forward", echoes.noForward}}},
          {"interfaces", interfacesJson(packets)},
          {"kernel-overflows", in.instance.overflows},
          {"since-cleared", secondsBetween(in.instance.countersCleared, in.now)},
          {"limits", limitsJson(*in.instance.limits)}};
}

}  // namespace Routing::Agent
