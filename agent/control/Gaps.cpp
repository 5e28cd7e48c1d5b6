#include "agent/control/Reasons.h"
#include "agent/control/RpAnswer.h"
#include "agent/control/ShowParts.h"
#include "bsr/engine/PimBsrSm.h"

namespace Routing::Agent {
namespace {

using Pim::Bsr::IncompleteRange;

constexpr double gapIsNews = 1.0;  // seconds; fragments follow each other faster

std::string gapText(const ShowInput& in, const IpGenPrefix& range, const IncompleteRange& gap) {
  return "range " + range.text() + " is incomplete, " + std::to_string(gap.received) + " of " +
         std::to_string(gap.expected) + " RPs have arrived since " +
         distanceText(in.now - gap.since);
}

}  // namespace

std::string gapOver(const ShowInput& in, const IpGenAddr& group, const Pim::RpChoice& choice) {
  std::string text;
  int longest = choice.rp ? static_cast<int>(choice.rp->groupRange.length()) - 1 : -1;
  if (in.instance.engine == nullptr) return text;
  for (const auto& [zone, bsr] : in.instance.status->bootstrapRouter()) {
    if (isBsr(in, zone)) continue;
    for (const auto& [range, gap] : in.instance.engine->incompleteRanges(zone)) {
      const bool covers = range.contains(IpGenPrefix::host(group));
      if (!covers || in.now - gap.since < gapIsNews || static_cast<int>(range.length()) <= longest)
        continue;
      longest = static_cast<int>(range.length());
      text = gapText(in, range, gap);
    }
  }
  return text;
}

}  // namespace Routing::Agent
