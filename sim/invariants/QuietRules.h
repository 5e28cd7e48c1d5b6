#pragma once

#include <optional>
#include <utility>

#include "sim/core/Beliefs.h"
#include "sim/invariants/Invariant.h"
#include "sim/invariants/Quiet.h"

namespace Routing::Sim {

/// A rule that holds once the network is quiet: long enough after the last disturbance, with no
/// message under way. Judged anew whenever a belief has changed since.
class QuietInvariant : public Invariant {
 public:
  QuietInvariant(std::string_view name, World& world, const Beliefs& beliefs,
                 std::vector<Violation>& violations)
      : Invariant(name, world, violations), beliefs_(beliefs) {}

  void disturbed(std::string_view) override { settling_.reset(); }
  void settled(const std::vector<RouterId>& touched) final;
  /// How often the rule was judged.
  std::uint64_t judged() const { return judged_; }

 protected:
  const Beliefs& beliefs() const { return beliefs_; }
  /// Which of the two settling times the rule needs.
  virtual double settlingTime(const SettlingTimes& times) const = 0;
  virtual void judge() = 0;

 private:
  const Beliefs& beliefs_;
  std::optional<SettlingTimes> settling_;
  /// Changes of belief and last disturbance when last judged.
  std::optional<std::pair<std::uint64_t, double>> seen_;
  std::uint64_t judged_ = 0;
};

/// The rules about what routers agree on.
void addQuietRules(World& world, const Beliefs& beliefs, std::vector<Violation>& violations,
                   Invariants& rules);

}  // namespace Routing::Sim
