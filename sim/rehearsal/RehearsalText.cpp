#include "sim/rehearsal/RehearsalText.h"

#include <algorithm>
#include <iomanip>
#include <ostream>
#include <sstream>
#include <tuple>

namespace Routing::Sim {
namespace {

constexpr std::size_t mostNamed = 8;

template <class Routers>
std::string namesOf(const Topology& topology, const Routers& routers) {
  std::string text;
  std::size_t count = 0;
  for (const auto& entry : routers) {
    if (++count > mostNamed)
      return text + " and " + std::to_string(routers.size() - mostNamed) + " more";
    RouterId router{};
    if constexpr (requires { entry.first; }) {
      router = entry.first;
    } else {
      router = entry;
    }
    text += (text.empty() ? "" : ", ") + topology.router(router).name;
  }
  return text;
}

std::string seconds(double time) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(time < 1.0 ? 3 : 1) << time << " s";
  return text.str();
}

std::string textOf(const std::set<IpGenAddr>& rps) {
  std::string text;
  for (const IpGenAddr& rp : rps) text += (text.empty() ? "" : ", ") + rp.text();
  return text.empty() ? "none" : text;
}

double longest(const RangeOutcome& range) {
  double most = 0.0;
  for (const auto& [router, time] : range.without) most = std::max(most, time);
  return most;
}

/// What breaks a network in which all is well is said first; it is worse the longer it lasts, and
/// worst for good.
auto badness(const RehearsalOutcome& outcome, const RangeOutcome& range) {
  return std::tuple(!outcome.dead, !range.lost.empty(), longest(range), range.without.size());
}

std::string thoughText(const Topology& topology, const RangeOutcome& range) {
  return ", though " + namesOf(topology, range.candidates) +
         (range.candidates.size() == 1 ? " stands" : " stand") + " for it";
}

std::string brokenText(const Topology& topology, const RangeOutcome& range) {
  if (range.lost.empty()) {
    return range.range.text() + " is without RP for " + seconds(longest(range)) + " on " +
           namesOf(topology, range.without);
  }
  return range.range.text() + " has no RP any more on " + namesOf(topology, range.lost) +
         thoughText(topology, range);
}

/// Drops of a kind that routers had not made before are often why.
std::string freshDrops(const Topology& topology, const RehearsalOutcome& outcome) {
  std::string text;
  for (const DropOutcome& drop : outcome.drops) {
    if (drop.fresh.empty()) continue;
    text += "; new drops on " + namesOf(topology, drop.fresh) + ": " + drop.reason;
  }
  return text;
}

std::string withoutWhom(const Topology& topology, const RehearsalOutcome& outcome) {
  return outcome.dead ? " (with " + topology.router(*outcome.dead).name + " dead)" : "";
}

std::string goodText(const Topology& topology, const std::vector<RehearsalOutcome>& outcomes) {
  const auto& ranges = outcomes.front().ranges;
  const auto served = std::count_if(ranges.begin(), ranges.end(), [](const RangeOutcome& range) {
    return !range.before.empty();
  });
  if (served == 0) return "NOTHING TO COMPARE: no range has an RP before the change";
  std::string text = "good: no router is without an RP that it had and can have; " +
                     std::to_string(served) + " ranges, " +
                     std::to_string(topology.routers().size()) + " routers";
  return text + (outcomes.size() > 1 ? ", each of them dead in turn" : "");
}

void writeRange(std::ostream& out, const Topology& topology, const RangeOutcome& range) {
  out << "  " << std::left << std::setw(20) << range.range.text() << " " << textOf(range.before);
  if (range.before != range.after) out << " -> " << textOf(range.after);
  if (range.before.empty() && range.after.empty() && !range.candidates.empty()) {
    out << thoughText(topology, range);
  }
  if (!range.without.empty()) {
    out << ", without RP for up to " << seconds(longest(range)) << ": "
        << namesOf(topology, range.without);
  }
  if (!range.lost.empty()) out << ", for good: " << namesOf(topology, range.lost);
  if (!range.withdrawn.empty()) {
    out << ", nobody stands for it any more: " << namesOf(topology, range.withdrawn);
  }
  if (range.disagreement > 0) out << ", routers differ for " << seconds(range.disagreement);
  out << "\n";
}

void writeOutcome(std::ostream& out, const Topology& topology, const RehearsalOutcome& outcome) {
  out << "\n"
      << (outcome.dead ? "With " + topology.router(*outcome.dead).name + " dead"
                       : std::string("With all routers"))
      << ", from " << seconds(outcome.began) << " to " << seconds(outcome.ended) << "\n";
  for (const Violation& fault : outcome.faults) {
    out << "  the run ended at " << seconds(fault.at) << ": " << fault.invariant << ": "
        << fault.what << "\n";
  }
  std::size_t same = 0;
  for (const RangeOutcome& range : outcome.ranges) {
    if (range.noticed() || range.after.empty()) {
      writeRange(out, topology, range);
    } else {
      ++same;
    }
  }
  out << "  " << same << (same == 1 ? " range keeps its RPs\n" : " ranges keep their RPs\n");
  for (const Happening& happening : outcome.elections) {
    out << "  " << seconds(happening.at - outcome.began) << "  " << happening.text << ": ";
    for (const std::string& router : happening.routers) {
      out << (&router == &happening.routers.front() ? "" : " ") << router;
    }
    out << "\n";
  }
  for (const DropOutcome& drop : outcome.drops) {
    std::uint64_t count = 0;
    for (const auto& [router, dropped] : drop.counts) count += dropped;
    out << "  drops: " << drop.reason << ", " << count << " messages on "
        << namesOf(topology, drop.counts);
    if (!drop.fresh.empty()) out << ", new on " << namesOf(topology, drop.fresh);
    out << "\n";
  }
}

}  // namespace

std::string verdictOf(const Topology& topology, const std::vector<RehearsalOutcome>& outcomes) {
  const RehearsalOutcome* where = nullptr;
  const RangeOutcome* worst = nullptr;
  std::size_t broken = 0;
  for (const RehearsalOutcome& outcome : outcomes) {
    if (!outcome.faults.empty()) {
      const Violation& fault = outcome.faults.front();
      return "BAD: the network breaks a rule, \"" + fault.invariant + "\": " + fault.what +
             withoutWhom(topology, outcome);
    }
    for (const RangeOutcome& range : outcome.ranges) {
      if (!range.broken()) continue;
      ++broken;
      if (worst != nullptr && badness(*where, *worst) >= badness(outcome, range)) continue;
      worst = &range;
      where = &outcome;
    }
  }
  if (worst == nullptr) return goodText(topology, outcomes);
  return "BAD: " + brokenText(topology, *worst) + withoutWhom(topology, *where) +
         freshDrops(topology, *where) +
         (broken > 1 ? "; and " + std::to_string(broken - 1) + " more" : "");
}

void writeOutcomes(std::ostream& out, const Topology& topology,
                   const std::vector<RehearsalOutcome>& outcomes) {
  for (const RehearsalOutcome& outcome : outcomes) writeOutcome(out, topology, outcome);
}

}  // namespace Routing::Sim
