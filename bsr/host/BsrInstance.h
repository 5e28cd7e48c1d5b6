#pragma once

#include <memory>

#include "bsr/types/BsrPolicy.h"
#include "bsr/types/Config.h"
#include "bsr/types/DeferredDelete.h"
#include "bsr/types/Limits.h"
#include "bsr/types/MessageStatus.h"
#include "bsr/types/Status.h"
#include "platform/RandomSource.h"
#include "platform/acl/IpAclConfig.h"
#include "platform/net/SourceIntfSm.h"
#include "platform/pim/AllIntfStatusDir.h"
#include "platform/pim/PamManager.h"
#include "platform/pim/PimStatus.h"
#include "platform/pim/PimUcastRouteStatus.h"
#include "platform/time/TimerWheel.h"
#include "platform/upgrade/ZeuStatus.h"

namespace Routing::Pim::Bsr {

class BootstrapMessageSm;
class ConfigSm;
class CrpMessageSm;
class PimBsrSm;
class ZeuSm;

/// A status of an instance that has not run yet: its family is set, its counters are there.
ROUTING_API std::shared_ptr<Status> newStatus(const VrfName& vrf, AddressFamily af);

/// What a host gives the mechanism in one VRF and address family, shared with the instance. All up
/// to the timer wheel, which must outlive it, are required. With `config` come the four inputs
/// after it, complete, and the status is then written from configuration; without it the host
/// writes the status itself. The upgrade controller's status, both entities or none, is optional.
struct BsrInputs {
  std::shared_ptr<Status> status;  ///< with its address family set
  std::shared_ptr<const PimStatus> pimStatus;
  std::shared_ptr<PamManager> pamManager;
  std::shared_ptr<const PimUcastRouteStatus> ucastRouteStatus;
  std::shared_ptr<const AllIntfStatusDir> allIntfStatusDir;
  std::shared_ptr<RpCandidateStatus> rpCandidateStatus;  ///< PIM's view, written here
  std::shared_ptr<PimBsrLimits> limits;
  TimerWheel* timerWheel = nullptr;

  std::shared_ptr<const Config> config = nullptr;
  std::shared_ptr<const VrfIntfConfig> vrfIntfConfig = nullptr;
  std::shared_ptr<const ClearConfig> clearConfig = nullptr;
  std::shared_ptr<const SourceIntfSm> sourceIntfSm = nullptr;
  std::shared_ptr<const IpAclConfig> ipAclConfig = nullptr;

  std::shared_ptr<const ZeuShutdownStatus> zeuShutdownStatus = nullptr;
  std::shared_ptr<ZeuVrfStatus> zeuVrfStatus = nullptr;  ///< of this address family

  BsrPolicy policy = {};
  /// Where the engine draws from; null: rand(), seeded with the time.
  RandomSource random = nullptr;
};

/// The mechanism in one VRF and address family: its machines, built in the order that their
/// hand-overs need and destroyed in reverse. Destruction changes nothing in the status, and is
/// legal at any time, in a reactor too: nothing of the instance is used afterwards.
class ROUTING_API BsrInstance {
 public:
  explicit BsrInstance(const BsrInputs& inputs);
  BsrInstance(const BsrInstance&) = delete;
  BsrInstance& operator=(const BsrInstance&) = delete;
  ~BsrInstance();

  const BsrInputs& inputs() const { return inputs_; }
  const std::shared_ptr<PimBsmStatus>& bsmStatus() const { return bsmStatus_; }
  const std::shared_ptr<PimCrpMsgStatus>& crpMsgStatus() const { return crpMsgStatus_; }
  PimBsrSm& engine() { return *engine_; }
  const PimBsrSm& engine() const { return *engine_; }
  BootstrapMessageSm& bsmIntake() { return *bsmIntake_; }
  CrpMessageSm& crpIntake() { return *crpIntake_; }
  /// Null without configuration, or without the upgrade controller's status.
  ConfigSm* configSm() { return configSm_.get(); }
  ZeuSm* zeuSm() { return zeuSm_.get(); }

 private:
  BsrInputs inputs_;
  std::shared_ptr<DeferredDelete> deferred_;
  std::shared_ptr<PimBsmStatus> bsmStatus_;
  std::shared_ptr<PimCrpMsgStatus> crpMsgStatus_;
  std::shared_ptr<BootstrapMessageSm> bsmIntake_;
  std::shared_ptr<CrpMessageSm> crpIntake_;
  std::shared_ptr<PimBsrSm> engine_;
  std::unique_ptr<ConfigSm> configSm_;
  std::unique_ptr<ZeuSm> zeuSm_;
};

}  // namespace Routing::Pim::Bsr
