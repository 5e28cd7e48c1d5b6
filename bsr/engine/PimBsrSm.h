#pragma once

#include <map>
#include <memory>
#include <vector>

#include "bsr/engine/BsmSender.h"
#include "bsr/engine/LastBsmBudget.h"
#include "bsr/engine/RpSetInstaller.h"
#include "bsr/engine/RpSetMirror.h"
#include "bsr/engine/RpSets.h"
#include "bsr/trie/PimBsrTrieBuilder.h"
#include "bsr/types/BsrPolicy.h"
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

class BsrCandidateSm;
class BsrNonCandidateSm;
class RpCandidateSm;

/// What an engine may be given besides its inputs.
struct EngineOptions {
  std::shared_ptr<PimBsrLimits> limits = nullptr;  ///< null: the defaults hold
  /// Is told of zones that are gone; null, or outlives the engine.
  LastBsmStore* lastBsmStore = nullptr;
  BsrPolicy policy = {};
  RandomSource random = nullptr;  ///< null: rand(), seeded with the time
};

/// The root of the BSR engine of one VRF and address family. Owns a machine for every zone (a
/// candidate's where the status has a candidate BSR, a follower's where a Bootstrap message came or
/// a BSR is known), the advertisers of this router's candidate RPs, and what the machines share:
/// the zone trie, the RP sets, and the sending of messages.
///
/// Inert until the status has the address family IPv4 or IPv6, and again when it loses it.
class ROUTING_API PimBsrSm {
 public:
  /// All entities are required and shared; a missing one is a failed assertion that names it. The
  /// wheel must outlive the engine.
  PimBsrSm(std::shared_ptr<Status> bsrStatus, std::shared_ptr<const PimStatus> pimStatus,
           std::shared_ptr<PimBsmStatus> bsmStatus, std::shared_ptr<PimCrpMsgStatus> crpMsgStatus,
           std::shared_ptr<RpCandidateStatus> rpCandidateStatus, TimerWheel& timerWheel,
           std::shared_ptr<const AllIntfStatusDir> allIntfStatusDir,
           EngineOptions options = {});
  PimBsrSm(const PimBsrSm&) = delete;
  PimBsrSm& operator=(const PimBsrSm&) = delete;
  /// Changes nothing in the status.
  ~PimBsrSm();

  const std::shared_ptr<Status>& bsrStatus() const { return bsrStatus_; }
  const std::shared_ptr<const PimStatus>& pimStatus() const { return pimStatus_; }
  const std::shared_ptr<PimBsmStatus>& bsmStatus() const { return bsmStatus_; }
  const std::shared_ptr<PimCrpMsgStatus>& crpMsgStatus() const { return crpMsgStatus_; }
  const std::shared_ptr<RpCandidateStatus>& rpCandidateStatus() const { return rpCandidateStatus_; }
  const std::shared_ptr<const AllIntfStatusDir>& allIntfStatusDir() const {
    return allIntfStatusDir_;
  }
  bool initialized() const { return initialized_; }
  /// The zone of all groups: 224.0.0.0/4 or ff00::/8.
  const IpGenPrefix& globalOrNonScopeZone() const { return globalOrNonScopeZone_; }
  /// Machines by zone; null where there is none.
  std::shared_ptr<BsrCandidateSm> candidateSm(const IpGenPrefix& zone) const;
  std::shared_ptr<BsrNonCandidateSm> nonCandidateSm(const IpGenPrefix& zone) const;
  const std::map<IpGenPrefix, std::shared_ptr<BsrCandidateSm>>& candidateSm() const {
    return candidateSm_;
  }
  const std::map<IpGenPrefix, std::shared_ptr<BsrNonCandidateSm>>& nonCandidateSm() const {
    return nonCandidateSm_;
  }
  const std::map<CrpOptions, std::shared_ptr<RpCandidateSm>>& rpCandidateSm() const {
    return rpCandidateSm_;
  }
  /// True if this router ceased to be designated router on the interface and no new neighbour has
  /// been primed since.
  bool wasDr(const IntfId& intf) const;
  /// Null while uninitialised.
  const std::shared_ptr<TrieGen>& bsrTrie() const { return bsrTrie_; }

  // Reactions; all but handleAf do nothing while uninitialised.
  void handleAf();
  void handleBsrCandidate();
  void handleBsrCandidate(const IpGenPrefix& zone);
  void handleRpCandidate();
  void handleBsm();
  void handleCrpMsg();

  // Services for the zone machines; they do nothing while uninitialised.
  void nonCandidateSmDel(const IpGenPrefix& zone);
  // What cannot be installed is traced: the machine's timers must run all the same.
  void storeRpSet(const IpGenPrefix& zone, const BootstrapMessage& bsm, bool refresh);
  void refreshRpSet(const IpGenPrefix& zone, const std::shared_ptr<BootstrapMessage>& bsm);
  std::shared_ptr<PimBsrRxFragments> bsmRxFragments(std::uint16_t tag) const;
  void bsmRxFragmentsDel(const std::shared_ptr<PimBsrRxFragments>& fragments);
  void doAddGroupData(BootstrapMessage& bsm, const RpCandidateSet* rpSet, const IpGenPrefix& prefix,
                      std::uint8_t flags);
  void forwardBsm(const IpGenPrefix& zone, const std::shared_ptr<BootstrapMessage>& bsm);
  void doSendTriggeredBsm(const IpGenPrefix& zone, bool forward, const IntfId& oif,
                          const std::shared_ptr<BootstrapMessage>& bsm);
  RpSets& rpSets() { return rpSets_; }
  LastBsmBudget& lastBsmBudget() { return lastBsmBudget_; }

 private:
  class PimIntfReactor;
  class BsrReactor;
  class CrpReactor;

  void handleInitialized();
  void teardown();
  void wire();
  void handlePimIntf(const IntfId& intf);
  void handleBsr(const IpGenPrefix& zone);
  void handleCrp(const IpGenAddr& address);
  void handleCandidateSm(const IpGenPrefix& zone);
  void maybeInitNonCandidateSm();
  void handleScopedBsm(const IpGenPrefix& zone, const std::shared_ptr<BootstrapMessage>& bsm);
  void handleGlobalBsm(const std::shared_ptr<BootstrapMessage>& bsm);
  bool roomForZone(const IpGenPrefix& zone);
  void zoneGone(const IpGenPrefix& zone);
  void crpMsgRejected(const IpGenPrefix& zone);
  const VrfName& vrfName() const { return bsrStatus_->vrfName(); }

  std::shared_ptr<Status> bsrStatus_;
  std::shared_ptr<const PimStatus> pimStatus_;
  std::shared_ptr<PimBsmStatus> bsmStatus_;
  std::shared_ptr<PimCrpMsgStatus> crpMsgStatus_;
  std::shared_ptr<RpCandidateStatus> rpCandidateStatus_;
  TimerWheel& timerWheel_;
  std::shared_ptr<const AllIntfStatusDir> allIntfStatusDir_;
  std::shared_ptr<PimBsrLimits> limits_;
  LastBsmStore* lastBsmStore_;
  const BsrPolicy policy_;
  RandomSource random_;

  bool initialized_ = false;
  IpGenPrefix globalOrNonScopeZone_;
  RpSetTotals rpSetTotals_;
  RpSets rpSets_;
  LastBsmBudget lastBsmBudget_;
  // Present while initialised, made in this order.
  std::shared_ptr<TrieGen> bsrTrie_;
  std::unique_ptr<PimBsrTrieBuilderSm> bsrTrieBuilder_;
  std::unique_ptr<RpSetInstaller> installer_;
  std::unique_ptr<BsmSender> sender_;
  std::unique_ptr<RpSetMirror> mirror_;

  std::map<IntfId, std::unique_ptr<PimIntfReactor>> pimIntf_;
  std::map<IpGenPrefix, std::unique_ptr<BsrReactor>> bsr_;
  std::map<IpGenAddr, std::unique_ptr<CrpReactor>> crp_;
  std::map<IpGenPrefix, std::shared_ptr<BsrCandidateSm>> candidateSm_;
  std::map<IpGenPrefix, std::shared_ptr<BsrNonCandidateSm>> nonCandidateSm_;
  std::map<CrpOptions, std::shared_ptr<RpCandidateSm>> rpCandidateSm_;
  std::shared_ptr<CrpAdvMessage> lastRejected_;  // a message is counted once, whatever its ranges
  std::vector<Subscription> reactors_;
};

}  // namespace Routing::Pim::Bsr
