#pragma once

#include "config/model/DaemonConfig.h"
#include "platform/acl/IpAclConfig.h"

namespace Routing::Agent {

/// Makes the access lists of a family equal to those configured; readers see each edit of a list as
/// one.
void accessListsAre(IpAclConfig& lists, const DaemonConfig& config);

}  // namespace Routing::Agent
