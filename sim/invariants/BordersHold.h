#pragma once

#include <map>
#include <optional>

#include "sim/invariants/Invariant.h"

namespace Routing::Sim {

/// No Bootstrap message of a zone leaves or is accepted on an interface that is a border of it (RFC
/// 5059 section 3.4).
class BordersHold final : public Invariant {
 public:
  BordersHold(World& world, std::vector<Violation>& violations)
      : Invariant("borders hold", world, violations) {}
  void transmitted(const Packet& packet) override;
  void delivering(const Packet& packet, RouterId to) override;
  void settled(const std::vector<RouterId>& touched) override;

 private:
  struct Arrived {
    RouterId router;
    AddressFamily af;
    std::uint32_t accepted;  // messages accepted before this one
  };
  bool border(RouterId router, const Packet& packet) const;

  std::optional<Arrived> atBorder_;  // during the event
};

}  // namespace Routing::Sim
