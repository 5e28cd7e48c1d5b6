#pragma once

#include "platform/net/IpGenAddr.h"

namespace Routing::Pim {

/// True for an address that one host can have: neither unset, multicast nor 255.255.255.255.
inline bool isUnicast(const IpGenAddr& address) {
  return !address.isUnset() && !address.isMulticast() && address != IpGenAddr::v4(0xffffffff);
}

/// True for an address that can be reached from the whole domain, as those of BSRs and RPs must be
/// (RFC 5059 section 4): unicast, neither loopback nor link-local.
inline bool isDomainUnicast(const IpGenAddr& address) {
  return isUnicast(address) && !address.isLoopback() && !address.isLinkLocal();
}

}  // namespace Routing::Pim
