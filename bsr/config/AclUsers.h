#pragma once

#include <string>

#include "platform/net/IntfId.h"
#include "platform/net/IpGenPrefix.h"

namespace Routing::Pim::Bsr {

/// A reactor whose settings name access lists.
class AclPrefixUser {
 public:
  virtual ~AclPrefixUser() = default;
  /// A list that it uses permits one more prefix, or one less.
  virtual void doAclPrefixActivate(const std::string& acl, const IpGenPrefix& prefix) = 0;
  virtual void doAclPrefixDeactivate(const std::string& acl, const IpGenPrefix& prefix) = 0;
};

/// Finds those to whom a change of an access list matters.
class AclUsers {
 public:
  virtual ~AclUsers() = default;
  virtual AclPrefixUser* borderUser(const IntfId& intf) = 0;
  virtual AclPrefixUser* cbsrUser(const IntfId& intf) = 0;
  virtual AclPrefixUser* crpUser(const IntfId& intf) = 0;
  virtual AclPrefixUser& filterUser() = 0;
};

}  // namespace Routing::Pim::Bsr
