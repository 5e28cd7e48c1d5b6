#include "bsr/config/CrpFilterConfig.h"

#include "bsr/config/BsrConfigAcls.h"
#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

CrpFilterConfig::CrpFilterConfig(const ConfigContext& context)
    : context_(context), zeroPfx_(IpGenPrefix::zero(context.status->af())) {}

void CrpFilterConfig::configIs(const std::shared_ptr<const Config>& config) {
  config_ = config;
  filterAclReactor_ =
      config_->crpFilterAclReactor([this](const std::string& name) { handleFilterAcl(name); });
  handleFilterAcl();
  const auto before = counted_;
  for (const auto& [name, prefixes] : before) {
    if (!config_->crpFilterAcl(name)) doFilterAclRemove(name);
  }
}

// All lists are counted before anything is written, so that a prefix which an earlier run left does
// not go and return on the way.
void CrpFilterConfig::handleFilterAcl() {
  BSR_TRACE(sm, 9, "");
  held_ = true;
  const auto names = config_->crpFilterAcl();
  for (const std::string& name : names) handleFilterAcl(name);
  held_ = false;
  const auto counts = context_.state->crpFilterAclPfxRefCount();
  for (const auto& entry : counts) permit(entry.first);
  if (counts.empty()) context_.status->crpPermitIs(zeroPfx_, true);
}

// The zero prefix goes unless some list permits it.
void CrpFilterConfig::permit(const IpGenPrefix& prefix) {
  context_.status->crpPermitIs(prefix, true);
  BSR_TRACE(sm, 8, "Added prefix ", prefix, " to status");
  if (context_.state->crpFilterAclPfxRefCount(zeroPfx_) == nullptr) {
    context_.status->crpPermitDel(zeroPfx_);
  }
}

void CrpFilterConfig::handleFilterAcl(const std::string& name) {
  BSR_TRACE(sm, 9, "");
  config_->crpFilterAcl(name) ? doFilterAclAdd(name) : doFilterAclRemove(name);
}

void CrpFilterConfig::doFilterAclAdd(const std::string& name) {
  BSR_TRACE(sm, 9, "");
  const auto acl = context_.acls->expanded(name);
  acl->usedByCrpAdvAclFilterIs(true);
  counted_[name];
  const auto prefixes = acl->prefix();
  for (const IpGenPrefix& prefix : prefixes) doFilterAclPrefixActivate(name, prefix);
}

void CrpFilterConfig::doFilterAclRemove(const std::string& name) {
  BSR_TRACE(sm, 9, "");
  const auto it = counted_.find(name);
  if (it == counted_.end()) return;
  const auto prefixes = it->second;
  for (const IpGenPrefix& prefix : prefixes) doFilterAclPrefixDeactivate(name, prefix);
  counted_.erase(name);
  context_.state->bsrConfigAcl(name)->usedByCrpAdvAclFilterIs(false);
  context_.acls->releaseUnused(name);
}

void CrpFilterConfig::doFilterAclPrefixActivate(const std::string& name,
                                                const IpGenPrefix& prefix) {
  const auto it = counted_.find(name);
  if (it == counted_.end() || !it->second.insert(prefix).second) return;
  ConfigState& state = *context_.state;
  const std::uint32_t* before = state.crpFilterAclPfxRefCount(prefix);
  const std::uint32_t count = before == nullptr ? 1 : *before + 1;
  if (before == nullptr) {
    BSR_TRACE(sm, 8, "Added new prefix ", prefix, " into filter acl prefix counter");
  }
  state.crpFilterAclPfxRefCountIs(prefix, count);
  if (count == 1 && !held_) permit(prefix);
  BSR_TRACE(sm, 8, "Filter ACL PrefixCounter for prefix ", prefix, " is ", count);
}

void CrpFilterConfig::doFilterAclPrefixDeactivate(const std::string& name,
                                                  const IpGenPrefix& prefix) {
  const auto it = counted_.find(name);
  if (it == counted_.end() || it->second.erase(prefix) == 0) return;
  ConfigState& state = *context_.state;
  const std::uint32_t count = *state.crpFilterAclPfxRefCount(prefix) - 1;
  BSR_TRACE(sm, 8, "Filter ACL PrefixCounter for prefix ", prefix, " is ", count);
  if (count > 0) {
    state.crpFilterAclPfxRefCountIs(prefix, count);
    return;
  }
  state.crpFilterAclPfxRefCountDel(prefix);
  BSR_TRACE(sm, 8, "Deleted refcount for prefix ", prefix);
  const bool nothingLeft = state.crpFilterAclPfxRefCount().empty();
  if (nothingLeft) context_.status->crpPermitIs(zeroPfx_, true);
  if (nothingLeft && prefix == zeroPfx_) return;
  context_.status->crpPermitDel(prefix);
  BSR_TRACE(sm, 8, "Deleted prefix ", prefix, " from status");
}

}  // namespace Routing::Pim::Bsr
