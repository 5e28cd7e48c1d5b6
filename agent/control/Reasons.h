#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "agent/control/Show.h"
#include "platform/pim/DropLog.h"

/// Why things are as they are, in the words of an answer.
namespace Routing::Agent {

/// Why a message was dropped, with what was expected and what was found.
std::string dropText(const Pim::Drop& drop);
Json dropJson(const Pim::Drop& drop, double now);
/// The last dropped messages that pass, the oldest first.
std::vector<Pim::Drop> dropsOf(const ShowInput& in,
                               const std::function<bool(const Pim::Drop&)>& passes = {});
Json dropsJson(const ShowInput& in, const std::vector<Pim::Drop>& drops);

/// Why a candidate that is configured does not run, such as "there is no interface eth9".
std::string idleText(const IdleCandidate& candidate);
/// Where the way to an address leads: "10.0.0.1 on eth0", or what is missing.
std::string wayText(const ShowInput& in, const IpGenAddr& address);
/// A distance in time: "00:02:10".
std::string distanceText(double seconds);

}  // namespace Routing::Agent
