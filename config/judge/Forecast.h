#pragma once

#include <cstdint>
#include <optional>

#include "config/model/DaemonConfig.h"

namespace Routing::Agent {

/// What decides over a failover in one zone. Other routers are assumed to be configured alike, but
/// for the lost BSR, which has the best priority that there is. Candidates of which the
/// configuration has none are assumed to have the default settings, and BSMs to come more often
/// where a short hold time asks for it (RFC 5059 section 5).
struct FailoverTerms {
  AddressFamily af = AddressFamily::unset;
  std::uint32_t holdTime = 0;                                 ///< seconds, the BS time-out
  ZoneSettings candidate = {};                                ///< of the router that takes over
  std::uint16_t rpInterval = RpInterfaceSettings{}.interval;  ///< seconds between advertisements
  bool candidateAssumed = false;
  bool rpIntervalAssumed = false;
};

/// A failover at its worst. Instants are seconds after the last message of the lost BSR.
struct Forecast {
  FailoverTerms terms;
  double elected = 0;    ///< the first message of the next BSR
  double completed = 0;  ///< the candidate RPs have advertised to it
  double rpsLive = 0;    ///< the end of the RPs that the last message announced
  double withoutRp = 0;  ///< how long groups have no RP at some router, in seconds
  /// The least interval of candidate RPs, and the greatest hold time, with which no group is
  /// without; none where nothing has to change, and where that alone does not do.
  std::optional<std::uint16_t> rpInterval = {};
  std::optional<std::uint32_t> holdTime = {};
};

/// The forecast for the zone and the candidate RP of a family with which groups are without RP
/// longest, or else with which the failover takes longest. A zone's settings are as they stand in
/// the configuration.
Forecast worstForecast(const FamilySettings& settings, AddressFamily af);

}  // namespace Routing::Agent
