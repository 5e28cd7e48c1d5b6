#include "config/model/Candidacies.h"

namespace Routing::Agent {

DaemonConfig without(const Candidacies& kinds, DaemonConfig config) {
  for (auto& [vrf, families] : config.vrfs) {
    for (auto& [af, settings] : families) {
      if (kinds.bsr) settings.bsrCandidates.clear();
      if (kinds.rp) settings.rpCandidates.clear();
    }
  }
  return config;
}

}  // namespace Routing::Agent
