#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "bsr/engine/ZoneServices.h"
#include "bsr/types/Status.h"
#include "platform/Export.h"
#include "platform/entity/SortedBlocks.h"
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
///
///   zone's set     range ----------- RP      their reactors: the RP's is its hold timer,
///                    |               |       the range's knows where it stands in PIM's view
///                  range's reactor   RP's reactor
///                    |
///   PIM's set      range ----------- RP
///
/// An RP that is refreshed is written straight there, as long as no zone, owner of a range or part
/// of PIM's set has changed; only else is it looked up who serves the range.
class ROUTING_API RpSetMirror {
 public:
  /// Withdraws an RP of a zone whose hold time has ended, if there is somebody to do it; false if
  /// not: the RP is then deleted.
  using Withdraw = std::function<bool(const IpGenPrefix& zone, RpEntry& rp)>;

  /// Keeps the services' totals up to date; they, the wheel and the trie must outlive the mirror.
  RpSetMirror(std::shared_ptr<Status> bsrStatus,
              std::shared_ptr<RpCandidateStatus> rpCandidateStatus, ZoneServices& services,
              TimerWheel& timerWheel, TrieGen& bsrTrie, Withdraw withdraw);
  RpSetMirror(const RpSetMirror&) = delete;
  RpSetMirror& operator=(const RpSetMirror&) = delete;
  ~RpSetMirror();

  /// Shows PIM what this router's own message for a zone makes of the RP sets of all who hear it,
  /// as far as the zone has a say in them: what it does not mention they keep, unless it is the
  /// BSR's first message.
  void show(const IpGenPrefix& zone, const BootstrapMessage& bsm, bool first);
  /// How many RPs of zones were not advertised within their hold time.
  std::uint64_t expired() const { return expired_; }
  /// Watches nothing any more.
  void retire();

 private:
  class ZoneReactor;
  class SetReactor;
  class RpReactor;
  template <class Reactor>
  class Reactors;

  /// A range that PIM is shown, and the zone that put it there.
  struct Owned {
    IpGenPrefix prefix;
    IpGenPrefix zone;
  };
  struct PrefixOf {
    const IpGenPrefix& operator()(const Owned& owned) const { return owned.prefix; }
  };

  void handleZone(const IpGenPrefix& zone);
  void dropOrphans();
  void handleTrie(const IpGenPrefix& zone);
  void settle(const IpGenPrefix& prefix);
  const IpGenPrefix* ownerOf(const IpGenPrefix& prefix) const;
  bool owns(const IpGenPrefix& zone, const IpGenPrefix& prefix) const;
  bool servesPim(const IpGenPrefix& zone, const IpGenPrefix& match) const;
  bool refresh(const SetReactor& set, const RpEntry& rp) const;
  void mirror(const IpGenPrefix& zone, const IpGenPrefix& prefix, const RpEntry& rp,
              SetReactor* set = nullptr);
  std::shared_ptr<RpCandidateSet> copy(const IpGenPrefix& zone, const IpGenPrefix& prefix,
                                       const RpEntry& rp);
  std::uint64_t changes() const { return bsrTrie_.changes() + ownerChanges_; }
  void ownerIs(const IpGenPrefix& prefix, const IpGenPrefix& zone);
  void ownerDel(const IpGenPrefix& prefix);
  std::vector<IpGenPrefix> owned() const;
  void showRange(const IpGenPrefix& zone, const BootstrapGroupData& group, bool first);
  void mirrorTimes(const IpGenPrefix& zone, const IpGenPrefix& prefix, const RpEntry& rp);
  void mirrorSet(const IpGenPrefix& zone, const RpCandidateSet& set);
  void unmirrorRp(const IpGenPrefix& zone, const IpGenPrefix& prefix, const IpGenAddr& rp);
  void unmirrorSet(const IpGenPrefix& zone, const IpGenPrefix& prefix);
  const VrfName& vrfName() const { return bsrStatus_->vrfName(); }

  std::shared_ptr<Status> bsrStatus_;
  std::shared_ptr<RpCandidateStatus> rpCandidateStatus_;
  ZoneServices& services_;
  TimerWheel& timerWheel_;
  std::uint64_t expired_ = 0;
  TrieGen& bsrTrie_;
  const Withdraw withdraw_;
  SortedBlocks<Owned, PrefixOf> owned_;
  std::uint64_t ownerChanges_ = 0;
  const std::shared_ptr<DeferredDelete> deferred_;
  std::unique_ptr<Reactors<ZoneReactor>> zones_;
  Subscription zoneSubscription_;
  Subscription trieSubscription_;
};

}  // namespace Routing::Pim::Bsr
