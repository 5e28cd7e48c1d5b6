#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "agent/view/AgentView.h"

/// What the daemon tells its operators, by topic. Each function only reads; names follow RFC 9128
/// where it has one; durations are seconds, null where there is none. docs/control-protocol.md
/// describes the results.
namespace Routing::Agent {

using Json = nlohmann::json;

/// One instance and what else an answer may need.
struct ShowInput {
  const InstanceView& instance;
  const Pim::AllIntfStatusDir& interfaces;
  double now = 0.0;
  double startTime = 0.0;
  Candidacies drained;
  // As the operator wrote them, empty if not:
  const std::string& group;
  const std::vector<std::string>& groups;  ///< of showRpHash(): many in place of one
  const std::string& zone;
  const std::string& rp;
};

/// The BSR of every zone, and this router's part in its election.
Json showBsr(const ShowInput& in);
/// The RP sets by zone, and the mappings that PIM uses.
Json showRpSet(const ShowInput& in);
/// Which RP serves `in.group`, and why; of `in.groups` only which serves each. Raises RequestError
/// if that is no address of the family.
Json showRpHash(const ShowInput& in);
/// This router's candidate RPs, and the candidates that do not run.
Json showRpCandidate(const ShowInput& in);
Json showNeighbor(const ShowInput& in);
Json showInterface(const ShowInput& in);
/// Messages counted by the BSR mechanism and by the packet layer, and the bounds that were met.
Json showCounters(const ShowInput& in);
/// What has happened lately.
Json showEvents(const ShowInput& in);
/// The operational state as RFC 9128 models it: the member `operational`.
Json showYang(const ShowInput& in);
/// All entities, attribute by attribute, as they stand.
Json showStatus(const ShowInput& in);

}  // namespace Routing::Agent
