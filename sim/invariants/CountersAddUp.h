#pragma once

#include <optional>
#include <utility>

#include "sim/invariants/Invariant.h"

namespace Routing::Sim {

/// Every message is counted, once, as a success or as an error with its reason. A range of an
/// accepted advertisement that no zone takes counts as an error on top.
class CountersAddUp final : public Invariant {
 public:
  CountersAddUp(World& world, std::vector<Violation>& violations)
      : Invariant("counters add up", world, violations) {}
  void transmitted(const Packet& packet) override { note(packet.sender, packet); }
  void delivering(const Packet& packet, RouterId to) override { note(to, packet); }
  void settled(const std::vector<RouterId>& touched) override;

 private:
  void note(RouterId router, const Packet& packet);
  void check(RouterId router, AddressFamily af);

  std::vector<std::pair<RouterId, AddressFamily>> concerned_;  // during the event
};

}  // namespace Routing::Sim
