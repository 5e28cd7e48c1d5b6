#include "agent/state/StatusFromText.h"

#include <string>

#include "agent/state/StateFault.h"
#include "agent/state/StateJudge.h"
#include "bsr/host/BsrInstance.h"
#include "platform/entity/AttributeMirror.h"

namespace Routing::Agent {

std::shared_ptr<Pim::Bsr::Status> statusFromText(std::string_view text, const StateHeader& own,
                                                 const Pim::Bsr::PimBsrLimits& limits) {
  auto status = Pim::Bsr::newStatus(own.vrf, own.af);
  AttributeMirror mirror(status);
  std::size_t count = 1;
  readStateText(text, own, [&](std::string_view line) {
    ++count;
    if (!mirror.apply(line)) throw StateFault("makes no sense in line " + std::to_string(count));
    if (mirror.edits() > maxStateEdits) throw StateFault("is too long");
  });
  judgeState(*status, own.af, own.instant, limits);
  return status;
}

}  // namespace Routing::Agent
