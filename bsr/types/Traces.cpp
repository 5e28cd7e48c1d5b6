#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr::traces {

TraceHandle sm("Pim::Bsr::Sm");
TraceHandle candidateSm("Pim::Bsr::CandidateSm");
TraceHandle nonCandidateSm("Pim::Bsr::NonCandidateSm");
TraceHandle rpCandidateSm("Pim::Bsr::RpCandidateSm");
TraceHandle io("Pim::Bsr::IO");
TraceHandle crpPermitTrieBuilderSm("Pim::Bsr::CrpPermitTrieBuilderSm");

}  // namespace Routing::Pim::Bsr::traces
