#include "agent/apply/CandidateWriter.h"

#include "agent/apply/Unwanted.h"

namespace Routing::Agent {
namespace {

using Pim::Bsr::BsrCandidateConfig;
using Pim::Bsr::Config;
using Pim::Bsr::RpCandidateConfig;

template <class Entity>
void settingsAre(Entity& entity, const BsrCandidateSettings& settings) {
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

void removeEntries(BsrCandidateConfig& entity, const BsrCandidate& candidate) {
  for (const IpGenPrefix& zone : unwanted(entity.group(), isKeyOf(candidate.zones))) {
    entity.groupDel(zone);
  }
  for (const std::string& acl : unwanted(entity.acl(), isKeyOf(candidate.accessLists))) {
    entity.aclDel(acl);
  }
}

void removeEntries(RpCandidateConfig& entity, const RpCandidate& candidate) {
  for (const IpGenPrefix& range : unwanted(entity.groupRange(), isKeyOf(candidate.ranges))) {
    entity.groupRangeDel(range);
    entity.groupRangeOptionsDel(range);
  }
  for (const std::string& acl : unwanted(entity.acl(), isKeyOf(candidate.accessLists))) {
    entity.aclDel(acl);
    entity.aclOptionsDel(acl);
  }
}

}  // namespace

void addBsrCandidates(Config& config, const BsrCandidates& candidates) {
  for (const auto& [name, candidate] : candidates) {
    const auto entity = config.newBsrCandidateConfig(IntfId(name));
    for (const auto& [zone, settings] : candidate.zones) {
      settingsAre(*entity->newGroup(zone), settings);
    }
    for (const auto& [acl, settings] : candidate.accessLists) {
      settingsAre(*entity->newAcl(acl), settings);
    }
  }
}

void removeBsrCandidates(Config& config, const BsrCandidates& candidates) {
  for (const IntfId& intf : unwanted(config.bsrCandidateConfig(), isInterfaceOf(candidates))) {
    config.bsrCandidateConfigDel(intf);
  }
  for (const auto& [intf, entity] : config.bsrCandidateConfig()) {
    removeEntries(*entity, candidates.at(intf.text()));
  }
}

void addRpCandidates(Config& config, const RpCandidates& candidates) {
  for (const auto& [name, candidate] : candidates) {
    const auto entity = config.newRpCandidateConfig(IntfId(name));
    entity->modeIs(candidate.mode);
    entity->advIntervalIs(Pim::Bsr::CrpAdvInterval(candidate.interval));
    for (const auto& [range, priority] : candidate.ranges) {
      priorityIs(*entity->newGroupRangeOptions(range), priority);
      entity->groupRangeIs(range, true);
    }
    for (const auto& [acl, priority] : candidate.accessLists) {
      priorityIs(*entity->newAclOptions(acl), priority);
      entity->aclIs(acl, true);
    }
  }
}

void removeRpCandidates(Config& config, const RpCandidates& candidates) {
  for (const IntfId& intf : unwanted(config.rpCandidateConfig(), isInterfaceOf(candidates))) {
    config.rpCandidateConfigDel(intf);
  }
  for (const auto& [intf, entity] : config.rpCandidateConfig()) {
    removeEntries(*entity, candidates.at(intf.text()));
  }
}

}  // namespace Routing::Agent
