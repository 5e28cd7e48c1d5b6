#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sim/continuity/ContinuityMeter.h"
#include "sim/core/Distribution.h"
#include "sim/scenario/Scenario.h"

namespace Routing::Sim {

/// What many runs of one scenario measured: the longest gap of each kind in each run, for every
/// router in every family.
class ContinuityStudy {
 public:
  /// The longest gap of a router in a run.
  struct Sample {
    std::uint64_t seed;
    std::size_t subject;
    double seconds;
  };
  using Meters = std::vector<std::unique_ptr<ContinuityMeter>>;

  explicit ContinuityStudy(const Scenario& scenario);

  const Scenario& scenario() const { return scenario_; }
  /// A router in a family, as "r1" or, where there are several families, "r1 ipv4".
  const std::vector<std::string>& subjects() const { return subjects_; }

  /// What the meters of a run have measured, as numbers that add() takes.
  std::vector<double> figures(const Meters& meters) const;
  void add(std::uint64_t seed, const std::vector<double>& figures);

  const std::vector<Sample>& samples(Lack lack) const { return samples_[index(lack)]; }
  Distribution ofSubject(Lack lack, std::size_t subject) const;
  /// For each run the longest of all routers.
  Distribution ofRuns(Lack lack) const;
  /// The longest of all; none if nothing was measured.
  std::optional<Sample> worst(Lack lack) const;

 private:
  static std::size_t index(Lack lack) { return static_cast<std::size_t>(lack); }

  const Scenario& scenario_;
  std::vector<std::string> subjects_;
  std::array<std::vector<Sample>, allLacks.size()> samples_;
};

}  // namespace Routing::Sim
