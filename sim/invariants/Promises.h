#pragma once

#include <memory>
#include <vector>

#include "sim/continuity/ContinuityMeter.h"
#include "sim/invariants/Invariant.h"
#include "sim/invariants/Troubles.h"

namespace Routing::Sim {

using ContinuityMeters = std::vector<std::unique_ptr<ContinuityMeter>>;

/// What is judged of the measure of continuity, where every router has all of BsrPolicy and no more
/// than one thing is in trouble. Every gap is judged as long as it lasts, and at its end.
class Promise : public Invariant {
 public:
  /// What a promise that is broken does to the run. Only the first time counts.
  enum class Broken : std::uint8_t { endsTheRun, isNoted };

  Promise(std::string_view name, World& world, const ContinuityMeters& meters,
          const Troubles& troubles, std::vector<Violation>& violations, Broken broken);
  void settled(const std::vector<RouterId>& touched) final;

 protected:
  virtual void judge(const Gap& gap) = 0;
  const Troubles& troubles() const { return troubles_; }
  void brokenBy(const std::string& what);

 private:
  void judgeAll();

  const ContinuityMeters& meters_;
  const Troubles& troubles_;
  const bool stops_;
  bool given_;
  std::vector<std::size_t> seen_;  // gaps that are over, of each meter
};

/// The promises of service.
void addPromises(World& world, const ContinuityMeters& meters, const Troubles& troubles,
                 std::vector<Violation>& violations, Promise::Broken broken, Invariants& rules);

}  // namespace Routing::Sim
