#pragma once

#include <map>
#include <memory>
#include <vector>

#include "bsr/engine/Advertisers.h"
#include "bsr/engine/NeighborPriming.h"
#include "bsr/engine/RpSetMirror.h"
#include "bsr/engine/RpSetWatch.h"
#include "bsr/engine/ZoneServices.h"
#include "bsr/trie/PimBsrTrieBuilder.h"
#include "bsr/types/BsrPolicy.h"
#include "bsr/types/DeferredDelete.h"
#include "bsr/types/LastBsmStore.h"
#include "bsr/types/Limits.h"
#include "bsr/types/MessageStatus.h"
#include "bsr/types/PimBsr.h"
#include "bsr/types/Status.h"
#include "platform/Export.h"
#include "platform/RandomSource.h"
#include "platform/pim/AllIntfStatusDir.h"
#include "platform/pim/PimStatus.h"
#include "platform/time/TimerWheel.h"
#include "platform/trie/TrieGen.h"

namespace Routing::Pim::Bsr {

class AnnouncedHashMaskLen;
class BsrCandidateSm;
class BsrNonCandidateSm;

/// What an engine may be given besides its inputs.
struct EngineOptions {
  std::shared_ptr<PimBsrLimits> limits = nullptr;  ///< null: the defaults hold
  /// Is told of zones that are gone; null, or outlives the engine.
  LastBsmStore* lastBsmStore = nullptr;
  BsrPolicy policy = {};
  RandomSource random = nullptr;  ///< null: rand(), seeded with the time
  /// Takes what is deleted; null: one of the engine's own.
  std::shared_ptr<DeferredDelete> deferred = nullptr;
};

/// The root of the BSR engine of one VRF and address family. Owns a machine for every zone: a
/// candidate's where the status has a candidate BSR, a follower's where a Bootstrap message came or
/// a BSR is known. Around them stand
///   ZoneServices     what the zone machines share: RP sets, sending, the host's choices
///   RpSetWatch       hold times of all RPs
///   RpSetMirror      PIM's view of them
///   NeighborPriming  No-Forward messages for new neighbours
///   Advertisers      this router's candidate RPs
///
/// Inert until the status has the address family IPv4 or IPv6, and again when it loses it. Reactors
/// of the host may do to the status whatever they like at any time; to delete the engine itself
/// from one, retire() it and hand it to its DeferredDelete, as BsrInstance does.
class ROUTING_API PimBsrSm {
 public:
  /// All entities are required and shared; a missing one is a failed assertion that names it. The
  /// wheel must outlive the engine.
  PimBsrSm(std::shared_ptr<Status> bsrStatus, std::shared_ptr<const PimStatus> pimStatus,
           std::shared_ptr<PimBsmStatus> bsmStatus, std::shared_ptr<PimCrpMsgStatus> crpMsgStatus,
           std::shared_ptr<RpCandidateStatus> rpCandidateStatus, TimerWheel& timerWheel,
           std::shared_ptr<const AllIntfStatusDir> allIntfStatusDir, EngineOptions options = {});
  PimBsrSm(const PimBsrSm&) = delete;
  PimBsrSm& operator=(const PimBsrSm&) = delete;
  /// Changes nothing in the status.
  ~PimBsrSm();

  /// Does nothing from here on, and changes nothing in the status.
  void retire();

  const std::shared_ptr<Status>& bsrStatus() const { return bsrStatus_; }
  const std::shared_ptr<const PimStatus>& pimStatus() const { return pimStatus_; }
  const std::shared_ptr<PimBsmStatus>& bsmStatus() const { return bsmStatus_; }
  const std::shared_ptr<PimCrpMsgStatus>& crpMsgStatus() const { return crpMsgStatus_; }
  const std::shared_ptr<RpCandidateStatus>& rpCandidateStatus() const { return rpCandidateStatus_; }
  const std::shared_ptr<const AllIntfStatusDir>& allIntfStatusDir() const {
    return allIntfStatusDir_;
  }
  const std::shared_ptr<ZoneServices>& services() const { return services_; }
  bool initialized() const { return initialized_; }
  /// The zone of all groups: 224.0.0.0/4 or ff00::/8.
  const IpGenPrefix& globalOrNonScopeZone() const { return services_->globalZone(); }
  /// Machines by zone; null where there is none.
  std::shared_ptr<BsrCandidateSm> candidateSm(const IpGenPrefix& zone) const;
  std::shared_ptr<BsrNonCandidateSm> nonCandidateSm(const IpGenPrefix& zone) const;
  /// How many RPs were not advertised within their hold time.
  std::uint64_t expiredRps() const { return rpSetWatch_ ? rpSetWatch_->expired() : 0; }
  const std::map<IpGenPrefix, std::shared_ptr<BsrCandidateSm>>& candidateSm() const {
    return candidateSm_;
  }
  const std::map<IpGenPrefix, std::shared_ptr<BsrNonCandidateSm>>& nonCandidateSm() const {
    return nonCandidateSm_;
  }
  const Advertisers::Machines& rpCandidateSm() const;
  /// True if this router ceased to be designated router on the interface and no new neighbour has
  /// been primed since.
  bool wasDr(const IntfId& intf) const { return priming_->wasDr(intf); }
  /// Null while uninitialised.
  const std::shared_ptr<TrieGen>& bsrTrie() const { return bsrTrie_; }

  // Reactions; all but handleAf do nothing while uninitialised.
  void handleAf();
  void handleBsrCandidate();
  void handleBsrCandidate(const IpGenPrefix& zone);
  void handleRpCandidate();
  void handleBsm();
  void handleCrpMsg();

  // What operators ask for; a zone or address that is unset stands for all.
  /// Takes RPs out of the RP sets: the elected BSR of a zone withdraws them in the domain, other
  /// routers forget them until they are announced again. Returns how many there were.
  std::size_t clearRps(const IpGenPrefix& zone, const IpGenAddr& rp);
  /// Ends the wait for the BSR's next message: followers have none and listen for the next one,
  /// candidates stand for election, the BSR speaks. Returns the number of zones.
  std::size_t clearBsr(const IpGenPrefix& zone);
  /// The ranges of a zone of which RPs are missing.
  const IncompleteRanges::Ranges& incompleteRanges(const IpGenPrefix& zone) const {
    return services_->incompleteRanges(zone);
  }

  /// A follower's machine has forgotten its zone.
  void nonCandidateSmDel(const IpGenPrefix& zone);

  // The services of the zone machines, under the engine's name; see ZoneServices.
  void storeRpSet(const IpGenPrefix& zone, const BootstrapMessage& bsm, bool refresh) {
    services_->storeRpSet(zone, bsm, refresh);
  }
  void refreshRpSet(const IpGenPrefix& zone, const std::shared_ptr<BootstrapMessage>& bsm) {
    services_->refreshRpSet(zone, bsm);
  }
  std::shared_ptr<PimBsrRxFragments> bsmRxFragments(std::uint16_t tag) const {
    return services_->bsmRxFragments(tag);
  }
  void doAddGroupData(BootstrapMessage& bsm, const RpCandidateSet* rpSet, const IpGenPrefix& prefix,
                      std::uint8_t flags) {
    services_->doAddGroupData(bsm, rpSet, prefix, flags);
  }
  void forwardBsm(const IpGenPrefix& zone, const std::shared_ptr<BootstrapMessage>& bsm) {
    services_->forwardBsm(zone, bsm);
  }
  void doSendTriggeredBsm(const IpGenPrefix& zone, bool forward, const IntfId& oif,
                          const std::shared_ptr<BootstrapMessage>& bsm) {
    services_->doSendTriggeredBsm(zone, forward, oif, bsm);
  }

 private:
  void wire();
  void handleInitialized();
  void teardown();
  void end();
  void handleBsr(const IpGenPrefix& zone);
  void handleCrp(const IpGenAddr& address);
  void candidateSmIs(const IpGenPrefix& zone);
  void candidateSmDel(const IpGenPrefix& zone);
  void follow(const IpGenPrefix& zone, const std::shared_ptr<BootstrapMessage>& farewell);
  void handleCandidateSm(const IpGenPrefix& zone);
  void maybeInitNonCandidateSm();
  std::shared_ptr<BsrNonCandidateSm> newNonCandidateSm(const IpGenPrefix& zone);
  void handleScopedBsm(const IpGenPrefix& zone, const std::shared_ptr<BootstrapMessage>& bsm);
  void handleGlobalBsm(const std::shared_ptr<BootstrapMessage>& bsm);
  bool roomForZone(const IpGenPrefix& zone);
  void zoneGone(const IpGenPrefix& zone);
  void crpMsgRejected(const IpGenPrefix& zone);
  bool withdraw(const IpGenPrefix& zone, RpEntry& rp);
  std::size_t forgetRps(const IpGenPrefix& zone, const IpGenAddr& rp);
  std::vector<std::shared_ptr<const ZoneSm>> machines() const;
  template <class Machines>
  bool retireFrom(Machines& machines, const IpGenPrefix& zone);
  DeferredDelete& deferred() const { return *deferred_; }
  const VrfName& vrfName() const { return bsrStatus_->vrfName(); }

  const std::shared_ptr<Status> bsrStatus_;
  const std::shared_ptr<const PimStatus> pimStatus_;
  const std::shared_ptr<PimBsmStatus> bsmStatus_;
  const std::shared_ptr<PimCrpMsgStatus> crpMsgStatus_;
  const std::shared_ptr<RpCandidateStatus> rpCandidateStatus_;
  TimerWheel& timerWheel_;
  const std::shared_ptr<const AllIntfStatusDir> allIntfStatusDir_;
  LastBsmStore* const lastBsmStore_;
  const std::shared_ptr<DeferredDelete> deferred_;
  const std::shared_ptr<ZoneServices> services_;
  std::shared_ptr<NeighborPriming> priming_;

  bool initialized_ = false;
  // Present while initialised, made in this order.
  std::shared_ptr<TrieGen> bsrTrie_;
  std::shared_ptr<PimBsrTrieBuilderSm> bsrTrieBuilder_;
  std::shared_ptr<RpSetMirror> mirror_;
  std::shared_ptr<RpSetWatch> rpSetWatch_;
  std::shared_ptr<Advertisers> advertisers_;

  std::map<IpGenPrefix, std::shared_ptr<AnnouncedHashMaskLen>> bsr_;
  std::map<IpGenPrefix, std::shared_ptr<BsrCandidateSm>> candidateSm_;
  std::map<IpGenPrefix, std::shared_ptr<BsrNonCandidateSm>> nonCandidateSm_;
  std::shared_ptr<CrpAdvMessage> lastRejected_;  // a message is counted once, whatever its ranges
  std::vector<Subscription> reactors_;
};

}  // namespace Routing::Pim::Bsr
