#include "bsr/config/ConfigSm.h"

#include <utility>

#include "bsr/config/BorderConfigSm.h"
#include "bsr/config/BsrCandidateConfigSm.h"
#include "bsr/config/BsrConfigAcls.h"
#include "bsr/config/CrpFilterConfig.h"
#include "bsr/config/Explained.h"
#include "bsr/config/Keys.h"
#include "bsr/config/RpCandidateConfigSm.h"
#include "bsr/types/Traces.h"
#include "platform/entity/Assertion.h"

namespace Routing::Pim::Bsr {
namespace {

/// Gives the reactor under a key its configuration, makes it first if there is none, and ends it
/// where there is no configuration.
template <class Sms, class ConfigEntity, class Make>
void reactorIs(Sms& sms, const typename Sms::key_type& key,
               const std::shared_ptr<ConfigEntity>& config, Make make) {
  const auto it = sms.find(key);
  if (config) {
    auto& sm = sms[key];
    if (!sm) sm = make();
    sm->configIs(config);
  } else if (it != sms.end()) {
    it->second->handleDel();
    sms.erase(it);
  }
}

template <class Sms>
AclPrefixUser* find(const Sms& sms, const typename Sms::key_type& key) {
  const auto it = sms.find(key);
  return it == sms.end() ? nullptr : it->second.get();
}

}  // namespace

ConfigSm::ConfigSm(std::shared_ptr<const Config> config,
                   std::shared_ptr<const VrfIntfConfig> vrfIntfConfig,
                   std::shared_ptr<const ClearConfig> clearConfig, std::shared_ptr<Status> status,
                   std::shared_ptr<PimMessageCounters> pimCounters,
                   std::shared_ptr<const SourceIntfSm> sourceIntfSm,
                   std::shared_ptr<const IpAclConfig> ipAclConfig)
    : config_(std::move(config)),
      vrfIntfConfig_(std::move(vrfIntfConfig)),
      clearConfig_(std::move(clearConfig)),
      pimCounters_(std::move(pimCounters)),
      ipAclConfig_(std::move(ipAclConfig)),
      context_{std::move(status), std::move(sourceIntfSm), std::make_shared<ConfigState>()} {
  handleInitialized();
}

ConfigSm::~ConfigSm() = default;

void ConfigSm::checkInputs() {
  ROUTING_ASSERT(config());
  ROUTING_ASSERT(vrfIntfConfig());
  ROUTING_ASSERT(clearConfig());
  ROUTING_ASSERT(status());
  ROUTING_ASSERT(sourceIntfSm());
  ROUTING_ASSERT(ipAclConfig());
  const AddressFamily af = status()->af();
  ROUTING_ASSERT_TEXT(af == AddressFamily::ipv4 || af == AddressFamily::ipv6,
                      "0 && \"Unknown Address Family not supported\"");
}

void ConfigSm::handleInitialized() {
  if (initialized_) return;
  checkInputs();
  BSR_TRACE(sm, 9, "");
  zeroPfx_ = IpGenPrefix::zero(status()->af());
  globalOrNonScopedZone_ = IpGenPrefix::multicast(status()->af());
  explained_ = std::make_unique<Explained>(context_);
  context_.explained = explained_.get();
  acls_ = std::make_unique<BsrConfigAcls>(context_, ipAclConfig_, static_cast<AclUsers&>(*this),
                                          isRestart());
  context_.acls = acls_.get();
  filter_ = std::make_unique<CrpFilterConfig>(context_);
  handleBsrHoldTime();
  handleSzTimeout();
  findKnown();
  doBuildBsrConfigAcl();
  initialized_ = true;
  watchConfig();
  watchOthers();
  handleEditing();
}

bool ConfigSm::isRestart() const {
  const Status& s = *status();
  return !s.bsBorder().empty() || !s.cbsr().empty() || !s.crp().empty() || !s.crpPermit().empty();
}

// An interface that has no address at the start may have had one in an earlier run: its claims to
// zones have stayed, or a candidate RP, which may still be right until all addresses are there.
void ConfigSm::findKnown() {
  for (const auto& [zone, intf] : status()->zoneGroup()) knownBsrCandidates_.insert(intf);
  for (const auto& [acl, intf] : status()->zoneAcl()) knownBsrCandidates_.insert(intf);
  for (const auto& [address, entry] : status()->crp()) knownRpCandidates_.insert(entry->intfId());
}

// Claims all that is configured; access lists are expanded on the way.
void ConfigSm::doBuildBsrConfigAcl() {
  BSR_TRACE(sm, 9, "");
  for (const std::string& name : unionOf(vrfIntfConfig_->intfConfig())) handleIntfConfig(name);
  applyCandidates();
  filter_->configIs(config_);
  acls_->startedIs();
  knownBsrCandidates_.clear();
  knownRpCandidates_.clear();
}

void ConfigSm::watchConfig() {
  configReactors_.clear();
  configReactors_.push_back(config_->holdTimeReactor([this] { handleBsrHoldTime(); }));
  configReactors_.push_back(config_->szTimeoutReactor([this] { handleSzTimeout(); }));
  configReactors_.push_back(config_->bsrCandidateConfigReactor(
      explained_->settling([this](const IntfId& intf) { handleBsrCandidateConfig(intf); })));
  configReactors_.push_back(config_->rpCandidateConfigReactor(
      explained_->settling([this](const IntfId& intf) { handleRpCandidateConfig(intf); })));
  configReactors_.push_back(config_->editingReactor([this] { handleEditing(); }));
}

void ConfigSm::watchOthers() {
  clearReactor_ = clearConfig_->countersCountReactor([this] { handleClearCounters(); });
  otherReactors_.push_back(vrfIntfConfig_->intfConfigReactor(
      explained_->settling([this](const std::string& name) { handleIntfConfig(name); })));
  otherReactors_.push_back(sourceIntfSm()->addressReactor(
      explained_->settling([this](const IntfId& intf) { handleIpAddress(intf); })));
  otherReactors_.push_back(sourceIntfSm()->initialDumpDoneReactor(
      explained_->settling([this] { handleInitialDumpDone(); })));
}

void ConfigSm::configIs(std::shared_ptr<const Config> config) {
  if (config == config_) return;
  config_ = std::move(config);
  handleBsrHoldTime();
  handleSzTimeout();
  explained_->heldIs(true);
  filter_->configIs(config_);
  applyCandidates();
  watchConfig();
  handleEditing();
}

void ConfigSm::clearConfigIs(std::shared_ptr<const ClearConfig> clearConfig) {
  if (clearConfig == clearConfig_) return;
  clearConfig_ = std::move(clearConfig);
  clearReactor_ = clearConfig_->countersCountReactor([this] { handleClearCounters(); });
  handleClearCounters();
}

void ConfigSm::applyCandidates() {
  const auto bsrs = unionOf(bsrCandidateConfigSm_, config_->bsrCandidateConfig());
  for (const IntfId& intf : bsrs) handleBsrCandidateConfig(intf);
  const auto rps = unionOf(rpCandidateConfigSm_, config_->rpCandidateConfig());
  for (const IntfId& intf : rps) handleRpCandidateConfig(intf);
}

// Edits that belong together are written as one.
void ConfigSm::handleEditing() {
  explained_->editingIs(config_->editing());
}

void ConfigSm::handleBsrHoldTime() {
  BSR_TRACE(sm, 9, "");
  status()->bsTimeoutIs(config_->holdTime());
  BSR_TRACE(sm, 4, "BSR Hold Time is ", config_->holdTime());
}

// The least time-out wraps at 32 bits; hosts that write one themselves stop at the bound instead.
void ConfigSm::handleSzTimeout() {
  BSR_TRACE(sm, 9, "");
  const auto least = static_cast<std::uint32_t>(Config::leastSzTimeout(config_->holdTime()));
  const std::uint32_t wanted = config_->szTimeout();
  if (least <= wanted) {
    status()->szTimeoutIs(wanted);
    BSR_TRACE(sm, 4, "Scoped Zone timeout is ", wanted, " secs");
  } else {
    status()->szTimeoutIs(least);
    BSR_TRACE(sm, 4, "Scoped Zone timeout ", wanted, " secs too low. Setting it to ", least,
              " secs in status");
  }
}

void ConfigSm::handleClearCounters() {
  BSR_TRACE(sm, 9, "");
  if (pimCounters_) clearMessageCounters(*pimCounters_);
}

void ConfigSm::handleBsrCandidateConfig(const IntfId& intf) {
  BSR_TRACE(sm, 9, "");
  const std::shared_ptr<const BsrCandidateConfig> config = config_->bsrCandidateConfig(intf);
  reactorIs(bsrCandidateConfigSm_, intf, config, [&] {
    return std::make_unique<BsrCandidateConfigSm>(context_, intf,
                                                  knownBsrCandidates_.contains(intf));
  });
}

void ConfigSm::handleRpCandidateConfig(const IntfId& intf) {
  BSR_TRACE(sm, 9, "");
  const std::shared_ptr<const RpCandidateConfig> config = config_->rpCandidateConfig(intf);
  reactorIs(rpCandidateConfigSm_, intf, config, [&] {
    return std::make_unique<RpCandidateConfigSm>(context_, intf, knownRpCandidates_.contains(intf));
  });
}

void ConfigSm::handleIntfConfig(const std::string& name) {
  BSR_TRACE(sm, 9, "");
  const std::shared_ptr<const IntfConfig> config = vrfIntfConfig_->intfConfig(name);
  reactorIs(borderConfigSm_, name, config,
            [&] { return std::make_unique<BorderConfigSm>(context_, IntfId(name)); });
}

void ConfigSm::handleIpAddress(const IntfId& intf) {
  BSR_TRACE(sm, 9, "");
  const auto bsr = bsrCandidateConfigSm_.find(intf);
  if (bsr != bsrCandidateConfigSm_.end()) bsr->second->handleIpAddress();
  const auto rp = rpCandidateConfigSm_.find(intf);
  if (rp != rpCandidateConfigSm_.end()) rp->second->handleIpAddress();
}

// Whatever was kept for an address that might still have come goes now.
void ConfigSm::handleInitialDumpDone() {
  BSR_TRACE(sm, 9, "");
  if (!sourceIntfSm()->initialDumpDone()) return;
  for (const auto& [intf, sm] : bsrCandidateConfigSm_) sm->handleInitialDumpDone();
  for (const auto& [intf, sm] : rpCandidateConfigSm_) sm->handleInitialDumpDone();
}

AclPrefixUser* ConfigSm::borderUser(const IntfId& intf) {
  return find(borderConfigSm_, intf.text());
}

AclPrefixUser* ConfigSm::cbsrUser(const IntfId& intf) {
  return find(bsrCandidateConfigSm_, intf);
}

AclPrefixUser* ConfigSm::crpUser(const IntfId& intf) {
  return find(rpCandidateConfigSm_, intf);
}

AclPrefixUser& ConfigSm::filterUser() {
  return *filter_;
}

}  // namespace Routing::Pim::Bsr
