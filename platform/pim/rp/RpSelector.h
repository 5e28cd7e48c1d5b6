#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include "platform/Export.h"
#include "platform/pim/RpCandidateStatus.h"
#include "platform/pim/rp/RpSelection.h"
#include "platform/time/TimerWheel.h"

namespace Routing::Pim {

/// The mappings of one group range; none if nobody serves it.
using MappingsOf = std::function<std::vector<RpMapping>(const IpGenPrefix& range)>;

/// Chooses the RP of a group as selectRp() does from all mappings, in as many look-ups as an
/// address has bits. The contenders are those of the longest range alone.
ROUTING_API RpChoice selectRp(const IpGenAddr& group, const MappingsOf& mappingsOf);
ROUTING_API RpChoice selectRp(const IpGenAddr& group, const RpCandidateStatus& status);

/// Answers which RP serves a group, and tells when the answer for a watched group changes.
///
/// It tells once a change has settled: at the next turn of the timer wheel, for which it is due at
/// once. An answer that was another one in between is not told.
class ROUTING_API RpSelector {
 public:
  /// Is given nothing where no RP serves the group any more. It may do anything but destroy the
  /// selector.
  using Changed = std::function<void(const IpGenAddr& group, const std::optional<RpMapping>& rp)>;

  /// The wheel must outlive the selector.
  RpSelector(std::shared_ptr<const RpCandidateStatus> status, TimerWheel& wheel);
  RpSelector(const RpSelector&) = delete;
  RpSelector& operator=(const RpSelector&) = delete;
  ~RpSelector() = default;

  std::optional<RpMapping> selectRp(const IpGenAddr& group) const;

  /// The present answer; `changed` runs whenever it becomes another one. One a group: the last.
  std::optional<RpMapping> watch(const IpGenAddr& group, Changed changed);
  void unwatch(const IpGenAddr& group) { watched_.erase(group); }

 private:
  struct Watched {
    std::optional<RpMapping> rp;
    Changed changed;
  };

  void note(const TreeChange& change);
  void settle();

  const std::shared_ptr<const RpCandidateStatus> status_;
  std::map<IpGenAddr, Watched> watched_;
  std::set<IpGenPrefix> touched_;
  Timer settled_;
  Subscription changes_;
};

}  // namespace Routing::Pim
