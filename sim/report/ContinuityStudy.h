#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sim/continuity/ContinuityMeter.h"
#include "sim/core/Distribution.h"
#include "sim/report/Timeline.h"
#include "sim/scenario/Scenario.h"
#include "sim/scenario/ScenarioRun.h"

namespace Routing::Sim {

/// What many runs of one scenario measured: for every router in every family the longest gap of
/// each kind in each run; and one run in full.
class ContinuityStudy {
 public:
  /// The longest gap of a router in a run.
  struct Sample {
    std::uint64_t seed;
    std::size_t subject;
    double seconds;
  };
  struct SubjectGap {
    std::size_t subject;
    Gap gap;
  };
  struct Detail {
    std::uint64_t seed;
    double end;  ///< seconds
    std::vector<SubjectGap> gaps;
    std::vector<Happening> script;  ///< what was done to the network
  };

  ContinuityStudy(const std::string& file, Scenario scenario);

  const std::string& file() const { return file_; }
  const Scenario& scenario() const { return scenario_; }
  /// A router in a family, as "r1" or, where there are several families, "r1 ipv4".
  const std::vector<std::string>& subjects() const { return subjects_; }

  /// What a run has measured, as numbers that add() takes.
  std::vector<double> figures(const ScenarioRun& run) const;
  void add(std::uint64_t seed, bool passed, const std::vector<double>& figures);
  std::uint64_t runs() const { return runs_; }
  std::uint64_t failed() const { return failed_; }

  const std::vector<Sample>& samples(Lack lack) const { return samples_[index(lack)]; }
  Distribution ofSubject(Lack lack, std::size_t subject) const;
  /// For each run the longest of all routers.
  Distribution ofRuns(Lack lack) const;
  /// The longest of all; none if nothing was measured.
  std::optional<Sample> worst(Lack lack) const;
  /// Of the run that is most worth a look; none if nothing was measured.
  std::optional<std::uint64_t> tellingSeed() const;

  void detailIs(const ScenarioRun& run, const Timeline& timeline);
  const std::optional<Detail>& detail() const { return detail_; }

 private:
  static std::size_t index(Lack lack) { return static_cast<std::size_t>(lack); }

  const std::string file_;
  const Scenario scenario_;
  std::vector<std::string> subjects_;
  std::uint64_t runs_ = 0;
  std::uint64_t failed_ = 0;
  std::array<std::vector<Sample>, allLacks.size()> samples_;
  std::optional<Detail> detail_;
};

}  // namespace Routing::Sim
