#pragma once

#include <limits>
#include <vector>

#include "sim/scenario/Scenario.h"

// What a scenario can expect. An empty list of routers stands for all that are up.

namespace Routing::Sim {

/// The routers hold this BSR for a zone; an unset address: none.
Expectation expectBsr(double at, const std::vector<RouterId>& routers, const IpGenPrefix& zone,
                      const IpGenAddr& bsr);
/// PIM's view on the routers holds exactly these RPs, over all ranges inside a range.
Expectation expectRpSet(double at, const std::vector<RouterId>& routers, const IpGenPrefix& range,
                        const std::vector<IpGenAddr>& rps);
/// A group has this RP; unset: none.
Expectation expectRp(double at, const std::vector<RouterId>& routers, const IpGenAddr& group,
                     const IpGenAddr& rp);
/// A candidate is in this state.
Expectation expectState(double at, RouterId router, const IpGenPrefix& zone,
                        Pim::Bsr::BsrCandidateState state);
/// A counter of the router lies between two values, both included. The names are those of the
/// status ("rxBsmError") and of the reasons ("rxFilter").
Expectation expectCounter(double at, RouterId router, AddressFamily af, const std::string& counter,
                          std::uint32_t low,
                          std::uint32_t high = std::numeric_limits<std::uint32_t>::max());
/// False if there is no counter of this name.
bool isCounter(const std::string& counter);
/// All routers that can reach each other agree, as the standing invariants will demand.
Expectation expectAgreement(double at, AddressFamily af);

}  // namespace Routing::Sim
