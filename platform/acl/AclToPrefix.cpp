#include "platform/acl/AclToPrefix.h"

#include <bit>

#include "platform/trace/Trace.h"

namespace Routing {
namespace {

TraceHandle aclTrace("Acl");

constexpr auto mostScattered = static_cast<unsigned>(std::countr_zero(AclToPrefix::maxIntervals));
static_assert(std::has_single_bit(AclToPrefix::maxIntervals));

/// A wildcard taken apart: the low bits that do not matter make one interval out of each setting
/// of the scattered ones.
struct Wildcard {
  explicit Wildcard(const AclAddresses& addresses) {
    const AddressNumber mask = addressNumber(addresses.wildcard());
    const AddressNumber tail = mask & ~(mask + 1);
    base = addressNumber(addresses.address()) & ~mask;
    run = tail;
    scattered = mask & ~tail;
  }
  unsigned scatteredBits() const {
    return static_cast<unsigned>(std::popcount(static_cast<std::uint64_t>(scattered >> 64)) +
                                 std::popcount(static_cast<std::uint64_t>(scattered)));
  }
  AddressNumber base;
  AddressNumber run;
  AddressNumber scattered;
};

AddressIntervals intervalsOf(const Wildcard& wildcard) {
  AddressIntervals intervals;
  AddressNumber setting = 0;
  do {
    const AddressNumber low = wildcard.base | setting;
    intervals.push_back({low, low | wildcard.run});
    setting = (setting - wildcard.scattered) & wildcard.scattered;
  } while (setting != 0);
  return intervals;
}

/// Everything below the highest bit that does not matter.
AddressInterval around(const Wildcard& wildcard) {
  AddressNumber below = wildcard.scattered | wildcard.run;
  for (unsigned shift = 1; shift < 128; shift *= 2) below |= below >> shift;
  return {wildcard.base & ~below, wildcard.base | below};
}

}  // namespace

void AclToPrefix::claim(PermittedPrefixes& from, AclAction action,
                        const AclAddresses& addresses) const {
  AddressIntervals intervals;
  if (addresses.kind() == AclAddresses::Kind::any) {
    intervals = {intervalOf(IpGenPrefix::zero(af_))};
  } else if (addresses.kind() == AclAddresses::Kind::prefix) {
    intervals = {intervalOf(addresses.prefix())};
  } else if (const Wildcard wildcard(addresses); wildcard.scatteredBits() <= mostScattered) {
    intervals = intervalsOf(wildcard);
  } else {
    if (aclTrace.enabled(3)) {
      aclTrace.write(3, "Wildcard too scattered: " + addresses.text() +
                            (action == AclAction::permit ? ", permit skipped" : ", deny widened"));
    }
    if (action == AclAction::deny) intervals = {around(wildcard)};
  }
  action == AclAction::permit ? from.permit(intervals) : from.deny(intervals);
}

void AclToPrefix::handleRule(const AclRule& rule) {
  const auto foreign = [this](const AclAddresses& addresses) {
    return addresses.kind() != AclAddresses::Kind::any && addresses.af() != af_;
  };
  if (rule.narrowed || foreign(rule.source)) return;
  if (type_ == AclType::extended) {
    if (foreign(rule.destination)) return;
    claim(destinations_, rule.action, rule.destination);
  }
  claim(sources_, rule.action, rule.source);
}

AclPrefixes AclToPrefix::prefixes() const {
  const PermittedPrefixes& groups = type_ == AclType::extended ? destinations_ : sources_;
  return {groups.multicastPrefixes(), sources_.unicastPrefixes()};
}

AclPrefixes AclToPrefix::of(AddressFamily af, const AclConfig& acl) {
  AclToPrefix conversion(af, acl.type());
  for (const auto& [sequence, rule] : acl.rule()) conversion.handleRule(rule);
  return conversion.prefixes();
}

}  // namespace Routing
