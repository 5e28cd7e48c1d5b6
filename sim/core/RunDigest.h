#pragma once

#include "sim/core/Beliefs.h"
#include "sim/core/Digest.h"
#include "sim/core/World.h"

namespace Routing::Sim {

/// A digest of every packet that was sent, with its time, and of the state at the end: equal for
/// equal runs, whatever built the program.
class RunDigest final : public WorldObserver {
 public:
  explicit RunDigest(World& world) { world.observerIs(*this); }
  void transmitted(const Packet& packet) override;
  std::uint64_t value(const Beliefs& beliefs) const;

 private:
  Digest packets_;
};

}  // namespace Routing::Sim
