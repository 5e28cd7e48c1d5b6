#pragma once

#include <memory>
#include <optional>
#include <set>
#include <string>

#include "agent/state/StateDirectory.h"
#include "agent/state/StateFile.h"

namespace Routing::Agent {

/// Where the instances keep their states, if the daemon keeps any.
class StateStore {
 public:
  /// The clock is CLOCK_MONOTONIC; it must outlive the store.
  explicit StateStore(const Clock& clock) : clock_(clock) {}

  /// From here on states are kept in this directory. If that cannot be, the log says why.
  void open(const std::string& directory);
  /// The file of an instance, which the store must outlive; null if no state is kept.
  std::unique_ptr<StateFile> fileOf(const VrfName& vrf, AddressFamily af);
  /// Call when all instances have their files that are to have one from an earlier life: takes the
  /// others away, so that an instance that comes later begins anew.
  void dropOthers();

 private:
  const Clock& clock_;
  std::string boot_;
  std::optional<StateDirectory> directory_;
  std::set<std::string> used_;
};

}  // namespace Routing::Agent
