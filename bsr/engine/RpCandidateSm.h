#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>

#include "bsr/engine/Turn.h"
#include "bsr/types/MessageStatus.h"
#include "bsr/types/Status.h"
#include "platform/Export.h"
#include "platform/time/TimerWheel.h"
#include "platform/trie/TrieGen.h"

namespace Routing::Pim::Bsr {

class ZoneServices;

/// The group prefixes that a candidate RP advertises in one zone.
using RpCandidatePrefixSet = std::set<IpGenPrefix>;

/// Advertises one candidate RP, with all its group prefixes of one priority, to the elected BSR of
/// every zone that the prefixes fall into (RFC 5059 section 3.2).
class ROUTING_API RpCandidateSm {
 public:
  /// Ranges that the count field of an advertisement can tell of.
  static constexpr std::uint8_t maxPrefixs = 255;

  /// The candidate of the options' address must exist in the status. Advertisements are handed over
  /// through `crpMsgStatus`. The wheel and the services must outlive the machine.
  RpCandidateSm(const CrpOptions& crpOptions, std::shared_ptr<const Status> status,
                std::shared_ptr<PimCrpMsgStatus> crpMsgStatus, std::shared_ptr<TrieGen> bsrTrie,
                TimerWheel& timerWheel, ZoneServices& services);
  RpCandidateSm(const RpCandidateSm&) = delete;
  RpCandidateSm& operator=(const RpCandidateSm&) = delete;

  /// The machine sends nothing from here on.
  void retire();

  const CrpOptions& crpOptions() const { return crpOptions_; }
  const std::map<IpGenPrefix, RpCandidatePrefixSet>& crpAdvSet() const { return crpAdvSet_; }
  /// When the next advertisement goes out.
  double crpAdvExpiry() const { return crpAdvTimer_.expiry(); }
  std::uint8_t crpAdvBackoffCount() const { return crpAdvBackoffCount_; }

  /// Sends an advertisement to the BSR of every zone that has prefixes; a withdrawal carries hold
  /// time 0.
  void doSendCrpAdv(bool withdraw);
  /// Sends a withdrawal of this one prefix alone, to the BSR of its zone.
  void doWithdrawPrefix(const IpGenPrefix& prefix);
  /// Brings one prefix in step with the candidate's options and the zone trie. True if its zone has
  /// it newly.
  bool doUpdateCrpAdvSetPrefix(const IpGenPrefix& prefix);
  /// The same for a prefix that was given this priority: it is advertised soon.
  void prefixIs(const IpGenPrefix& prefix);

 private:
  void handleInitialized();
  void handleTrie(const IpGenPrefix& zone, TrieEvent event);
  void handleBsr();
  void handleInterval();
  void handleCrpAdvTimerExpiry();
  bool doUpdateCrpAdvSet(const IpGenPrefix& zone);
  bool advertises(const IpGenPrefix& prefix) const;
  void removeFromOthers(const IpGenPrefix& prefix, const IpGenPrefix& zone);
  void sendTo(const ElectedBsrStatus& bsr, const RpCandidatePrefixSet& prefixes, bool withdraw);
  GroupFlags groupFlags(const IpGenPrefix& zone) const;
  unsigned armSoon();
  const VrfName& vrfName() const { return status_->vrfName(); }

  CrpOptions crpOptions_;
  std::shared_ptr<const Status> status_;
  std::shared_ptr<PimCrpMsgStatus> crpMsgStatus_;
  std::shared_ptr<TrieGen> bsrTrie_;
  TimerWheel& timerWheel_;
  ZoneServices& services_;
  std::shared_ptr<const RpCandidate> crp_;
  std::map<IpGenPrefix, RpCandidatePrefixSet> crpAdvSet_;  // by zone
  std::uint8_t crpAdvBackoffCount_ = 0;                    // fast repetitions still to send
  bool initialized_ = false;
  std::uint64_t turns_ = 0;
  Timer crpAdvTimer_;
  Subscription trieReactor_;
  Subscription intervalReactor_;
};

}  // namespace Routing::Pim::Bsr
