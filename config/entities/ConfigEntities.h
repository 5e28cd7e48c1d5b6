#pragma once

#include <map>
#include <memory>
#include <utility>

#include "bsr/types/Config.h"
#include "config/model/DaemonConfig.h"
#include "platform/acl/IpAclConfig.h"

namespace Routing::Agent {

/// The configuration entities of one VRF and family. The border settings belong to `vrfIntfConfig`
/// alone.
struct FamilyEntities {
  explicit FamilyEntities(const VrfName& vrf);

  std::shared_ptr<Pim::Bsr::Config> config;
  std::shared_ptr<Pim::Bsr::VrfIntfConfig> vrfIntfConfig;
  std::shared_ptr<Pim::Bsr::ClearConfig> clearConfig;
};

/// The daemon's configuration as the entities that configuration processing follows.
class ConfigEntities {
 public:
  using Key = std::pair<VrfName, AddressFamily>;

  ConfigEntities();

  /// Makes the entities equal to a configuration in which judge() finds no error, and writes
  /// nothing but what differs, as one edit (`Config::editing`). A family that goes is emptied
  /// first.
  void configIs(const DaemonConfig& next);
  /// Takes all candidates away, as if they were deconfigured.
  void withdraw();

  /// What the entities say at present.
  const DaemonConfig& written() const { return written_; }
  /// By VRF and family, as configured.
  const std::map<Key, FamilyEntities>& families() const { return families_; }
  const std::shared_ptr<IpAclConfig>& accessLists(AddressFamily af) const;

 private:
  DaemonConfig written_;
  std::map<Key, FamilyEntities> families_;
  std::map<AddressFamily, std::shared_ptr<IpAclConfig>> accessLists_;
};

}  // namespace Routing::Agent
