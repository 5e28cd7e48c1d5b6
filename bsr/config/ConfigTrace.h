#pragma once

#include "bsr/types/Traces.h"

/// Configuration processing traces through the facility of the library's roots. For use where
/// vrfName() gives the VRF.
#define CONFIG_TRACE(level, ...) \
  ROUTING_TRACE(::Routing::Pim::Bsr::traces::sm, level, vrfName(), __VA_ARGS__)
