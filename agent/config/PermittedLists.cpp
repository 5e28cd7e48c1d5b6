#include "agent/config/PermittedLists.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "platform/acl/AddressInterval.h"

namespace Routing::Agent {
namespace {

double intervalsOf(const AclAddresses& addresses) {
  if (addresses.kind() != AclAddresses::Kind::wildcard) return 1;
  const AddressNumber mask = addressNumber(addresses.wildcard());
  const AddressNumber scattered = mask & (mask + 1);  // without the ones at the end
  return std::exp2(std::popcount(static_cast<std::uint64_t>(scattered >> 64)) +
                   std::popcount(static_cast<std::uint64_t>(scattered)));
}

}  // namespace

double PermittedLists::intervals(const AclRule& rule) {
  return std::max(intervalsOf(rule.source), intervalsOf(rule.destination));
}

bool PermittedLists::isTooCostly(const AccessList& list) {
  double all = 0;
  for (const auto& [sequence, rule] : list.rules) all += intervals(rule);
  return list.rules.size() > maxRules || all > maxIntervals;
}

const AclPrefixes* PermittedLists::find(AddressFamily af, const std::string& name) {
  const auto key = std::pair(af, name);
  if (const auto known = known_.find(key); known != known_.end()) return &known->second;
  const auto list = config_.accessLists.find(key);
  if (list == config_.accessLists.end()) return nullptr;
  AclToPrefix conversion(af, list->second.type);
  if (!isTooCostly(list->second)) {
    for (const auto& [sequence, rule] : list->second.rules) conversion.handleRule(rule);
  }
  return &(known_[key] = conversion.prefixes());
}

}  // namespace Routing::Agent
