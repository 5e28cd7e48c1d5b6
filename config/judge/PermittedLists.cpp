#include "config/judge/PermittedLists.h"

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

double PermittedLists::intervals(const AccessList& list) {
  double all = 0;
  for (const auto& [sequence, rule] : list.rules) all += intervals(rule);
  return all;
}

bool PermittedLists::isTooCostly(const AclRule& rule) {
  return intervals(rule) > AclToPrefix::maxIntervals;
}

bool PermittedLists::isTooCostly(const AccessList& list) {
  return list.rules.size() > maxRules || intervals(list) > maxIntervals ||
         std::any_of(list.rules.begin(), list.rules.end(),
                     [](const auto& entry) { return isTooCostly(entry.second); });
}

AclToPrefix PermittedLists::convert(AddressFamily af, const AccessList& list) {
  AclToPrefix conversion(af, list.type);
  if (isTooCostly(list)) return conversion;
  for (const auto& [sequence, rule] : list.rules) conversion.handleRule(rule);
  return conversion;
}

std::size_t PermittedLists::count(AddressFamily af, const std::string& name) const {
  const auto list = config_.accessLists.find({af, name});
  return list == config_.accessLists.end() ? 0 : convert(af, list->second).prefixCount();
}

const AclPrefixes* PermittedLists::find(AddressFamily af, const std::string& name) {
  const auto key = std::pair(af, name);
  if (const auto known = known_.find(key); known != known_.end()) return &known->second;
  const auto list = config_.accessLists.find(key);
  if (list == config_.accessLists.end()) return nullptr;
  return &(known_[key] = convert(af, list->second).prefixes());
}

}  // namespace Routing::Agent
