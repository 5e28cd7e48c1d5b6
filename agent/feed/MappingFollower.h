#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string_view>
#include <utility>

#include "agent/view/AgentView.h"
#include "platform/pim/rp/RpSelection.h"

namespace Routing::Agent {

/// A mapping in use, and the zone whose BSR announces it.
struct FollowedMapping {
  Pim::RpMapping mapping;
  IpGenPrefix zone;

  friend bool operator==(const FollowedMapping&, const FollowedMapping&) = default;
};

/// One settled change of the mappings of one instance.
struct MappingChange {
  std::string_view operation;  ///< "add", "update" or "remove"
  const FollowedMapping& mapping;
  std::uint64_t generation;  ///< how many changes there were, this one included
  std::uint64_t digest;      ///< of all mappings after this change
};

/// The mappings of one VRF and family as they were told last, and the ranges that may have changed
/// since. An RP whose times are not set yet is still being written and not followed.
class MappingFollower {
 public:
  using Told = std::map<std::pair<IpGenPrefix, IpGenAddr>, FollowedMapping>;
  using Tell = std::function<void(const MappingChange&)>;

  /// What there is now has still to be told.
  explicit MappingFollower(const InstanceView& view);

  bool follows(const InstanceView& view) const { return view.rpCandidate == rps_; }
  Pim::RpSetType origin() const { return rps_->rpSetType(); }
  const Told& told() const { return told_; }
  std::uint64_t generation() const { return generation_; }
  std::uint64_t digest() const { return digest_; }

  /// Tells every difference between now and what was told before, range by range.
  void settle(const Tell& tell);
  /// The instance has gone: tells that its mappings have, too.
  void end(const Tell& tell);

 private:
  void note(const TreeChange& change);
  void settleRange(const IpGenPrefix& range, const Tell& tell);
  void settleRp(const IpGenPrefix& range, const Pim::RpEntry& rp, const Tell& tell);
  IpGenPrefix zoneOf(const IpGenPrefix& range, const IpGenAddr& rp) const;
  void remove(Told::iterator entry, const Tell& tell);
  void tellChange(const Tell& tell, std::string_view operation, const FollowedMapping& mapping);

  const std::shared_ptr<const Pim::RpCandidateStatus> rps_;
  const std::shared_ptr<const Pim::Bsr::Status> status_;
  Told told_;
  std::set<IpGenPrefix> touched_;
  std::uint64_t generation_ = 0;
  std::uint64_t digest_ = 0;
  Subscription changes_;
};

}  // namespace Routing::Agent
