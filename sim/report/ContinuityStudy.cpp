#include "sim/report/ContinuityStudy.h"

#include <algorithm>
#include <map>

namespace Routing::Sim {
namespace {

constexpr double notMeasured = -1.0;

}  // namespace

ContinuityStudy::ContinuityStudy(const Scenario& scenario) : scenario_(scenario) {
  for (const AddressFamily af : scenario.families) {
    for (const RouterPlan& router : scenario.topology.routers()) {
      const bool several = scenario.families.size() > 1;
      subjects_.push_back(router.name + (several ? " " + std::string(enumName(af)) : ""));
    }
  }
}

std::vector<double> ContinuityStudy::figures(const Meters& meters) const {
  std::vector<double> figures;
  for (const auto& meter : meters) {
    for (RouterId id = 0; id < scenario_.topology.routers().size(); ++id) {
      for (const Lack lack : allLacks) {
        figures.push_back(meter->longest(lack, id).value_or(notMeasured));
      }
    }
  }
  return figures;
}

void ContinuityStudy::add(std::uint64_t seed, const std::vector<double>& figures) {
  for (std::size_t i = 0; i < figures.size(); ++i) {
    if (figures[i] == notMeasured) continue;
    samples_[i % allLacks.size()].push_back({seed, i / allLacks.size(), figures[i]});
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

}  // namespace Routing::Sim
