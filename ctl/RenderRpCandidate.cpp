#include <nlohmann/json.hpp>

#include "ctl/Format.h"
#include "ctl/Render.h"

namespace Routing::Ctl {
namespace {

std::string rpCandidateText(const Json& rp) {
  std::string text = "RP " + valueText(rp.at("rp-address")) + " on " +
                     valueText(rp.at("interface")) + ", " + valueText(rp.at("mode")) +
                     ", interval " + valueText(rp.at("interval")) + " s\n";
  for (const Json& range : rp.at("ranges")) {
    text += "  Range:    " + valueText(range.at("group-range")) + ", priority " +
            valueText(range.at("priority")) + "\n";
  }
  for (const Json& to : rp.at("advertised-to")) {
    text += "  To:       BSR " + valueText(to.at("bsr")) + " of zone " + valueText(to.at("zone")) +
            "\n";
  }
  if (rp.at("advertised-to").empty()) return text + "  To:       nobody, as no BSR is known\n";
  return text + "  Next:     in " + durationText(rp.at("next-advertisement")) + "\n";
}

}  // namespace

std::string renderRpCandidate(const Json& data) {
  std::string text = titleText("Candidate RPs of this router", data);
  const std::string drained = drainText(data);
  if (!drained.empty()) text += drained + "\n";
  for (const Json& rp : data.at("candidates")) text += rpCandidateText(rp);
  if (data.at("candidates").empty()) text += "No candidate RP runs\n";
  if (!data.at("idle").empty()) text += "\nCandidates that do not run\n";
  for (const Json& idle : data.at("idle")) {
    text += wrapped((idle.at("office") == "bsr" ? "BSR on " : "RP on ") +
                        valueText(idle.at("interface")) + ": " + valueText(idle.at("text")),
                    2, 2);
  }
  return text;
}

}  // namespace Routing::Ctl
