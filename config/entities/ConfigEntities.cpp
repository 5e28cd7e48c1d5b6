#include "config/entities/ConfigEntities.h"

#include "config/entities/AccessListWriter.h"
#include "config/entities/FamilyWriter.h"
#include "config/model/Candidacies.h"

namespace Routing::Agent {
namespace {

/// The settings of a family; the defaults where it is not configured.
const FamilySettings& settingsOf(const DaemonConfig& config, const ConfigEntities::Key& key) {
  static const FamilySettings none;
  const auto vrf = config.vrfs.find(key.first);
  if (vrf == config.vrfs.end()) return none;
  const auto family = vrf->second.find(key.second);
  return family == vrf->second.end() ? none : family->second;
}

bool isConfigured(const DaemonConfig& config, const ConfigEntities::Key& key) {
  const auto vrf = config.vrfs.find(key.first);
  return vrf != config.vrfs.end() && vrf->second.contains(key.second);
}

}  // namespace

FamilyEntities::FamilyEntities(const VrfName& vrf)
    : config(std::make_shared<Pim::Bsr::Config>(vrf)),
      vrfIntfConfig(std::make_shared<Pim::Bsr::VrfIntfConfig>(vrf.text())),
      clearConfig(std::make_shared<Pim::Bsr::ClearConfig>(vrf)) {}

ConfigEntities::ConfigEntities() {
  for (const AddressFamily af : {AddressFamily::ipv4, AddressFamily::ipv6}) {
    accessLists_[af] = std::make_shared<IpAclConfig>(af);
  }
}

const std::shared_ptr<IpAclConfig>& ConfigEntities::accessLists(AddressFamily af) const {
  return accessLists_.at(af);
}

void ConfigEntities::configIs(const DaemonConfig& next) {
  if (next == written_) return;
  for (const auto& [vrf, families] : next.vrfs) {
    for (const auto& [af, settings] : families) families_.try_emplace({vrf, af}, vrf);
  }
  for (const auto& [key, entities] : families_) entities.config->editingIs(true);
  for (const auto& [af, lists] : accessLists_) accessListsAre(*lists, next);
  for (const auto& [key, entities] : families_) settingsAre(entities, settingsOf(next, key));
  for (const auto& [key, entities] : families_) entities.config->editingIs(false);
  std::erase_if(families_, [&](const auto& entry) { return !isConfigured(next, entry.first); });
  written_ = next;
}

void ConfigEntities::withdraw() {
  configIs(without({.bsr = true, .rp = true}, written_));
}

}  // namespace Routing::Agent
