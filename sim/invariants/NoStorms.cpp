#include "sim/invariants/NoStorms.h"

#include <algorithm>

#include "sim/invariants/BsmPeek.h"

namespace Routing::Sim {
namespace {

constexpr std::uint8_t bootstrapType = 4;
constexpr double minute = 60.0;

}  // namespace

void NoStorms::transmitted(const Packet& packet) {
  if (packet.type() != bootstrapType) return;
  const auto bsm = peekBsm(*packet.payload, true);
  if (!bsm) return;
  const Place place(packet.sender, packet.network, bsm->zone());
  event_[place].insert(bsm->fragmentTag);
}

void NoStorms::settled(const std::vector<RouterId>&) {
  if (world().now() - minuteBegan_ >= minute) {
    minute_.clear();
    minuteBegan_ = world().now();
  }
  for (const auto& [place, tags] : event_) {
    const std::set<std::uint16_t> messages(tags.begin(), tags.end());
    Tally& tally = minute_[place];
    tally.packets += tags.size();
    for (const std::uint16_t tag : messages) {
      tally.fragments = std::max(tally.fragments, tags.count(tag));
    }
    const auto& name = nameOf(std::get<0>(place));
    if (messages.size() > mostPerEvent) {
      violated(name + " sends " + std::to_string(messages.size()) +
               " Bootstrap messages at once on one interface");
    } else if (tally.packets > mostPerMinute * tally.fragments) {
      violated(name + " sends " + std::to_string(tally.packets) +
               " Bootstrap messages within a minute on one interface");
    }
  }
  event_.clear();
}

}  // namespace Routing::Sim
