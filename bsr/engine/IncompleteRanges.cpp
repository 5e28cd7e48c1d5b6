#include "bsr/engine/IncompleteRanges.h"

namespace Routing::Pim::Bsr {

void IncompleteRanges::messageIs(const IpGenPrefix& zone, std::uint16_t tag) {
  const auto known = zones_.find(zone);
  if (known == zones_.end() || known->second.tag == tag) return;
  Zone& entry = known->second;
  entry.tagBefore = entry.tag;
  entry.tag = tag;
  std::erase_if(entry.ranges,
                [&](const auto& range) { return range.second.tag != entry.tagBefore; });
  if (entry.ranges.empty()) zones_.erase(known);
}

void IncompleteRanges::rangeIs(const IpGenPrefix& zone, const IpGenPrefix& prefix,
                               const IncompleteRange& range, std::size_t most) {
  const auto [entry, added] = zones_.try_emplace(zone);
  if (added) entry->second.tag = range.tag;
  Ranges& ranges = entry->second.ranges;
  const auto known = ranges.find(prefix);
  if (known == ranges.end()) {
    std::size_t remembered = 0;
    for (const auto& other : zones_) remembered += other.second.ranges.size();
    if (remembered < most) ranges.emplace(prefix, range);
    if (ranges.empty()) zones_.erase(entry);
    return;
  }
  const double since = known->second.since;
  known->second = range;
  known->second.since = since;
}

void IncompleteRanges::rangeDel(const IpGenPrefix& zone, const IpGenPrefix& prefix) {
  const auto known = zones_.find(zone);
  if (known == zones_.end()) return;
  known->second.ranges.erase(prefix);
  if (known->second.ranges.empty()) zones_.erase(known);
}

const IncompleteRanges::Ranges& IncompleteRanges::ranges(const IpGenPrefix& zone) const {
  static const Ranges none;
  const auto known = zones_.find(zone);
  return known == zones_.end() ? none : known->second.ranges;
}

}  // namespace Routing::Pim::Bsr
