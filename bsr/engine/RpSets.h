#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "bsr/types/Limits.h"
#include "bsr/types/Status.h"
#include "platform/Export.h"

namespace Routing::Pim::Bsr {

/// RPs of one range that a Bootstrap message can tell of: its count fields have 8 bits.
constexpr std::size_t maxRpsOfRange = 255;

/// How many group ranges and RPs the RP sets of all zones hold together.
struct RpSetTotals {
  std::size_t groups = 0;
  std::size_t rps = 0;
};

/// The RP sets of all zones, with the bounds on what others can make this router hold.
class ROUTING_API RpSets {
 public:
  /// `totals` is kept up to date by whoever watches the RP sets, and must outlive this object.
  RpSets(std::shared_ptr<Status> bsrStatus, std::shared_ptr<PimBsrLimits> limits,
         const RpSetTotals& totals);

  /// The set of a group range in a zone; null if there is none.
  std::shared_ptr<RpCandidateSet> find(const IpGenPrefix& zone, const IpGenPrefix& prefix) const;

  /// All sets of a zone; null if it has none. The reference is good until any set changes.
  const std::shared_ptr<RpCandidateStatus>& setsOf(const IpGenPrefix& zone) const;

  /// True if they still stand where setsOf() found them.
  bool holds(const RpCandidateStatus& sets) const {
    const Entity* const zone = sets.parent();  // what was deleted has no parent there
    return zone != nullptr && zone->parent() == bsrStatus_.get();
  }

  /// The sets of all ranges of a zone, in the order of their prefixes.
  std::vector<std::shared_ptr<RpCandidateSet>> ofZone(const IpGenPrefix& zone) const;

  /// False, counted and traced, if the bounds leave no room for one more.
  bool roomForSet(const IpGenPrefix& zone, const IpGenPrefix& prefix);
  bool roomForRp(const IpGenPrefix& prefix, const IpGenAddr& rp);

  /// The set of a group range in a zone, made if need be, with all that holds it.
  std::shared_ptr<RpCandidateSet> create(const IpGenPrefix& zone, const IpGenPrefix& prefix);

  /// Deletes the sets of a zone that hold no RP, which no hold time would end.
  void forgetEmpty(const IpGenPrefix& zone);

 private:
  const VrfName& vrfName() const { return bsrStatus_->vrfName(); }

  std::shared_ptr<Status> bsrStatus_;
  std::shared_ptr<PimBsrLimits> limits_;
  const RpSetTotals& totals_;
};

}  // namespace Routing::Pim::Bsr
