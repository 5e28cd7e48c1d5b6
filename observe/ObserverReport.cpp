#include <algorithm>
#include <nlohmann/json.hpp>
#include <tuple>
#include <vector>

#include "observe/Observer.h"
#include "platform/pim/rp/RpSetDigest.h"

namespace Routing::Observe {
namespace {

using nlohmann::json;
constexpr double bsTimeout = 130;  // RFC 5059 section 5

json rpSetJson(const std::vector<Pim::RpMapping>& mappings) {
  json list = json::array();
  for (const Pim::RpMapping& mapping : mappings) {
    list.push_back({{"group-range", mapping.groupRange.text()},
                    {"rp-address", mapping.rp.text()},
                    {"mode", mapping.mode == 2 ? "bidirectional" : "sparse"},
                    {"priority", mapping.priority},
                    {"hash-mask-length", mapping.hashMaskLen}});
  }
  return list;
}

}  // namespace

/// The BSR that routers follow, as far as one can tell: the best that has spoken within BS_Timeout.
const std::pair<const IpGenAddr, Observer::Bsr>* Observer::current(const Zone& zone) const {
  const std::pair<const IpGenAddr, Bsr>* best = nullptr;
  for (const auto& entry : zone) {
    if (entry.second.last + bsTimeout < now_) continue;
    const auto rank = [](const auto& bsr) { return std::tuple(bsr.second.priority, bsr.first); };
    if (best == nullptr || rank(entry) > rank(*best)) best = &entry;
  }
  return best;
}

/// Whether a zone has the say about a range: no zone inside of it that has a BSR contains the
/// range.
bool Observer::served(const IpGenPrefix& zone, const IpGenPrefix& range) const {
  return std::none_of(zones_.begin(), zones_.end(), [&](const auto& other) {
    return other.first != zone && zone.contains(other.first) && other.first.contains(range) &&
           current(other.second) != nullptr;
  });
}

std::vector<Pim::RpMapping> Observer::mappings(AddressFamily af) const {
  std::vector<Pim::RpMapping> all;
  for (const auto& [prefix, zone] : zones_) {
    const auto* bsr = prefix.af() == af ? current(zone) : nullptr;
    if (bsr == nullptr) continue;
    for (const auto& [range, content] : bsr->second.ranges) {
      if (!served(prefix, range)) continue;
      for (const auto& [rp, said] : content.whole) {
        if (said.holdtime == 0 || said.time + said.holdtime < now_) continue;
        const std::uint8_t mode = content.bidir ? 2 : 1;
        all.push_back({range, rp, mode, said.priority, bsr->second.hashMaskLen});
      }
    }
  }
  return all;
}

json Observer::zoneJson(const IpGenPrefix& prefix, const Zone& zone) const {
  json bsrs = json::array(), incomplete = json::array();
  const auto* followed = current(zone);
  for (const auto& [address, bsr] : zone) {
    bsrs.push_back({{"address", address.text()},
                    {"priority", bsr.priority},
                    {"hash-mask-length", bsr.hashMaskLen},
                    {"messages", bsr.messages},
                    {"last-heard", now_ - bsr.last},
                    {"followed", followed != nullptr && followed->first == address}});
    for (const auto& [range, content] : bsr.ranges) {
      if (content.gathered.size() >= content.announced) continue;
      incomplete.push_back({{"bsr", address.text()},
                            {"group-range", range.text()},
                            {"rps-announced", content.announced},
                            {"rps-received", content.gathered.size()}});
    }
  }
  return {{"zone", prefix.text()},
          {"bsrs", std::move(bsrs)},
          {"incomplete-ranges", std::move(incomplete)}};
}

json Observer::advertisementsJson(AddressFamily af) const {
  json list = json::array();
  for (const auto& [rp, said] : advertisers_) {
    if (rp.af() != af) continue;
    json ranges = json::array();
    for (const auto& range : said.ranges) ranges.push_back(range.groupInfo().text());
    list.push_back({{"rp-address", rp.text()},
                    {"source", said.source.text()},
                    {"bsr", said.bsr.text()},
                    {"priority", said.priority},
                    {"holdtime", said.holdtime},
                    {"messages", said.messages},
                    {"last-heard", now_ - said.last},
                    {"group-ranges", std::move(ranges)}});
  }
  return list;
}

json Observer::routersJson(AddressFamily af) const {
  json list = json::array();
  for (const auto& [address, hellos] : routers_) {
    if (address.af() == af) list.push_back({{"address", address.text()}, {"hellos", hellos}});
  }
  return list;
}

json Observer::familyJson(AddressFamily af) const {
  json zones = json::array();
  for (const auto& [prefix, zone] : zones_) {
    if (prefix.af() == af && !zone.empty()) zones.push_back(zoneJson(prefix, zone));
  }
  const auto all = mappings(af);
  return {{"address-family", enumName(af)},
          {"zones", std::move(zones)},
          {"rp-set", rpSetJson(all)},
          {"digest", Pim::rpSetDigestText(Pim::rpSetDigest(all))},
          {"advertisements", advertisementsJson(af)},
          {"routers", routersJson(af)}};
}

json Observer::report() const {
  return {{"packets", packets_},
          {"seconds", now_ - start_},
          {"families", {familyJson(AddressFamily::ipv4), familyJson(AddressFamily::ipv6)}},
          {"bad-packets", bad_},
          {"other-packets", others_},
          {"no-room-for", noRoom_}};
}

}  // namespace Routing::Observe
