#include <nlohmann/json.hpp>

#include "ctl/Format.h"
#include "ctl/Render.h"

namespace Routing::Ctl {
namespace {

std::string noBsrText(const Json& zoneExpiration) {
  return "  No BSR is known" +
         (zoneExpiration.is_null() ? ""
                                   : "; the zone is forgotten in " + durationText(zoneExpiration)) +
         "\n";
}

std::string bsrText(const Json& bsr) {
  const bool local = bsr.at("local");
  return "  BSR:        " + valueText(bsr.at("address")) + (local ? " (this router)" : "") +
         "\n  Priority:   " + valueText(bsr.at("priority")) +
         "\n  Hash mask:  " + valueText(bsr.at("hash-mask-length")) +
         "\n  Uptime:     " + durationText(bsr.at("up-time")) +
         (local ? "\n  Next BSM:   " + durationText(bsr.at("next-bootstrap"))
                : "\n  Expires:    " + durationText(bsr.at("expiration"))) +
         "\n";
}

std::string candidateText(const Json& candidate) {
  if (candidate.is_null()) return {};
  return wrapped("Candidate:  " + valueText(candidate.at("state")) + ", " +
                     valueText(candidate.at("address")) + " on " +
                     valueText(candidate.at("interface")) + ", priority " +
                     valueText(candidate.at("priority")) + ", hash mask " +
                     valueText(candidate.at("hash-mask-length")) + ", interval " +
                     valueText(candidate.at("interval")) + " s",
                 2, 12);
}

std::string rpfText(const Json& zone) {
  const Json& bsr = zone.at("bsr");
  if (bsr.is_null() || bsr.at("local")) return {};
  const Json& rpf = zone.at("rpf");
  return "  RPF:        " +
         (rpf.is_null() ? "no PIM neighbor leads to it"
                        : valueText(rpf.at("neighbor")) + " on " + valueText(rpf.at("interface"))) +
         "\n";
}

std::string historyText(const Json& zone) {
  std::string text;
  const Json& message = zone.at("last-message");
  if (!message.is_null()) {
    text += "  Last BSM:   " + durationText(message.at("age")) + " ago, tag " +
            valueText(message.at("tag")) + "\n";
  }
  const Json& history = zone.at("history");
  if (history.is_null()) return text;
  const Json& change = history.at("last-change");
  return text + "  Elections:  " + valueText(history.at("elections")) + "\n" +
         wrapped("Changed:    " + durationText(change.at("age")) +
                     " ago: " + valueText(change.at("text")),
                 2, 12);
}

}  // namespace

std::string renderBsr(const Json& data) {
  std::string text = titleText("PIM bootstrap routers", data);
  const std::string drained = drainText(data);
  if (!drained.empty()) text += drained + "\n";
  const char* separator = "";
  for (const Json& zone : data.at("zones")) {
    const Json& bsr = zone.at("bsr");
    text += separator + zoneText(zone) +
            (bsr.is_null() ? noBsrText(zone.at("zone-expiration")) : bsrText(bsr)) + rpfText(zone) +
            candidateText(zone.at("candidate")) + historyText(zone);
    separator = "\n";
  }
  return text;
}

}  // namespace Routing::Ctl
