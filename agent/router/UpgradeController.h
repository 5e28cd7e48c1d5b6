#pragma once

#include <map>
#include <memory>

#include "platform/net/AddressFamily.h"
#include "platform/upgrade/ZeuStatus.h"

namespace Routing::Agent {

/// The upgrade controller of this process: announces that the process is about to be replaced, and
/// knows which instances are ready for it. The process that follows has a controller of its own.
class UpgradeController {
 public:
  UpgradeController();

  /// Announces it; once is enough.
  void prepare() { shutdownStatus_->shutdownIs(true); }
  bool prepared() const { return shutdownStatus_->shutdown(); }
  /// An instance that has ended reports nothing any more.
  void forget(const VrfName& vrf, AddressFamily af) { vrfStatus(af)->completedVrfDel(vrf); }

  const std::shared_ptr<ZeuShutdownStatus>& shutdownStatus() const { return shutdownStatus_; }
  /// The VRFs of a family that are ready.
  const std::shared_ptr<ZeuVrfStatus>& vrfStatus(AddressFamily af) const {
    return vrfStatus_.at(af);
  }

 private:
  std::shared_ptr<ZeuShutdownStatus> shutdownStatus_;
  std::map<AddressFamily, std::shared_ptr<ZeuVrfStatus>> vrfStatus_;
};

}  // namespace Routing::Agent
