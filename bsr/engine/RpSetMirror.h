#pragma once

#include <map>
#include <memory>

#include "bsr/engine/RpSets.h"
#include "bsr/types/Status.h"
#include "platform/Export.h"
#include "platform/time/TimerWheel.h"
#include "platform/trie/TrieGen.h"

namespace Routing::Pim::Bsr {

/// Watches the RP sets of all zones: ends each RP with its hold time, and keeps PIM's group-to-RP
/// set equal to what the most specific zone of every group range says.
///
/// A range in PIM's set remembers the zone that put it there. A more specific zone that gains or
/// loses its BSR takes its ranges over or gives them back; a zone whose BSR fell silent keeps its
/// still valid mappings until they expire. So no RP stays in PIM's view beyond its hold time, and
/// no range of a zone is served by what a wider zone says of it. PIM's set is taken over at
/// construction: what no zone accounts for goes.
class ROUTING_API RpSetMirror {
 public:
  /// Keeps `totals` up to date; it, the sets, the wheel and the trie must outlive the mirror.
  RpSetMirror(std::shared_ptr<Status> bsrStatus,
              std::shared_ptr<RpCandidateStatus> rpCandidateStatus, const RpSets& rpSets,
              RpSetTotals& totals, TimerWheel& timerWheel, TrieGen& bsrTrie);
  RpSetMirror(const RpSetMirror&) = delete;
  RpSetMirror& operator=(const RpSetMirror&) = delete;
  ~RpSetMirror();

 private:
  class ZoneReactor;
  class SetReactor;
  class RpReactor;

  void handleZone(const IpGenPrefix& zone);
  void dropOrphans();
  void handleTrie(const IpGenPrefix& zone);
  void settle(const IpGenPrefix& prefix);
  bool owns(const IpGenPrefix& zone, const IpGenPrefix& prefix) const;
  void mirror(const IpGenPrefix& zone, const IpGenPrefix& prefix, const RpEntry& rp);
  void mirrorSet(const IpGenPrefix& zone, const RpCandidateSet& set);
  void unmirrorRp(const IpGenPrefix& zone, const IpGenPrefix& prefix, const IpGenAddr& rp);
  void unmirrorSet(const IpGenPrefix& zone, const IpGenPrefix& prefix);
  const VrfName& vrfName() const { return bsrStatus_->vrfName(); }

  std::shared_ptr<Status> bsrStatus_;
  std::shared_ptr<RpCandidateStatus> rpCandidateStatus_;
  const RpSets& rpSets_;
  RpSetTotals& totals_;
  TimerWheel& timerWheel_;
  TrieGen& bsrTrie_;
  std::map<IpGenPrefix, IpGenPrefix> owner_;  // mirrored range -> zone that put it there
  std::map<IpGenPrefix, std::unique_ptr<ZoneReactor>> zone_;
  Subscription zoneSubscription_;
  Subscription trieSubscription_;
};

}  // namespace Routing::Pim::Bsr
