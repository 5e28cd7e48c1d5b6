#include "sim/invariants/Served.h"

namespace Routing::Sim {

void Served::judge(const Gap& gap) {
  if (gap.lack == Lack::rp && gap.length() > 0) {
    brokenBy(nameOf(gap.router) + " has no RP for groups of " + gap.about.text() + " since " +
             std::to_string(gap.from) + " s");
  } else if (gap.lack == Lack::start && gap.length() > longestStart &&
             !troubles().othersThan(gap.router)) {
    brokenBy(nameOf(gap.router) + " has not all that others have " + std::to_string(gap.length()) +
             " s after its first Hello");
  }
}

}  // namespace Routing::Sim
