#pragma once

#include <memory>
#include <vector>

#include "bsr/trie/PimBsrCrpPermitTrieBuilder.h"
#include "bsr/types/DeferredDelete.h"
#include "bsr/types/MessageStatus.h"
#include "bsr/types/Status.h"
#include "platform/Export.h"
#include "platform/pim/PamManager.h"
#include "platform/pim/PimUcastRouteStatus.h"
#include "platform/trie/TrieGen.h"

namespace Routing::Pim::Bsr {

/// The gate for candidate-RP advertisements, in both directions, in one VRF and address family:
/// filters and counts what is received and hands it to the engine range by range; sends what this
/// router advertises, or takes it in directly when this router is the BSR.
class ROUTING_API CrpMessageSm {
 public:
  /// All are required; a missing one, or a status without address family, is a failed assertion.
  CrpMessageSm(std::shared_ptr<PamManager> pamManager, std::shared_ptr<Status> bsrStatus,
               std::shared_ptr<PimCrpMsgStatus> crpMsgStatus,
               std::shared_ptr<MessageInfo> crpMsgInfo,
               std::shared_ptr<const PimUcastRouteStatus> ucastRouteStatus,
               std::shared_ptr<DeferredDelete> deferred = nullptr);
  CrpMessageSm(const CrpMessageSm&) = delete;
  CrpMessageSm& operator=(const CrpMessageSm&) = delete;

  /// Takes nothing in and hands nothing out from here on.
  void retire();

  bool initialized() const { return initialized_; }
  const TrieGen& crpPermitTrie() const { return *crpPermitTrie_; }

  /// True if the address is one of this router's own.
  bool isLocalHost(const IpGenAddr& address) const;

  /// Reactions to a received message and to one that an advertiser wants sent.
  void handleCrpAdvMessage();
  void handleTransmission();
  /// Takes a message in, whether received or our own.
  void handleCRPAdv(const std::shared_ptr<CrpAdvMessage>& message);

 private:
  void handleInitialize();
  bool permitted(const CrpAdvMessage& message);
  void handOver(const CrpGroupInfo& range);
  std::uint32_t scopeMismatches() const;
  void note(const CrpAdvMessage& message, DropCode code);
  const VrfName& vrfName() const { return bsrStatus_->vrfName(); }

  std::shared_ptr<PamManager> pamManager_;
  std::shared_ptr<Status> bsrStatus_;
  std::shared_ptr<PimCrpMsgStatus> crpMsgStatus_;
  std::shared_ptr<MessageInfo> crpMsgInfo_;
  std::shared_ptr<const PimUcastRouteStatus> ucastRouteStatus_;
  std::shared_ptr<PimBsrCounters> counters_;  // null until the status has them
  IpGenPrefix globalZone_;
  std::shared_ptr<TrieGen> crpPermitTrie_;
  std::unique_ptr<PimBsrCrpPermitTrieBuilderSm> crpPermitTrieBuilder_;
  bool initialized_ = false;
  std::vector<Subscription> reactors_;
};

}  // namespace Routing::Pim::Bsr
