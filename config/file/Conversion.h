#pragma once

#include "config/file/ConfigTree.h"
#include "config/model/DaemonConfig.h"
#include "config/model/Finding.h"

namespace Routing::Agent {

/// Turns a tree in which the schema finds no fault into values. What the schema cannot see, such as
/// host bits in a prefix, becomes an error; then the result is incomplete.
DaemonConfig convert(const ConfigTree& tree, Findings& findings);

}  // namespace Routing::Agent
