#include "sim/core/Drops.h"

namespace Routing::Sim {

std::map<std::string, std::uint64_t> dropsOf(const Speaker& speaker) {
  const auto& errors = speaker.status()->counters()->errCounters();
  std::map<std::string, std::uint64_t> drops{
      {"border or C-RP filter", errors.rxFilter()},
      {"not from the RPF neighbor", errors.rxNbrRpfCheck()},
      {"unexpected No-Forward message", errors.rxNoForwardBsm()},
      {"unicast Bootstrap message", errors.rxUnicastBsm()},
      {"not the BSR of the advertised range", errors.rxScopeMismatch()},
      {"invalid", errors.rxInvalid()}};
  if (speaker.pim() != nullptr) {
    for (const auto& [reason, count] : speaker.pim()->pamManager()->counters()->rxDropped()) {
      drops[reason] += count;
    }
  }
  std::erase_if(drops, [](const auto& drop) { return drop.second == 0; });
  return drops;
}

}  // namespace Routing::Sim
