#include "config/entities/AccessListWriter.h"

#include "config/entities/Unwanted.h"

namespace Routing::Agent {
namespace {

void accessListIs(AclConfig& acl, const AccessList& list) {
  if (acl.type() == list.type && acl.rule() == list.rules) return;
  acl.editingIs(true);
  acl.typeIs(list.type);
  for (const auto& [sequence, rule] : list.rules) acl.ruleIs(sequence, rule);
  const auto isWanted = [&](std::uint32_t sequence) { return list.rules.contains(sequence); };
  for (const std::uint32_t sequence : unwanted(acl.rule(), isWanted)) acl.ruleDel(sequence);
  acl.editingIs(false);
}

}  // namespace

void accessListsAre(IpAclConfig& lists, const DaemonConfig& config) {
  for (const auto& [key, list] : config.accessLists) {
    if (key.first == lists.af()) accessListIs(*lists.newAcl(key.second), list);
  }
  const auto isWanted = [&](const std::string& name) {
    return config.accessLists.contains({lists.af(), name});
  };
  for (const std::string& name : unwanted(lists.acl(), isWanted)) lists.aclDel(name);
}

}  // namespace Routing::Agent
