#include "sim/invariants/NoStorms.h"

#include "sim/core/Digest.h"
#include "sim/invariants/BsmPeek.h"

namespace Routing::Sim {
namespace {

constexpr double minute = 60.0;
constexpr std::size_t routine = 6;   // an elected BSR sends every 10 seconds at the most
constexpr std::size_t repeated = 2;  // a network may repeat packets, and both are passed on

}  // namespace

void NoStorms::Tally::add(const Packet& packet, std::uint16_t fragmentTag) {
  Digest digest;
  digest.add(std::span(*packet.payload));
  Copies& copies = byTag_[fragmentTag];
  const std::size_t count = ++copies.ofFragment[digest.value()];
  if (count <= copies.most) return;
  copies.most = count;
  ++messages_;
}

void NoStorms::transmitted(const Packet& packet) {
  if (!packet.is(Pim::PimType::bootstrap)) return;
  const auto bsm = peekBsm(*packet.payload, true);
  if (!bsm) return;
  const Place place(packet.sender, packet.network, bsm->zone());
  if (world().now() - minuteBegan_ >= minute) {
    minute_.clear();
    minuteBegan_ = world().now();
  }
  event_[{place, bsm->bsr}].add(packet, bsm->fragmentTag);
  minute_[place].add(packet, bsm->fragmentTag);
}

void NoStorms::settled(const std::vector<RouterId>&) {
  for (const auto& [voice, tally] : event_) {
    const Place& place = voice.first;
    judge(place, tally.messages(), minute_[place].messages());
  }
  event_.clear();
}

void NoStorms::judge(const Place& place, std::size_t atOnce, std::size_t inMinute) {
  const auto& name = nameOf(std::get<0>(place));
  if (atOnce > mostPerEvent) {
    violated(name + " sends " + std::to_string(atOnce) +
             " Bootstrap messages at once on one interface");
  } else if (inMinute > routine && inMinute > mostPerMinute(place)) {
    violated(name + " sends " + std::to_string(inMinute) +
             " Bootstrap messages within a minute on one interface");
  }
}

// At worst all candidates are elected at one instant, and each answers every worse one before the
// best one's message reaches it. A neighbour that appears is sent one message more.
std::size_t NoStorms::mostPerMinute(const Place& place) const {
  const auto& [router, network, zone] = place;
  std::size_t candidates = 0;
  for (RouterId id = 0; id < world().topology().routers().size(); ++id) {
    candidates += world().speaker(id, zone.af()).duties().zones.contains(zone);
  }
  const std::size_t neighbors = world().topology().network(network).members.size() - 1;
  return repeated * (routine + neighbors + candidates * (candidates + 1) / 2);
}

}  // namespace Routing::Sim
