#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "sim/core/World.h"

namespace Routing::Sim {

/// Something that must never happen, and did.
struct Violation {
  double at;
  std::string invariant;
  std::string what;
};

/// A rule that holds in every network at all times. Each is checked after every event; one that
/// does not hold is reported, and ends the run.
class Invariant : public WorldObserver {
 public:
  Invariant(std::string_view name, World& world, std::vector<Violation>& violations)
      : name_(name), world_(world), violations_(violations) {
    world.observerIs(*this);
  }

  std::string_view name() const { return name_; }

 protected:
  const World& world() const { return world_; }
  const std::string& nameOf(RouterId router) const { return world_.topology().router(router).name; }
  void violated(std::string what) {
    noted(std::move(what));
    world_.stop();
  }
  /// The same, but the run goes on.
  void noted(std::string what) {
    violations_.push_back({world_.now(), std::string(name_), std::move(what)});
  }

 private:
  const std::string_view name_;
  World& world_;
  std::vector<Violation>& violations_;
};

using Invariants = std::vector<std::unique_ptr<Invariant>>;

}  // namespace Routing::Sim
