#pragma once

#include "config/model/DaemonConfig.h"

namespace Routing::Agent {

/// Kinds of candidacy.
struct Candidacies {
  bool bsr = false;
  bool rp = false;

  bool none() const { return !bsr && !rp; }
  friend bool operator==(const Candidacies&, const Candidacies&) = default;
};

/// The configuration as it were without all candidacies of these kinds.
DaemonConfig without(const Candidacies& kinds, DaemonConfig config);

}  // namespace Routing::Agent
