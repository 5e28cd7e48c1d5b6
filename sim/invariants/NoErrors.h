#pragma once

#include "sim/invariants/Invariant.h"

namespace Routing::Sim {

/// No event ends in an exception or a failed assertion, whatever was received.
class NoErrors final : public Invariant {
 public:
  NoErrors(World& world, std::vector<Violation>& violations)
      : Invariant("no errors", world, violations) {}
  void broken(std::string_view what) override { violated(std::string(what)); }
};

}  // namespace Routing::Sim
