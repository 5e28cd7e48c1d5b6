#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"
#include "sim/core/Topology.h"

namespace Routing::Sim {

/// A candidacy for BSR in one zone. An unset address stands for the router's loopback.
struct CandidateBsr {
  IpGenPrefix zone;
  IpGenAddr address;
  std::uint16_t priority = 64;
  std::uint32_t hashMaskLen = 30;
  std::uint32_t period = 60;  ///< seconds

  friend bool operator==(const CandidateBsr&, const CandidateBsr&) = default;
};

/// A candidacy for RP. An unset address stands for the router's loopback.
struct CandidateRp {
  IpGenAddr address;
  std::map<IpGenPrefix, std::uint16_t> ranges;  ///< with the priority of each
  std::uint16_t interval = 60;                  ///< seconds
  bool bidirectional = false;

  friend bool operator==(const CandidateRp&, const CandidateRp&) = default;
};

/// An interface, by its network, that no Bootstrap message of a zone may cross.
struct BorderPlan {
  IpGenPrefix zone;
  NetworkId network = 0;

  friend bool operator==(const BorderPlan&, const BorderPlan&) = default;
};

/// All that an operator configures on one router in one address family.
struct RouterConfig {
  std::vector<CandidateBsr> candidateBsrs;
  std::vector<CandidateRp> candidateRps;
  std::vector<BorderPlan> borders;
  std::vector<IpGenPrefix> crpPermit;  ///< empty: every candidate RP is permitted
  std::uint32_t bsTimeout = 130;       ///< seconds
  std::uint32_t szTimeout = 1300;      ///< seconds
};

}  // namespace Routing::Sim
