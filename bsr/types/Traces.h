#pragma once

#include "platform/trace/Trace.h"

/// The trace facilities of the library. Levels: 9 entry of every handler, 8 detail, 7 zone border
/// events, 5 timer arithmetic, 4 machines and records that come and go, accepted messages,
/// configuration, 3 conflicts, 2 unexpected timer events, 1 state changes and receive errors.
namespace Routing::Pim::Bsr::traces {

extern TraceHandle sm;                      // "Pim::Bsr::Sm"
extern TraceHandle candidateSm;             // "Pim::Bsr::CandidateSm"
extern TraceHandle nonCandidateSm;          // "Pim::Bsr::NonCandidateSm"
extern TraceHandle rpCandidateSm;           // "Pim::Bsr::RpCandidateSm"
extern TraceHandle io;                      // "Pim::Bsr::IO"
extern TraceHandle crpPermitTrieBuilderSm;  // "Pim::Bsr::CrpPermitTrieBuilderSm"

}  // namespace Routing::Pim::Bsr::traces

/// Traces through one of these facilities, in a function of an object whose vrfName() is the VRF.
#define BSR_TRACE(facility, level, ...) \
  ROUTING_TRACE(::Routing::Pim::Bsr::traces::facility, level, vrfName(), __VA_ARGS__)
