#include "sim/report/Timeline.h"

#include "sim/core/Drops.h"

namespace Routing::Sim {
namespace {

constexpr double together = 2.0;  // seconds within which equal happenings are one
constexpr std::size_t mostRpsNamed = 6;
using Kind = Happening::Kind;

const ZoneBelief& orNothing(const ZoneBelief* belief) {
  static const ZoneBelief nothing;
  return belief != nullptr ? *belief : nothing;
}

std::string dropText(const std::string& reason) {
  return "drops messages: " + reason;
}

}  // namespace

Timeline::Timeline(World& world, Beliefs& beliefs) : world_(world), beliefs_(beliefs) {
  world.observerIs(*this);
  beliefs.listenerIs([this](RouterId router, AddressFamily af, const Belief& before) {
    changed(router, af, before);
  });
}

std::string Timeline::nameOf(const IpGenAddr& address) const {
  const auto* owner = world_.routes().owner(address);
  if (owner == nullptr) return address.text();
  return address.text() + " (" + world_.topology().router(owner->router).name + ")";
}

void Timeline::note(Kind kind, const std::string& text, RouterId router) {
  const double now = world_.now();
  const std::string& name = world_.topology().router(router).name;
  const auto known = open_.find(text);
  if (known != open_.end() && now - happenings_[known->second].at <= together) {
    Happening& happening = happenings_[known->second];
    happening.last = now;
    happening.routers.push_back(name);
    return;
  }
  open_[text] = happenings_.size();
  happenings_.push_back({now, kind, text, {name}, now});
}

void Timeline::disturbed(std::string_view what) {
  happenings_.push_back({world_.now(), Kind::script, std::string(what), {}, world_.now()});
}

void Timeline::changed(RouterId router, AddressFamily af, const Belief& before) {
  const Belief& now = beliefs_.of(router, af);
  for (const ZoneBelief& is : now.zones) {
    zoneChanged(router, af, orNothing(before.zone(is.zone)), is);
  }
  for (const ZoneBelief& was : before.zones) {
    if (now.zone(was.zone) != nullptr) continue;
    ZoneBelief gone;
    gone.zone = was.zone;
    zoneChanged(router, af, was, gone);
  }
}

void Timeline::zoneChanged(RouterId router, AddressFamily af, const ZoneBelief& was,
                           const ZoneBelief& is) {
  if (!world_.up(router)) return;
  const std::string zone = is.zone.text();
  if (was.elected != is.elected) {
    note(Kind::election, (is.elected ? "elected BSR of " : "no longer BSR of ") + zone, router);
  }
  if (was.bsr != is.bsr || (was.priority != is.priority && !is.bsr.isUnset())) {
    const std::string who =
        is.bsr.isUnset() ? "none" : nameOf(is.bsr) + ", priority " + std::to_string(is.priority);
    note(Kind::bsr, "BSR of " + zone + " is " + who, router);
  }
  if (was.rpDigest == is.rpDigest) return;
  note(Kind::rpSet, "RPs of " + zone + ": " + rpSetText(world_.speaker(router, af), is.zone),
       router);
}

std::string Timeline::rpSetText(const Speaker& speaker, const IpGenPrefix& zone) const {
  const auto& status = speaker.status()->crpStatus(zone);
  if (!status || !status->status()) return "none";
  std::set<IpGenAddr> rps;
  std::size_t ranges = 0;
  for (const auto& [range, set] : status->status()->crpSet()) {
    ranges += !set->rp().empty();
    for (const auto& [address, rp] : set->rp()) rps.insert(address);
  }
  if (rps.empty()) return "none";
  std::string text;
  if (rps.size() > mostRpsNamed) {
    text = std::to_string(rps.size()) + " RPs";
  } else {
    for (const IpGenAddr& rp : rps) text += (text.empty() ? "" : ", ") + nameOf(rp);
  }
  return text + (ranges > 1 ? " in " + std::to_string(ranges) + " ranges" : "");
}

// --- drops ------------------------------------------------------------------------------------

void Timeline::delivering(const Packet& packet, RouterId to) {
  heard_.emplace_back(to, packet.af);
}

void Timeline::settled(const std::vector<RouterId>&) {
  for (const auto& [router, af] : heard_) noteDrops(router, af);
  heard_.clear();
}

void Timeline::noteDrops(RouterId router, AddressFamily af) {
  const Speaker& speaker = world_.speaker(router, af);
  if (!speaker.running()) return;
  for (const auto& [reason, count] : dropsOf(speaker)) {
    if (dropsNoted_.emplace(router, reason).second) note(Kind::drop, dropText(reason), router);
  }
}

}  // namespace Routing::Sim
