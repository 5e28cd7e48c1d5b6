#pragma once

#include <memory>
#include <string_view>

#include "agent/state/StateText.h"
#include "bsr/types/Limits.h"
#include "bsr/types/Status.h"

namespace Routing::Agent {

/// The status that the text of a state file holds, judged at `own.instant` (see judgeState), so
/// that machines can be built on it. Raises StateFault for a text that is not to be used.
std::shared_ptr<Pim::Bsr::Status> statusFromText(std::string_view text, const StateHeader& own,
                                                 const Pim::Bsr::PimBsrLimits& limits);

/// What a reader bears: edits of the status by one file, beyond which a writer has to begin anew.
constexpr std::uint64_t maxStateEdits = 32'000'000;

}  // namespace Routing::Agent
