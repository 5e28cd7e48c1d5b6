#include "agent/kernel/LocalRoutes.h"

namespace Routing::Agent {

void LocalRoutes::intfChanged(const Interface* before, const Interface* now) {
  // Adding comes first, so that an address that stays is not withdrawn in between.
  if (now != nullptr) {
    for (const LocalAddress& held : now->addresses) add(held.address);
  }
  if (before != nullptr) {
    for (const LocalAddress& held : before->addresses) remove(held.address);
  }
}

void LocalRoutes::add(const IpGenAddr& address) {
  if (address.af() != af_ || ++holders_[address] > 1) return;
  status_->routeIs(IpGenPrefix::host(address), {Pim::ForwardingKind::local});
}

void LocalRoutes::remove(const IpGenAddr& address) {
  const auto it = holders_.find(address);
  if (it == holders_.end() || --it->second > 0) return;
  holders_.erase(it);
  status_->routeDel(IpGenPrefix::host(address));
}

}  // namespace Routing::Agent
