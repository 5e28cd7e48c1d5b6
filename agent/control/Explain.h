#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "agent/control/Reasons.h"

/// Explanations for operators: `answer`, one sentence; whether it is a `problem`; `facts`, each a
/// name and a value in words; the last `changes` and `drops` that have to do with it.
namespace Routing::Agent {

/// An explanation on its way.
struct Explanation {
  std::string answer;
  bool problem = false;
  std::vector<std::pair<std::string, std::string>> facts = {};
  Json changes;
  Json drops;

  Json json() const;
};

/// How many changes and drops an explanation has at the most.
constexpr std::size_t lastOnes = 20;

/// Of the zone `in.zone`, the global one if it is empty. Raises RequestError.
Json explainBsr(const ShowInput& in);
/// Of the group `in.group`; with `in.rp`, why that RP does not serve it. Raises RequestError.
Json explainRp(const ShowInput& in);
Json explainDrops(const ShowInput& in);
Json explainCandidate(const ShowInput& in);

}  // namespace Routing::Agent
