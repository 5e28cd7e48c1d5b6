#pragma once

#include <cstddef>

#include "platform/Export.h"
#include "platform/acl/IpAclConfig.h"
#include "platform/acl/PermittedPrefixes.h"

namespace Routing {

/// What an access list permits, as prefixes.
struct AclPrefixes {
  std::set<IpGenPrefix> group;    ///< of the multicast range
  std::set<IpGenPrefix> unicast;  ///< but those that lie wholly in the multicast range
  friend bool operator==(const AclPrefixes&, const AclPrefixes&) = default;
};

/// Turns an access list into prefixes, rule by rule. A standard list's source addresses give both
/// results; of an extended list the sources give the unicast result and the destinations, each
/// looked at by itself, the group result. Rules that are narrowed or of another family are passed
/// over. A wildcard that does not come down to maxIntervals is not guessed at: a permit is passed
/// over, a deny widened to the prefix around it.
class ROUTING_API AclToPrefix {
 public:
  static constexpr std::size_t maxIntervals = 4096;

  AclToPrefix(AddressFamily af, AclType type)
      : af_(af), type_(type), sources_(af), destinations_(af) {}

  /// The next rule in sequence order.
  void handleRule(const AclRule& rule);
  AclPrefixes prefixes() const;
  /// How many prefixes the permitted addresses come down to, sources and destinations; makes none.
  std::size_t prefixCount() const { return sources_.prefixCount() + destinations_.prefixCount(); }

  /// A whole list.
  static AclPrefixes of(AddressFamily af, const AclConfig& acl);

 private:
  void claim(PermittedPrefixes& from, AclAction action, const AclAddresses& addresses) const;

  AddressFamily af_;
  AclType type_;
  PermittedPrefixes sources_;
  PermittedPrefixes destinations_;
};

}  // namespace Routing
