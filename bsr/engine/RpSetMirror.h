#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "bsr/engine/ZoneServices.h"
#include "bsr/types/Status.h"
#include "platform/Export.h"
#include "platform/entity/SortedBlocks.h"
#include "platform/trie/TrieGen.h"

namespace Routing::Pim::Bsr {

/// Keeps PIM's view, its group-to-RP set, equal to what the most specific zone of every group range
/// says.
///
/// A range in PIM's view remembers the zone that shows it, its owner. A zone that gains its BSR
/// takes the ranges that it has over from wider ones. One that loses it gives those back that a
/// wider zone has too; the others it keeps until their RPs expire. While no zone has a BSR,
/// whichever speaks last of a range owns it, if the policy has an early view.
///
/// Who serves a range is looked up when something has changed: a zone, an owner, PIM's view. Until
/// then an RP that is refreshed is written straight to its place.
class ROUTING_API RpSetMirror {
 public:
  /// Where a range that its zone shows was found in PIM's view, null if it never was, and how many
  /// changes had been made then: after another one it need not be there any more.
  struct Place {
    std::shared_ptr<RpCandidateSet> set;
    std::uint64_t asOf = 0;
  };

  /// The services and the trie must outlive the mirror.
  RpSetMirror(std::shared_ptr<Status> bsrStatus,
              std::shared_ptr<RpCandidateStatus> rpCandidateStatus, ZoneServices& services,
              TrieGen& bsrTrie);
  RpSetMirror(const RpSetMirror&) = delete;
  RpSetMirror& operator=(const RpSetMirror&) = delete;

  /// An RP of a zone has come or changed; notes in `place` where its range was found.
  void rpIs(const IpGenPrefix& zone, const IpGenPrefix& prefix, const RpEntry& rp,
            Place* place = nullptr);
  /// The same, if all that changed is until when it lives and the place still holds; otherwise
  /// false, and nothing is done. One write, behind which neither RP need live.
  bool refresh(const Place& place, const IpGenPrefix& zone, const RpEntry& rp) const;
  /// An RP, a range or all that is of a zone has gone.
  void rpDel(const IpGenPrefix& zone, const IpGenPrefix& prefix, const IpGenAddr& rp);
  void setDel(const IpGenPrefix& zone, const IpGenPrefix& prefix);
  void zoneDel(const IpGenPrefix& zone);
  /// What an earlier run left in PIM's view and no zone accounts for goes: it would never expire.
  void dropOrphans();

  /// For ZoneServices::viewIs(): shows PIM what this router's own message for a zone makes of the
  /// RP sets of all who hear it, as far as the zone has a say in them. RPs that it does not mention
  /// they keep, unless it is the BSR's first message.
  void show(const IpGenPrefix& zone, const BootstrapMessage& bsm, bool first);
  /// Follows the zones' BSRs no more.
  void retire() { trieSubscription_.reset(); }

 private:
  /// A range, and the zone whose it is to show it.
  struct Owned {
    IpGenPrefix prefix;
    IpGenPrefix zone;
  };
  struct PrefixOf {
    const IpGenPrefix& operator()(const Owned& owned) const { return owned.prefix; }
  };

  void handleTrie(const IpGenPrefix& zone);
  void settle(const IpGenPrefix& prefix);
  const IpGenPrefix* ownerOf(const IpGenPrefix& prefix) const;
  bool owns(const IpGenPrefix& zone, const IpGenPrefix& prefix) const;
  bool servesPim(const IpGenPrefix& zone, const IpGenPrefix& match) const;
  std::shared_ptr<RpCandidateSet> copy(const IpGenPrefix& zone, const IpGenPrefix& prefix,
                                       const RpEntry& rp);
  /// Whether a refresh is all that makes them differ.
  static bool alikeButForTime(const RpEntry& copy, const RpEntry& rp);
  std::uint64_t changes() const { return bsrTrie_.changes() + ownerChanges_; }
  void ownerIs(const IpGenPrefix& prefix, const IpGenPrefix& zone);
  void ownerDel(const IpGenPrefix& prefix);
  std::vector<IpGenPrefix> owned() const;
  void showRange(const IpGenPrefix& zone, const BootstrapGroupData& group, bool first);
  void timesAre(const IpGenPrefix& zone, const IpGenPrefix& prefix, const RpEntry& rp);
  void takeOver(const IpGenPrefix& zone, const RpCandidateSet& set);
  const VrfName& vrfName() const { return bsrStatus_->vrfName(); }

  const std::shared_ptr<Status> bsrStatus_;
  const std::shared_ptr<RpCandidateStatus> rpCandidateStatus_;
  ZoneServices& services_;
  TrieGen& bsrTrie_;
  SortedBlocks<Owned, PrefixOf> owned_;
  std::uint64_t ownerChanges_ = 0;
  Subscription trieSubscription_;
};

// What each RP of each refresh goes through.

inline bool RpSetMirror::refresh(const Place& place, const IpGenPrefix& zone,
                                 const RpEntry& rp) const {
  if (!place.set || place.asOf != changes() || services_.heldBack(zone) ||
      place.set->parent() != rpCandidateStatus_.get()) {
    return false;
  }
  const auto& copy = place.set->rp(rp.address());
  if (!copy || !alikeButForTime(*copy, rp)) return false;
  copy->expiryTimeIs(rp.expiryTime());
  return true;
}

inline bool RpSetMirror::alikeButForTime(const RpEntry& copy, const RpEntry& rp) {
  return copy.mode() == rp.mode() && copy.priority() == rp.priority() &&
         copy.holdTime() == rp.holdTime() && copy.hashMaskLen() == rp.hashMaskLen() &&
         copy.setupTime() == rp.setupTime();
}

}  // namespace Routing::Pim::Bsr
