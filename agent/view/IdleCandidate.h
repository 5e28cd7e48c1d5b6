#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "platform/entity/ValueText.h"

namespace Routing::Agent {

/// Why a candidate that is configured does not run.
enum class IdleReason : std::uint8_t {
  noInterface,       ///< none of this name: not yet, or misspelt
  otherVrf,          ///< the interface is in another VRF
  interfaceDown,     ///< set down, or without carrier
  noAddress,         ///< none that others can reach
  nothingClaimed,    ///< no zone or range, or only lists that permit none
  claimedElsewhere,  ///< another interface claims the same
};

struct IdleCandidate {
  bool bsr = false;  ///< a candidate BSR, else a candidate RP
  std::string intf;
  IdleReason reason = IdleReason::noInterface;
};

}  // namespace Routing::Agent

template <>
struct Routing::EnumText<Routing::Agent::IdleReason> {
  static constexpr std::array names{"no-interface", "other-vrf",       "interface-down",
                                    "no-address",   "nothing-claimed", "claimed-elsewhere"};
};
