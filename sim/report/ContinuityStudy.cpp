#include "sim/report/ContinuityStudy.h"

#include <algorithm>
#include <map>
#include <utility>

namespace Routing::Sim {
namespace {

constexpr double notMeasured = -1.0;

}  // namespace

ContinuityStudy::ContinuityStudy(const std::string& file, Scenario scenario)
    : file_(file), scenario_(std::move(scenario)) {
  for (const AddressFamily af : scenario_.families) {
    for (const RouterPlan& router : scenario_.topology.routers()) {
      const bool several = scenario_.families.size() > 1;
      subjects_.push_back(router.name + (several ? " " + std::string(enumName(af)) : ""));
    }
  }
}

std::vector<double> ContinuityStudy::figures(const ScenarioRun& run) const {
  std::vector<double> figures;
  for (const auto& meter : run.invariants().continuity()) {
    for (RouterId id = 0; id < scenario_.topology.routers().size(); ++id) {
      for (const Lack lack : allLacks) {
        figures.push_back(meter->longest(lack, id).value_or(notMeasured));
      }
    }
  }
  return figures;
}

void ContinuityStudy::add(std::uint64_t seed, bool passed, const std::vector<double>& figures) {
  ++runs_;
  failed_ += !passed;
  for (std::size_t i = 0; i < figures.size(); ++i) {
    if (figures[i] == notMeasured) continue;
    samples_[i % allLacks.size()].push_back({seed, i / allLacks.size(), figures[i]});
  }
}

void ContinuityStudy::detailIs(const ScenarioRun& run, const Timeline& timeline) {
  detail_ = {run.options().seed, run.world().now(), {}, {}};
  std::size_t family = 0;
  const auto take = [&](const std::vector<Gap>& gaps) {
    for (const Gap& gap : gaps) {
      detail_->gaps.push_back({family * scenario_.topology.routers().size() + gap.router, gap});
    }
  };
  for (const auto& meter : run.invariants().continuity()) {
    take(meter->gaps());
    for (const Lack lack : allLacks) take(meter->open(lack));
    ++family;
  }
  for (const Happening& happening : timeline.happenings()) {
    if (happening.kind == Happening::Kind::script) detail_->script.push_back(happening);
  }
}

Distribution ContinuityStudy::ofSubject(Lack lack, std::size_t subject) const {
  std::vector<double> seconds;
  for (const Sample& sample : samples(lack)) {
    if (sample.subject == subject) seconds.push_back(sample.seconds);
  }
  return Distribution(std::move(seconds));
}

Distribution ContinuityStudy::ofRuns(Lack lack) const {
  std::map<std::uint64_t, double> longest;
  for (const Sample& sample : samples(lack)) {
    double& seconds = longest[sample.seed];
    seconds = std::max(seconds, sample.seconds);
  }
  std::vector<double> seconds;
  seconds.reserve(longest.size());
  for (const auto& [seed, value] : longest) seconds.push_back(value);
  return Distribution(std::move(seconds));
}

std::optional<ContinuityStudy::Sample> ContinuityStudy::worst(Lack lack) const {
  const auto& all = samples(lack);
  const auto it = std::max_element(all.begin(), all.end(), [](const Sample& a, const Sample& b) {
    return a.seconds < b.seconds;
  });
  return it == all.end() ? std::nullopt : std::optional(*it);
}

// Groups without an RP say most; a start that is no longer than others says little.
std::optional<std::uint64_t> ContinuityStudy::tellingSeed() const {
  for (const Lack lack : allLacks) {
    const auto sample = worst(lack);
    if (sample && sample->seconds > 0) return sample->seed;
  }
  const auto any = worst(Lack::rp);
  return any ? std::optional(any->seed) : std::nullopt;
}

}  // namespace Routing::Sim
