#include "platform/pim/PimUcastRouteStatus.h"

namespace Routing::Pim {

ForwardingEntry ForwardingTable::entry(const IpGenPrefix& prefix) const {
  const auto it = entries_.find(prefix);
  if (it == entries_.end()) return {};
  if (it->second.kind > ForwardingKind::remote) {
    ++corruptions_;
    return {};
  }
  return it->second;
}

PimUcastRouteStatus::PimUcastRouteStatus(AddressFamily af)
    : trie_(af == AddressFamily::ipv4 ? "UcastRouteTrie" : "UcastRouteTrie6", af) {}

void PimUcastRouteStatus::routeIs(const IpGenPrefix& prefix, ForwardingEntry entry) {
  if (prefix.af() != trie_.af()) return;
  table_.entryIs(prefix, entry);
  if (!trie_.routeIs(prefix)) trie_.changedRouteIs(prefix);
}

// A reactor of the trie may delete the whole.
void PimUcastRouteStatus::routeDel(IpGenPrefix prefix) {
  table_.entryDel(prefix);
  trie_.routeDel(prefix);
}

}  // namespace Routing::Pim
