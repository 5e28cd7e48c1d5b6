#pragma once

namespace Routing::Agent {

/// The YANG module of the configuration, config/yang/pimbsr.yang, as the build found it.
extern const char* const embeddedSchema;

}  // namespace Routing::Agent
