#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "bsr/config/AclUsers.h"
#include "bsr/config/ConfigContext.h"
#include "bsr/types/Config.h"
#include "bsr/types/Status.h"
#include "platform/acl/IpAclConfig.h"
#include "platform/net/SourceIntfSm.h"
#include "platform/pim/PimMessageCounters.h"

namespace Routing::Pim::Bsr {

class BorderConfigSm;
class BsrCandidateConfigSm;
class CrpFilterConfig;
class Explained;
class RpCandidateConfigSm;

/// Turns the configuration of one VRF and address family into the entries of its status, and every
/// change of it into the change that it makes there:
///
///    entities              reactors                    claims, by what they ask for
///    VrfIntfConfig    ->   BorderConfigSm         ->   ExplainedBorders
///    Config           ->   BsrCandidateConfigSm   ->   ExplainedZones
///                          RpCandidateConfigSm    ->   ExplainedRps
///                          CrpFilterConfig        ->   ExplainedPermits
///    IpAclConfig      ->   BsrConfigAcls, which tells the reactors what each list permits
///    SourceIntfSm     ->   ConfigSm, which tells the reactors of addresses
///
///    then Explained::settle() writes the difference to Status
///
///    Config's time-outs   ->   Status, at once
///    ClearConfig          ->   counters, at once
///
/// A reactor stands for one interface (the filter's for the VRF) and knows what is configured. It
/// claims borders, zones, ranges and permitted prefixes, each for itself and for every access list
/// that permits them. The claims of a key are all that its status entry depends on: one function
/// for each kind says what they explain. An edit, a start and a restart differ only in how many
/// claims change before the difference is written; a restart removes first what nothing explains.
///
/// Built over a status that an earlier run left, it changes nothing where the configuration is
/// unchanged. All inputs must be complete by then (what a mirror has not delivered yet would be
/// taken for deconfigured), but for the addresses of interfaces: until their initial dump is done,
/// an interface without address keeps its entries.
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

  /// Attaches another configuration entity of the VRF: the difference is applied as one edit.
  void configIs(std::shared_ptr<const Config> config);
  /// Attaches another entity for clear requests; that is one itself.
  void clearConfigIs(std::shared_ptr<const ClearConfig> clearConfig);

 private:
  void handleInitialized();
  void handleEditing();
  void handleBsrHoldTime();
  void handleSzTimeout();
  void handleClearCounters();
  void handleBsrCandidateConfig(const IntfId& intf);
  void handleRpCandidateConfig(const IntfId& intf);
  void handleIntfConfig(const std::string& name);
  void handleIpAddress(const IntfId& intf);
  void handleInitialDumpDone();
  void checkInputs();
  bool isRestart() const;
  void doBuildBsrConfigAcl();
  void watchConfig();
  void watchOthers();
  void applyCandidates();
  void findKnown();

  AclPrefixUser* borderUser(const IntfId& intf) override;
  AclPrefixUser* cbsrUser(const IntfId& intf) override;
  AclPrefixUser* crpUser(const IntfId& intf) override;
  AclPrefixUser& filterUser() override;

  std::shared_ptr<const Config> config_;
  std::shared_ptr<const VrfIntfConfig> vrfIntfConfig_;
  std::shared_ptr<const ClearConfig> clearConfig_;
  std::shared_ptr<PimMessageCounters> pimCounters_;
  std::shared_ptr<const IpAclConfig> ipAclConfig_;
  ConfigContext context_;
  IpGenPrefix zeroPfx_;
  IpGenPrefix globalOrNonScopedZone_;
  bool initialized_ = false;
  std::set<IntfId> knownBsrCandidates_;  // of an earlier run, during the start
  std::set<IntfId> knownRpCandidates_;
  std::unique_ptr<Explained> explained_;
  std::unique_ptr<BsrConfigAcls> acls_;
  std::unique_ptr<CrpFilterConfig> filter_;
  std::map<IntfId, std::unique_ptr<BsrCandidateConfigSm>> bsrCandidateConfigSm_;
  std::map<IntfId, std::unique_ptr<RpCandidateConfigSm>> rpCandidateConfigSm_;
  std::map<std::string, std::unique_ptr<BorderConfigSm>> borderConfigSm_;
  std::vector<Subscription> configReactors_;
  Subscription clearReactor_;
  std::vector<Subscription> otherReactors_;
};

}  // namespace Routing::Pim::Bsr
