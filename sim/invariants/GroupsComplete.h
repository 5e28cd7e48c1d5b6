#pragma once

#include <map>
#include <optional>
#include <set>
#include <tuple>
#include <vector>

#include "sim/invariants/BsmPeek.h"
#include "sim/invariants/Invariant.h"

namespace Routing::Sim {

/// No RP set is taken from a group range of which fragments are missing (RFC 5059 section 4.1.1):
/// while a router has not received all RPs of a range under one fragment tag, a fragment leaves the
/// RPs of that range as they were.
class GroupsComplete final : public Invariant {
 public:
  GroupsComplete(World& world, std::vector<Violation>& violations)
      : Invariant("groups complete", world, violations) {}
  void delivering(const Packet& packet, RouterId to) override;
  void settled(const std::vector<RouterId>& touched) override;

 private:
  using Key = std::tuple<RouterId, IpGenAddr, std::uint16_t, IpGenPrefix>;
  using RpSet = std::set<std::pair<IpGenAddr, double>>;  // with the expiry of each
  struct Incomplete {
    RouterId router;
    AddressFamily af;
    IpGenPrefix zone;
    IpGenPrefix range;
    std::set<IpGenAddr> announced;
    RpSet before;
  };
  RpSet rpsOf(const Incomplete& at) const;
  void forget();

  struct Received {
    std::set<IpGenAddr> rps;
    double last = 0.0;
  };

  std::map<Key, Received> received_;
  std::vector<Incomplete> incomplete_;  // during the event
  double forgotten_ = 0.0;
};

}  // namespace Routing::Sim
