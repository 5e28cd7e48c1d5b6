#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>

#include "config/model/DaemonConfig.h"
#include "platform/acl/AclToPrefix.h"

namespace Routing::Agent {

/// What the access lists of a configuration permit. A list is worked out when it is first asked
/// for. The configuration must outlive it.
class PermittedLists {
 public:
  /// Bounds on the work that one list may cause.
  static constexpr std::size_t maxRules = 4096;
  static constexpr std::size_t maxIntervals = 16384;
  /// Bound on what all lists in use come down to: their address ranges, and their prefixes once for
  /// every use.
  static constexpr std::size_t maxOfAll = 65536;

  explicit PermittedLists(const DaemonConfig& config) : config_(config) {}

  /// Null if there is no such list. A list that isTooCostly() permits nothing here.
  const AclPrefixes* find(AddressFamily af, const std::string& name);

  /// How many prefixes the list comes down to, without making them.
  std::size_t count(AddressFamily af, const std::string& name) const;

  /// How many address ranges the wildcards of a rule, or of a list, come down to; 1 for a rule
  /// without wildcard.
  static double intervals(const AclRule& rule);
  static double intervals(const AccessList& list);
  /// Such a rule or list is never converted.
  static bool isTooCostly(const AclRule& rule);
  static bool isTooCostly(const AccessList& list);

 private:
  static AclToPrefix convert(AddressFamily af, const AccessList& list);

  const DaemonConfig& config_;
  std::map<std::pair<AddressFamily, std::string>, AclPrefixes> known_;
};

}  // namespace Routing::Agent
