#include <nlohmann/json.hpp>

#include "agent/control/ShowParts.h"

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
  return {{"filter", errors.rxFilter()},
          {"neighbor-rpf-check", errors.rxNbrRpfCheck()},
          {"no-forward", errors.rxNoForwardBsm()},
          {"unicast", errors.rxUnicastBsm()},
          {"scope-mismatch", errors.rxScopeMismatch()},
          {"invalid", errors.rxInvalid()}};
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

}  // namespace

Json showCounters(const ShowInput& in) {
  const auto& bsr = in.instance.status->counters();
  return {{"bsr", bsr ? bsrJson(*bsr) : Json(nullptr)},
          {"messages", messagesJson(*in.instance.pamManager->counters())},
          {"limits", limitsJson(*in.instance.limits)}};
}

}  // namespace Routing::Agent
