#pragma once

#include <set>
#include <string>

#include "platform/net/IntfId.h"
#include "platform/net/IpGenPrefix.h"

namespace Routing::Pim::Bsr {

/// A reactor of an interface whose settings name access lists.
class AclPrefixUser {
 public:
  virtual ~AclPrefixUser() = default;
  /// The list permits one more prefix, or one less. A prefix that the list has counted already, or
  /// has not counted, changes nothing.
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
  /// A failed assertion if the interface may not become candidate BSR of one of the zones.
  virtual void cbsrZonesCheck(const IntfId& intf, const std::set<IpGenPrefix>& zones) = 0;
};

}  // namespace Routing::Pim::Bsr
