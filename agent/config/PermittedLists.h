#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>

#include "agent/config/DaemonConfig.h"
#include "platform/acl/AclToPrefix.h"

namespace Routing::Agent {

/// What the access lists of a configuration permit. A list is worked out when it is first asked
/// for. The configuration must outlive it.
class PermittedLists {
 public:
  /// Bounds on the work that one list may cause.
  static constexpr std::size_t maxRules = 4096;
  static constexpr std::size_t maxIntervals = 16384;

  explicit PermittedLists(const DaemonConfig& config) : config_(config) {}

  /// Null if there is no such list. A list that isTooCostly() permits nothing here.
  const AclPrefixes* find(AddressFamily af, const std::string& name);

  /// How many address ranges a rule's wildcards come down to; 1 without a wildcard.
  static double intervals(const AclRule& rule);
  static bool isTooCostly(const AccessList& list);

 private:
  const DaemonConfig& config_;
  std::map<std::pair<AddressFamily, std::string>, AclPrefixes> known_;
};

}  // namespace Routing::Agent
