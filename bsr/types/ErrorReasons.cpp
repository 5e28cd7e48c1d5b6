#include "bsr/types/ErrorReasons.h"

namespace Routing::Pim::Bsr {

std::vector<std::pair<std::string_view, std::uint32_t>> errorsByReason(
    const PimBsrErrorCounters& errors) {
  return {{"filter", errors.rxFilter()},
          {"neighbor-rpf-check", errors.rxNbrRpfCheck()},
          {"no-forward", errors.rxNoForwardBsm()},
          {"unicast", errors.rxUnicastBsm()},
          {"scope-mismatch", errors.rxScopeMismatch()},
          {"invalid", errors.rxInvalid()}};
}

}  // namespace Routing::Pim::Bsr
