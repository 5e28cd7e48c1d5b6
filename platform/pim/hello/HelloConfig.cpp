#include "platform/pim/hello/HelloConfig.h"

namespace Routing::Pim {

bool HelloConfig::permits(const IpGenAddr& neighbor) const {
  if (!neighbors) return true;
  for (unsigned length = 0; length <= addressBits(neighbor.af()); ++length) {
    if (neighbors->contains(IpGenPrefix(neighbor, length))) return true;
  }
  return false;
}

}  // namespace Routing::Pim
