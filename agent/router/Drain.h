#pragma once

#include <vector>

#include "agent/view/AgentView.h"
#include "agent/view/DrainReport.h"

namespace Routing::Agent {

/// The candidacies that operators have taken from this router until they end that, and what it did
/// by them.
class Drain {
 public:
  const Candidacies& drained() const { return noted_.drained; }
  /// Takes more of them. The instances still have them.
  void add(const Candidacies& kinds, const std::vector<InstanceView>& instances);
  /// Gives all of them back.
  void end() { noted_ = {}; }

  /// What has come of it in these instances.
  DrainReport report(const std::vector<InstanceView>& instances) const;

 private:
  void noteZones(const InstanceView& instance);
  void noteRps(const InstanceView& instance);

  DrainReport noted_;  // with this router's own address as BSR
};

}  // namespace Routing::Agent
