#pragma once

#include <string>

#include "agent/control/Show.h"
#include "platform/pim/rp/RpSelection.h"

/// What the views of the choice of an RP share.
namespace Routing::Agent {

/// Of the incomplete range that covers a group most closely: what is missing; empty if there is
/// none, or if the choice rests on a longer one.
std::string gapOver(const ShowInput& in, const IpGenAddr& group, const Pim::RpChoice& choice);
/// What became of a contender, in words.
std::string outcomeText(const Pim::RpContender& contender, const Pim::RpChoice& choice);

}  // namespace Routing::Agent
