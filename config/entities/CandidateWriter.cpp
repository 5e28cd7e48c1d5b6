#include "config/entities/CandidateWriter.h"

#include "config/entities/Unwanted.h"

namespace Routing::Agent {
namespace {

using Pim::Bsr::BsrCandidateConfig;
using Pim::Bsr::Config;
using Pim::Bsr::RpCandidateConfig;

template <class Entity>
void settingsAre(Entity& entity, const ZoneSettings& settings) {
  entity.intervalIs(settings.interval);
  entity.hashMaskLenIs(settings.hashMaskLen);
  entity.priorityIs(settings.priority);
}

template <class Entity>
void priorityIs(Entity& options, const RangePriority& priority) {
  options.priorityIs(Pim::RpPriority(priority.value));
}

template <class Map>
auto isKeyOf(const Map& map) {
  return [&map](const typename Map::key_type& key) { return map.contains(key); };
}

template <class Candidates>
auto isInterfaceOf(const Candidates& candidates) {
  return [&candidates](const IntfId& intf) { return candidates.contains(intf.text()); };
}

void candidateIs(BsrCandidateConfig& entity, const BsrInterfaceSettings& candidate) {
  for (const auto& [zone, settings] : candidate.zones) {
    settingsAre(*entity.newGroup(zone), settings);
  }
  for (const auto& [acl, settings] : candidate.accessLists) {
    settingsAre(*entity.newAcl(acl), settings);
  }
  for (const IpGenPrefix& zone : unwanted(entity.group(), isKeyOf(candidate.zones))) {
    entity.groupDel(zone);
  }
  for (const std::string& acl : unwanted(entity.acl(), isKeyOf(candidate.accessLists))) {
    entity.aclDel(acl);
  }
}

void rangesAre(RpCandidateConfig& entity, const RpInterfaceSettings& candidate) {
  for (const auto& [range, priority] : candidate.ranges) {
    priorityIs(*entity.newGroupRangeOptions(range), priority);
    entity.groupRangeIs(range, true);
  }
  for (const IpGenPrefix& range : unwanted(entity.groupRange(), isKeyOf(candidate.ranges))) {
    entity.groupRangeDel(range);
    entity.groupRangeOptionsDel(range);
  }
}

void accessListsAre(RpCandidateConfig& entity, const RpInterfaceSettings& candidate) {
  for (const auto& [acl, priority] : candidate.accessLists) {
    priorityIs(*entity.newAclOptions(acl), priority);
    entity.aclIs(acl, true);
  }
  for (const std::string& acl : unwanted(entity.acl(), isKeyOf(candidate.accessLists))) {
    entity.aclDel(acl);
    entity.aclOptionsDel(acl);
  }
}

}  // namespace

void bsrCandidatesAre(Config& config, const BsrCandidates& candidates) {
  for (const auto& [name, candidate] : candidates) {
    candidateIs(*config.newBsrCandidateConfig(IntfId(name)), candidate);
  }
  for (const IntfId& intf : unwanted(config.bsrCandidateConfig(), isInterfaceOf(candidates))) {
    config.bsrCandidateConfigDel(intf);
  }
}

void rpCandidatesAre(Config& config, const RpCandidates& candidates) {
  for (const auto& [name, candidate] : candidates) {
    const auto entity = config.newRpCandidateConfig(IntfId(name));
    entity->modeIs(candidate.mode);
    entity->advIntervalIs(Pim::Bsr::CrpAdvInterval(candidate.interval));
    rangesAre(*entity, candidate);
    accessListsAre(*entity, candidate);
  }
  for (const IntfId& intf : unwanted(config.rpCandidateConfig(), isInterfaceOf(candidates))) {
    config.rpCandidateConfigDel(intf);
  }
}

}  // namespace Routing::Agent
