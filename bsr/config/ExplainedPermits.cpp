#include "bsr/config/ExplainedPermits.h"

#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

ExplainedPermits::ExplainedPermits(const ConfigContext& context)
    : context_(context), zeroPfx_(IpGenPrefix::zero(context.status->af())), changed_{zeroPfx_} {}

void ExplainedPermits::claim(const IpGenPrefix& prefix, const std::string& list) {
  if (claims_.claim(prefix, list, {})) changed_.insert({prefix, zeroPfx_});
}

void ExplainedPermits::withdraw(const IpGenPrefix& prefix, const std::string& list) {
  if (claims_.withdraw(prefix, list)) changed_.insert({prefix, zeroPfx_});
}

bool ExplainedPermits::permitted(const IpGenPrefix& prefix) const {
  return claims_.all().empty() ? prefix == zeroPfx_ : claims_.contains(prefix);
}

void ExplainedPermits::settle() {
  const auto changed = std::exchange(changed_, {});
  for (const IpGenPrefix& prefix : changed) {
    if (permitted(prefix)) add(prefix);
  }
  for (const IpGenPrefix& prefix : changed) {
    if (!permitted(prefix)) remove(prefix);
  }
}

void ExplainedPermits::add(const IpGenPrefix& prefix) {
  const bool isNew = claims_.contains(prefix) && !context_.state->crpFilterAclPfxRefCount(prefix);
  if (isNew) BSR_TRACE(sm, 8, "Added new prefix ", prefix, " into filter acl prefix counter");
  context_.status->crpPermitIs(prefix, true);
  if (isNew) BSR_TRACE(sm, 8, "Added prefix ", prefix, " to status");
  count(prefix);
}

void ExplainedPermits::remove(const IpGenPrefix& prefix) {
  count(prefix);
  if (!context_.status->crpPermit(prefix)) return;
  context_.status->crpPermitDel(prefix);
  BSR_TRACE(sm, 8, "Deleted prefix ", prefix, " from status");
}

void ExplainedPermits::count(const IpGenPrefix& prefix) {
  ConfigState& state = *context_.state;
  const auto lists = static_cast<std::uint32_t>(claims_.of(prefix).size());
  const std::uint32_t* before = state.crpFilterAclPfxRefCount(prefix);
  if ((before == nullptr ? 0 : *before) == lists) return;
  if (lists > 0) state.crpFilterAclPfxRefCountIs(prefix, lists);
  BSR_TRACE(sm, 8, "Filter ACL PrefixCounter for prefix ", prefix, " is ", lists);
  if (lists > 0) return;
  state.crpFilterAclPfxRefCountDel(prefix);
  BSR_TRACE(sm, 8, "Deleted refcount for prefix ", prefix);
}

// What is to stay comes first: the set is never empty.
void ExplainedPermits::removeExtra() const {
  Status& status = *context_.status;
  for (const IpGenPrefix& prefix : changed_) {
    if (permitted(prefix)) status.crpPermitIs(prefix, true);
  }
  const auto present = status.crpPermit();
  for (const IpGenPrefix& prefix : present) {
    if (permitted(prefix)) continue;
    status.crpPermitDel(prefix);
    BSR_TRACE(sm, 8, "Deleting CRP Permit Prefix ", prefix, " from status");
  }
}

}  // namespace Routing::Pim::Bsr
