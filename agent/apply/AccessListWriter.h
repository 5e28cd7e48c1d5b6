#pragma once

#include "agent/config/DaemonConfig.h"
#include "platform/acl/IpAclConfig.h"

namespace Routing::Agent {

/// Adds and edits the access lists of a family; readers see each edit as one.
void addAccessLists(IpAclConfig& lists, const DaemonConfig& config);
/// Deletes those that are not configured.
void removeAccessLists(IpAclConfig& lists, const DaemonConfig& config);

}  // namespace Routing::Agent
