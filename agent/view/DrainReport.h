#pragma once

#include <algorithm>
#include <vector>

#include "config/model/Candidacies.h"
#include "platform/net/AddressFamily.h"
#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/net/VrfName.h"

namespace Routing::Agent {

/// How far others have taken over what this router did until it was drained.
struct DrainReport {
  /// A zone of which this router was the BSR.
  struct Zone {
    VrfName vrf;
    AddressFamily af = AddressFamily::unset;
    IpGenPrefix zone;
    IpGenAddr bsr;  ///< that is followed now; unset while there is none
  };
  /// An address that was a candidate RP.
  struct Rp {
    VrfName vrf;
    AddressFamily af = AddressFamily::unset;
    IpGenAddr address;
    bool withdrawn = false;  ///< no RP set that this router holds has it
  };

  Candidacies drained;
  std::vector<Zone> zones;
  std::vector<Rp> rps;

  /// Another BSR is followed everywhere, and all RPs are withdrawn.
  bool complete() const {
    return std::all_of(zones.begin(), zones.end(),
                       [](const Zone& zone) { return !zone.bsr.isUnset(); }) &&
           std::all_of(rps.begin(), rps.end(), [](const Rp& rp) { return rp.withdrawn; });
  }
};

}  // namespace Routing::Agent
