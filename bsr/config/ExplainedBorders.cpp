#include "bsr/config/ExplainedBorders.h"

namespace Routing::Pim::Bsr {
namespace {

/// How the traces of a change end, by its cause.
struct Words {
  const char* created;
  const char* added;
  const char* deleted;
};
constexpr Words words[] = {
    {" BSR Border set", " BSR border set.", "Deleted interface "},  // group
    {" BSR border set", " BSR border set.", "Deleted interface "},  // list
    {" Bsr Border set", " BSR border.", "Deleted interface"},       // rule
};

}  // namespace

ExplainedBorders::ExplainedBorders(const ConfigContext& context)
    : context_(context),
      counts_(context, {&ConfigState::borderPfxRefCount, &ConfigState::newBorderPfxRefCount,
                        &ConfigState::borderPfxRefCountDel, ""}) {}

void ExplainedBorders::claim(const IntfId& intf, const IpGenPrefix& prefix, const std::string& list,
                             Cause cause) {
  if (claims_.claim({prefix, intf}, list, {})) changed_[{prefix, intf}] = cause;
}

void ExplainedBorders::withdraw(const IntfId& intf, const IpGenPrefix& prefix,
                                const std::string& list, Cause cause) {
  if (claims_.withdraw({prefix, intf}, list)) changed_[{prefix, intf}] = cause;
}

void ExplainedBorders::settle() {
  const auto changed = std::exchange(changed_, {});
  for (const auto& [key, cause] : changed) {
    if (claims_.contains(key)) add(key, cause);
  }
  for (const auto& [key, cause] : changed) {
    if (!claims_.contains(key)) remove(key, cause);
  }
}

void ExplainedBorders::add(const Key& key, Cause cause) {
  const auto& [prefix, intf] = key;
  const Words& text = words[static_cast<std::size_t>(cause)];
  counts_.open(intf);
  if (!context_.status->bsBorder(prefix)) {
    context_.status->newBsBorder(prefix);
    BSR_TRACE(sm, 4, "Created group ", prefix, text.created);
  }
  const auto border = context_.status->newBsBorder(prefix);
  if (!border->intfId(intf)) {
    border->intfIdIs(intf, true);
    BSR_TRACE(sm, 4, "Added interface ", intf, " into ", prefix, text.added);
  }
  counts_.countIs(intf, prefix, claims_.of(key).size());
}

void ExplainedBorders::remove(const Key& key, Cause cause) {
  const auto& [prefix, intf] = key;
  counts_.countIs(intf, prefix, 0);
  const auto border = context_.status->bsBorder(prefix);
  if (!border || !border->intfId(intf)) return;
  border->intfIdDel(intf);
  BSR_TRACE(sm, 4, words[static_cast<std::size_t>(cause)].deleted, intf, " from ", prefix,
            " BSR border set.");
  if (!border->intfId().empty()) return;
  context_.status->bsBorderDel(prefix);
  BSR_TRACE(sm, 4, "Deleted group ", prefix, " BSR Border set");
}

void ExplainedBorders::removeExtra() const {
  Status& status = *context_.status;
  const auto borders = status.bsBorder().copy();
  for (const auto& [prefix, border] : borders) {
    const auto intfs = border->intfId();
    for (const IntfId& intf : intfs) {
      if (claims_.contains({prefix, intf})) continue;
      border->intfIdDel(intf);
      BSR_TRACE(sm, 8, "Deleted Interface ", intf, " from prefix ", prefix, " in status");
    }
    if (!border->intfId().empty()) continue;
    status.bsBorderDel(prefix);
    BSR_TRACE(sm, 8, "Deleting prefix ", prefix, " from status");
  }
}

}  // namespace Routing::Pim::Bsr
