#include "sim/core/Groups.h"

#include "platform/pim/rp/RpSelection.h"

namespace Routing::Sim {

IpGenAddr rpOf(const Speaker& speaker, const IpGenAddr& group) {
  std::vector<Pim::RpMapping> mappings;
  for (const auto& [range, set] : speaker.view()->crpSet()) {
    if (!range.contains(group)) continue;
    for (const auto& [address, rp] : set->rp()) {
      mappings.push_back({range, address, static_cast<std::uint8_t>(rp->mode()),
                          rp->priority().value(), rp->hashMaskLen().value()});
    }
  }
  const Pim::RpChoice choice = Pim::selectRp(group, mappings);
  return choice.rp ? choice.rp->rp : IpGenAddr{};
}

IpGenAddr groupWithin(const IpGenPrefix& range, Random& random) {
  const IpGenAddr& base = range.address();
  if (range.af() == AddressFamily::ipv4) {
    const auto host = static_cast<std::uint32_t>(random.next());
    const std::uint32_t mask = range.length() == 32 ? 0 : UINT32_MAX >> range.length();
    return IpGenAddr::v4(base.v4Value() | (host & mask));
  }
  return range.length() <= 64 ? IpGenAddr::v6(base.upper(), random.next()) : base;
}

}  // namespace Routing::Sim
