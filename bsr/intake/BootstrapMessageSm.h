#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "bsr/types/DeferredDelete.h"
#include "bsr/types/LastBsmStore.h"
#include "bsr/types/MessageStatus.h"
#include "bsr/types/Status.h"
#include "platform/Export.h"
#include "platform/pim/PamManager.h"
#include "platform/time/TimerWheel.h"

namespace Routing::Pim::Bsr {

/// The gate between the PIM packet layer and the engine for Bootstrap messages, in both directions,
/// in one VRF and address family (RFC 5059 section 3.1.3). Every received message is counted;
/// a dropped one is traced and changes nothing but counters.
class ROUTING_API BootstrapMessageSm final : public LastBsmStore {
 public:
  /// Period assumed for a zone without one, in seconds.
  static constexpr std::uint32_t bsPeriodDefault = 60;

  /// The packet manager, its RPF table and the status are required; a missing one, or a status
  /// without address family, is a failed assertion. Starts the counters of all messages from 0.
  /// Whoever hands it to `deferred` may delete the machine at any time; null: one of its own.
  BootstrapMessageSm(std::shared_ptr<PamManager> pamManager, std::shared_ptr<Status> bsrStatus,
                     std::shared_ptr<PimBsmStatus> bsmStatus, std::shared_ptr<MessageInfo> bsmInfo,
                     TimerWheel& timerWheel, std::shared_ptr<DeferredDelete> deferred = nullptr);
  BootstrapMessageSm(const BootstrapMessageSm&) = delete;
  BootstrapMessageSm& operator=(const BootstrapMessageSm&) = delete;

  /// Takes nothing in and hands nothing out from here on.
  void retire();

  bool initialized() const { return initialized_; }
  double startupTime() const { return startupTime_; }

  /// The last accepted message of a zone; null if there is none.
  std::shared_ptr<BootstrapMessage> lastBsm(const IpGenPrefix& zone) const;
  const std::map<IpGenPrefix, std::shared_ptr<BootstrapMessage>>& lastBsm() const {
    return lastBsm_;
  }
  void lastBsmIs(const IpGenPrefix& zone, const std::shared_ptr<BootstrapMessage>& bsm);
  void lastBsmDel(const IpGenPrefix& zone) override;
  void lastBsmDelAll() override;

  /// Reactions to a received message and to one that the engine wants sent.
  void handleBootstrapMessage();
  void handleTransmission();

 private:
  struct Received;
  using ErrorField = void (*)(PimBsrErrorCounters&);

  void handleInitialize();
  void handleBSM();
  bool destinationAllowed(const Received& rx);
  bool rpfAllowed(const Received& rx);
  bool quickRefreshAllowed(const Received& rx);
  bool furtherFragment(const BootstrapMessage& bsm, const BootstrapMessage& last) const;
  bool borderAllowed(const Received& rx);
  void accept(const Received& rx);
  void countError(ErrorField bump);
  Drop dropOf(const Received& rx, DropCode code) const;
  void note(const Received& rx, const Drop& drop);
  void known(const IpGenPrefix& zone, const BootstrapMessage& bsm);
  std::uint32_t bsPeriod(const IpGenPrefix& zone) const;
  const VrfName& vrfName() const { return bsrStatus_->vrfName(); }

  std::shared_ptr<PamManager> pamManager_;
  std::shared_ptr<Status> bsrStatus_;
  std::shared_ptr<PimBsmStatus> bsmStatus_;
  std::shared_ptr<MessageInfo> bsmInfo_;
  TimerWheel& timerWheel_;
  std::shared_ptr<PimBsrCounters> counters_;  // null until the status has them
  double startupTime_ = 0.0;
  IpGenPrefix globalZone_;
  std::map<IpGenPrefix, std::shared_ptr<BootstrapMessage>> lastBsm_;
  /// By zone, the last messages that were accepted or sent: of which BSR, with which tag.
  using Identity = std::pair<IpGenAddr, std::uint16_t>;
  static constexpr std::size_t identities = 4;
  std::map<IpGenPrefix, std::deque<Identity>> known_;
  bool initialized_ = false;
  std::vector<Subscription> reactors_;
};

}  // namespace Routing::Pim::Bsr
