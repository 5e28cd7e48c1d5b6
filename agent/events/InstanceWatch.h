#pragma once

#include <map>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "agent/events/EventBook.h"
#include "bsr/types/Limits.h"
#include "bsr/types/MessageStatus.h"
#include "bsr/types/Status.h"
#include "platform/net/SourceIntfSm.h"
#include "platform/pim/PimStatus.h"
#include "platform/pim/RpCandidateStatus.h"
#include "platform/time/TimerWheel.h"

namespace Routing::Agent {

/// What an instance is to be watched for. No pointer is null.
struct WatchedInstance {
  std::shared_ptr<const Pim::PimStatus> pimStatus;
  std::shared_ptr<const Pim::Bsr::Status> status;
  std::shared_ptr<const Pim::RpCandidateStatus> rpCandidate;
  std::shared_ptr<const Pim::Bsr::PimBsrLimits> limits;
  std::shared_ptr<const Pim::Bsr::PimCrpMsgStatus> crpMessages;
  std::shared_ptr<const SourceIntfSm> sourceIntfSm;
  std::function<std::set<IpGenPrefix>()> zones;  ///< those that have a machine
};

/// Makes events of what has changed in an instance from the end of one turn of the event loop to
/// the end of the next. What comes and goes again within a turn is none, and what stays as it is
/// says nothing.
class InstanceWatch {
 public:
  /// The wheel must outlive the watch. `sink` is told of every event, in settle().
  InstanceWatch(WatchedInstance watched, TimerWheel& wheel, bool resumed, EventSink sink);
  InstanceWatch(const InstanceWatch&) = delete;
  InstanceWatch& operator=(const InstanceWatch&) = delete;

  /// Call at the end of a turn.
  void settle();
  /// What operators clear in this turn is no fault of the network.
  void clearing() { clearing_ = true; }

  const EventBook& book() const { return book_; }

 private:
  /// The BSR of a zone as it was last. The record keeps its instants when it is deleted.
  struct Bsr {
    std::shared_ptr<const Pim::Bsr::ElectedBsrStatus> record;
    IpGenAddr address;
    std::uint16_t priority = 0;
    bool local = false;
  };
  struct Candidate {
    IpGenAddr address;
    IntfId intf;
    friend bool operator==(const Candidate&, const Candidate&) = default;
  };
  struct Neighbor {
    std::shared_ptr<const Pim::PimNeighbor> record;
    double setupTime = 0.0;
    std::uint32_t generationId = 0;
  };
  using NeighborKey = std::pair<IntfId, IpGenAddr>;
  using Bsrs = std::map<IpGenPrefix, Bsr>;
  using CandidateBsrs = std::map<IpGenPrefix, Candidate>;
  using CandidateRps = std::map<IpGenAddr, Candidate>;
  using Neighbors = std::map<NeighborKey, Neighbor>;

  void handleChange(const TreeChange& change);
  void handleAdvertisement();
  void handleRpSet();

  Bsrs bsrs() const;
  CandidateBsrs candidateBsrs() const;
  CandidateRps candidateRps() const;
  Neighbors neighbors() const;

  void settleZones();
  void settleBsrs();
  void settleBsr(const IpGenPrefix& zone, const Bsr* before, const Bsr* now);
  EventCause successionCause(const Bsr& before, const Bsr& now) const;
  EventCause goneCause(const Bsr& before) const;
  void settleCandidates();
  EventCause stopCause(const IntfId& intf) const;
  void settleNeighbors();
  EventCause lossCause(const NeighborKey& key, const Neighbor& before) const;
  void settleLimits();
  void settleRpSet();
  void settleAdvertisers();
  void tell(Event event);

  const WatchedInstance watched_;
  TimerWheel& wheel_;
  const EventSink sink_;
  EventBook book_;

  bool changed_ = true;
  bool resumed_;
  bool clearing_ = false;
  std::set<IpGenPrefix> zones_;
  Bsrs bsrs_;
  CandidateBsrs candidateBsrs_;
  CandidateRps candidateRps_;
  Neighbors neighbors_;

  struct Refusals {
    std::uint32_t count = 0;
    double last = -1e9;
  };
  std::vector<Refusals> refusals_;
  Timer rpSetTimer_;  // armed from a change until its event
  bool rpSetDue_ = false;
  std::uint64_t digest_ = 0;

  using Advertiser = std::pair<IpGenAddr, IpGenAddr>;  // of this RP, from this address
  std::set<Advertiser> knownAdvertisers_;
  std::vector<Advertiser> newAdvertisers_;
  std::vector<Subscription> subscriptions_;
};

}  // namespace Routing::Agent
