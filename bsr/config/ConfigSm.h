#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "bsr/config/AclUsers.h"
#include "bsr/config/ConfigContext.h"
#include "bsr/config/RpCandidateEntries.h"
#include "bsr/config/ZoneClaims.h"
#include "bsr/types/Config.h"
#include "bsr/types/Status.h"
#include "platform/acl/IpAclConfig.h"
#include "platform/net/SourceIntfSm.h"
#include "platform/pim/PimMessageCounters.h"

namespace Routing::Pim::Bsr {

class BorderConfigSm;
class BsrCandidateConfigSm;
class CrpFilterConfig;
class RpCandidateConfigSm;

/// Turns the configuration of one VRF and address family into the entries of its status, and every
/// change of it into the change that it makes there. Owns a reactor for each interface with
/// candidate-BSR, candidate-RP or border settings, and the access lists that they name, expanded.
///
/// Built over a status that an earlier run left, it deletes what the configuration does not
/// explain and brings the rest up to date in place: with an unchanged configuration it changes
/// nothing. All inputs must be complete by then (what a mirror has not delivered yet would be taken
/// for deconfigured), but for the addresses of interfaces: until their initial dump is done, an
/// interface without address keeps its entries.
class ROUTING_API ConfigSm final : private AclUsers {
 public:
  /// All are required but `pimCounters`; a missing one is a failed assertion that names it, as is
  /// a status without address family.
  ConfigSm(std::shared_ptr<const Config> config, std::shared_ptr<const VrfIntfConfig> vrfIntfConfig,
           std::shared_ptr<const ClearConfig> clearConfig, std::shared_ptr<Status> status,
           std::shared_ptr<PimMessageCounters> pimCounters,
           std::shared_ptr<const SourceIntfSm> sourceIntfSm,
           std::shared_ptr<const IpAclConfig> ipAclConfig);
  ConfigSm(const ConfigSm&) = delete;
  ConfigSm& operator=(const ConfigSm&) = delete;
  /// Changes nothing in the status.
  ~ConfigSm() override;

  const std::shared_ptr<const Config>& config() const { return config_; }
  const std::shared_ptr<const VrfIntfConfig>& vrfIntfConfig() const { return vrfIntfConfig_; }
  const std::shared_ptr<const ClearConfig>& clearConfig() const { return clearConfig_; }
  const std::shared_ptr<Status>& status() const { return context_.status; }
  const std::shared_ptr<PimMessageCounters>& pimCounters() const { return pimCounters_; }
  const std::shared_ptr<const SourceIntfSm>& sourceIntfSm() const { return context_.sourceIntfSm; }
  const std::shared_ptr<const IpAclConfig>& ipAclConfig() const { return ipAclConfig_; }
  const VrfName& vrfName() const { return context_.status->vrfName(); }
  bool initialized() const { return initialized_; }
  /// Access lists in use and reference counts, for display and tests.
  const ConfigState& state() const { return *context_.state; }
  /// 0.0.0.0/0 or ::/0, and 224.0.0.0/4 or ff00::/8.
  const IpGenPrefix& zeroPfx() const { return zeroPfx_; }
  const IpGenPrefix& globalOrNonScopedZone() const { return globalOrNonScopedZone_; }

  /// Attaches another configuration entity of the VRF: the difference is applied. No zone may move
  /// between interfaces in it.
  void configIs(std::shared_ptr<const Config> config);
  /// Attaches another entity for clear requests; that is one itself.
  void clearConfigIs(std::shared_ptr<const ClearConfig> clearConfig);

  /// Dry run of candidate-BSR zones of an interface: the conflict that would be a failed assertion
  /// if they were configured.
  std::optional<ZoneConflict> wouldConflict(const IntfId& intf,
                                            const std::set<IpGenPrefix>& zones) const {
    return zoneConflict(*config_, *ipAclConfig_, intf, zones);
  }

 private:
  void handleInitialized();
  void handleBsrHoldTime();
  void handleSzTimeout();
  void handleClearCounters();
  void handleBsrCandidateConfig(const IntfId& intf);
  void handleRpCandidateConfig(const IntfId& intf);
  void handleIntfConfig(const std::string& name);
  void handleIpAddress(const IntfId& intf);
  void handleInitialDumpDone();
  void checkInputs();
  void watchConfig();
  void watchOthers();
  void applyCandidates();

  AclPrefixUser* borderUser(const IntfId& intf) override;
  AclPrefixUser* cbsrUser(const IntfId& intf) override;
  AclPrefixUser* crpUser(const IntfId& intf) override;
  AclPrefixUser& filterUser() override;
  void cbsrZonesCheck(const IntfId& intf, const std::set<IpGenPrefix>& zones) override;

  std::shared_ptr<const Config> config_;
  std::shared_ptr<const VrfIntfConfig> vrfIntfConfig_;
  std::shared_ptr<const ClearConfig> clearConfig_;
  std::shared_ptr<PimMessageCounters> pimCounters_;
  std::shared_ptr<const IpAclConfig> ipAclConfig_;
  ConfigContext context_;
  IpGenPrefix zeroPfx_;
  IpGenPrefix globalOrNonScopedZone_;
  bool initialized_ = false;
  std::unique_ptr<BsrConfigAcls> acls_;
  std::unique_ptr<CrpFilterConfig> filter_;
  RpCandidateEntries rpCandidates_;
  std::map<IntfId, std::unique_ptr<BsrCandidateConfigSm>> bsrCandidateConfigSm_;
  std::map<IntfId, std::unique_ptr<RpCandidateConfigSm>> rpCandidateConfigSm_;
  std::map<std::string, std::unique_ptr<BorderConfigSm>> borderConfigSm_;
  std::vector<Subscription> configReactors_;
  Subscription clearReactor_;
  std::vector<Subscription> otherReactors_;
};

}  // namespace Routing::Pim::Bsr
