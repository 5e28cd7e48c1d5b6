#include "sim/invariants/MessageRules.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

#include "sim/core/Digest.h"
#include "sim/core/World.h"
#include "sim/invariants/BsmPeek.h"
#include "sim/invariants/Invariant.h"

namespace Routing::Sim {
namespace {

// --- borders hold ----------------------------------------------------------------------------

/// No Bootstrap message of a zone leaves or is accepted on an interface that is a border of it (RFC
/// 5059 section 3.4).
class BordersHold final : public Invariant {
 public:
  BordersHold(World& world, std::vector<Violation>& violations)
      : Invariant("borders hold", world, violations) {}
  void transmitted(const Packet& packet) override;
  void delivering(const Packet& packet, RouterId to) override;
  void settled(const std::vector<RouterId>& touched) override;

 private:
  struct Arrived {
    RouterId router;
    AddressFamily af;
    std::uint32_t accepted;  // messages accepted before this one
  };
  bool border(RouterId router, const Packet& packet) const;

  std::optional<Arrived> atBorder_;  // during the event
};

bool BordersHold::border(RouterId router, const Packet& packet) const {
  if (!packet.is(Pim::PimType::bootstrap)) return false;
  const Duties& duties = world().speaker(router, packet.af).duties();
  if (duties.borders.empty()) return false;
  const auto bsm = peekBsm(*packet.payload, true);
  return bsm && !duties.passes(world().topology().network(packet.network).intfOf(router).text(),
                               bsm->zone());
}

void BordersHold::transmitted(const Packet& packet) {
  if (border(packet.sender, packet)) {
    violated(nameOf(packet.sender) + " sends a Bootstrap message across its border " +
             world().topology().network(packet.network).name);
  }
}

void BordersHold::delivering(const Packet& packet, RouterId to) {
  if (!border(to, packet)) return;
  const Speaker& speaker = world().speaker(to, packet.af);
  if (!speaker.running()) return;
  atBorder_ = {to, packet.af, speaker.status()->counters()->rxBsmSuccess()};
}

void BordersHold::settled(const std::vector<RouterId>&) {
  if (!atBorder_) return;
  const Speaker& speaker = world().speaker(atBorder_->router, atBorder_->af);
  if (speaker.status()->counters()->rxBsmSuccess() != atBorder_->accepted) {
    violated(nameOf(atBorder_->router) + " accepts a Bootstrap message on a border");
  }
  atBorder_.reset();
}

// --- groups complete -------------------------------------------------------------------------

constexpr double memory = 60.0;  // seconds; beyond the life of a fragment

/// No RP set is taken from a group range of which fragments are missing (RFC 5059 section 4.1.1):
/// while a router has not received all RPs of a range under one fragment tag, a fragment leaves the
/// RPs of that range as they were.
class GroupsComplete final : public Invariant {
 public:
  GroupsComplete(World& world, std::vector<Violation>& violations)
      : Invariant("groups complete", world, violations) {}
  void delivering(const Packet& packet, RouterId to) override;
  void settled(const std::vector<RouterId>& touched) override;

 private:
  using Key = std::tuple<RouterId, IpGenAddr, std::uint16_t, IpGenPrefix>;
  using RpSet = std::set<std::pair<IpGenAddr, double>>;  // with the expiry of each
  struct Incomplete {
    RouterId router;
    AddressFamily af;
    IpGenPrefix zone;
    IpGenPrefix range;
    std::set<IpGenAddr> announced;
    RpSet before;
  };
  RpSet rpsOf(const Incomplete& at) const;
  void forget();

  struct Received {
    std::set<IpGenAddr> rps;
    double last = 0.0;
  };

  BsmReader bsms_{BsmReader::Part::whole};
  std::map<Key, Received> received_;
  std::vector<Incomplete> incomplete_;  // during the event
  double forgotten_ = 0.0;
};

void GroupsComplete::delivering(const Packet& packet, RouterId to) {
  if (!packet.is(Pim::PimType::bootstrap) || !world().speaker(to, packet.af).running()) return;
  const auto& bsm = bsms_.read(packet.payload);
  if (!bsm) return;
  for (const BsmPeek::Group& group : bsm->groups) {
    if (group.fragRpCount == group.rpCount || group.fragRpCount == 0) continue;
    Received& received = received_[{to, bsm->bsr, bsm->fragmentTag, group.range}];
    received.rps.insert(group.rps.begin(), group.rps.end());
    received.last = world().now();
    if (received.rps.size() >= group.rpCount) continue;
    incomplete_.push_back({to,
                           packet.af,
                           bsm->zone(),
                           group.range,
                           std::set<IpGenAddr>(group.rps.begin(), group.rps.end()),
                           {}});
    incomplete_.back().before = rpsOf(incomplete_.back());
  }
}

void GroupsComplete::settled(const std::vector<RouterId>&) {
  for (const Incomplete& at : incomplete_) {
    if (!world().speaker(at.router, at.af).running()) continue;
    for (const auto& rp : rpsOf(at)) {
      const bool ends = rp.second <= world().instant();  // a BSR withdraws it with its answer
      if (!ends && at.announced.contains(rp.first) && !at.before.contains(rp)) {
        violated(nameOf(at.router) + " uses RP " + rp.first.text() + " of the incomplete range " +
                 at.range.text());
        break;
      }
    }
  }
  incomplete_.clear();
  forget();
}

GroupsComplete::RpSet GroupsComplete::rpsOf(const Incomplete& at) const {
  RpSet result;
  const auto& zone = world().speaker(at.router, at.af).status()->crpStatus(at.zone);
  const auto set = zone && zone->status() ? zone->status()->crpSet(at.range) : nullptr;
  if (!set) return result;
  for (const auto& [address, rp] : set->rp()) result.emplace(address, rp->expiryTime());
  return result;
}

void GroupsComplete::forget() {
  if (world().now() - forgotten_ < memory) return;
  forgotten_ = world().now();
  std::erase_if(received_,
                [&](const auto& entry) { return world().now() - entry.second.last > memory; });
}

// --- counters add up -------------------------------------------------------------------------

/// Every message is counted, once, as a success or as an error with its reason. A range of an
/// accepted advertisement that no zone takes counts as an error on top.
class CountersAddUp final : public Invariant {
 public:
  CountersAddUp(World& world, std::vector<Violation>& violations)
      : Invariant("counters add up", world, violations) {}
  void transmitted(const Packet& packet) override { note(packet.sender, packet); }
  void delivering(const Packet& packet, RouterId to) override { note(to, packet); }
  void settled(const std::vector<RouterId>& touched) override;

 private:
  void note(RouterId router, const Packet& packet);
  void check(RouterId router, AddressFamily af);

  std::vector<std::pair<RouterId, AddressFamily>> concerned_;  // during the event
};

void CountersAddUp::note(RouterId router, const Packet& packet) {
  if (packet.is(Pim::PimType::hello)) return;
  const std::pair who(router, packet.af);
  if (concerned_.empty() || concerned_.back() != who) concerned_.push_back(who);
}

void CountersAddUp::settled(const std::vector<RouterId>&) {
  for (const auto& [router, af] : concerned_) check(router, af);
  concerned_.clear();
}

void CountersAddUp::check(RouterId router, AddressFamily af) {
  const auto& counters = world().speaker(router, af).status()->counters();
  const auto& errors = counters->errCounters();
  const auto expect = [&](std::uint32_t is, std::uint32_t must, const char* rule) {
    if (is == must) return;
    violated(nameOf(router) + ": " + rule + " is " + std::to_string(is) + ", not " +
             std::to_string(must));
  };
  expect(counters->rxSuccess() + counters->rxError(), counters->rx() + errors.rxScopeMismatch(),
         "rxSuccess + rxError");
  expect(errors.rxFilter() + errors.rxNbrRpfCheck() + errors.rxNoForwardBsm() +
             errors.rxUnicastBsm() + errors.rxScopeMismatch() + errors.rxInvalid(),
         counters->rxError(), "the sum of all reasons");
  expect(counters->rxBsmSuccess() + counters->rxBsmError(), counters->rxBsm(),
         "rxBsmSuccess + rxBsmError");
  if (counters->txSuccess() + counters->txError() < counters->tx()) {
    violated(nameOf(router) + ": txSuccess + txError is less than tx");
  }
}

// --- no storms -------------------------------------------------------------------------------

constexpr double minuteLength = 60.0;  // seconds
constexpr std::size_t routine = 6;     // an elected BSR sends every 10 seconds at the most
constexpr std::size_t repeated = 2;    // a network may repeat packets, and both are passed on

/// Bootstrap messages are bounded. One event, be it a message, a timer or a change of
/// configuration, makes a router send at most one message of a zone and BSR on an interface:
/// nothing multiplies but by the number of interfaces. And the messages of a zone on an interface
/// within a minute are bounded by the number of its candidates (docs/decisions/election.md). The
/// fragments of one message count as one.
class NoStorms final : public Invariant {
 public:
  static constexpr std::size_t mostPerEvent = 1;  ///< on one interface, for each zone

  NoStorms(World& world, std::vector<Violation>& violations);
  void transmitted(const Packet& packet) override;
  void settled(const std::vector<RouterId>& touched) override;

 private:
  struct Place {
    RouterId router;
    NetworkId network;
    IpGenPrefix zone;

    friend bool operator==(const Place&, const Place&) = default;
  };

  /// Counts messages. The fragments of one, which differ, count once; what is sent again counts
  /// again.
  class Tally {
   public:
    void add(std::uint16_t fragmentTag, std::uint64_t octets);
    std::size_t messages() const { return messages_; }
    void clear();

   private:
    struct Fragment {
      std::uint64_t octets = 0;  // a digest of them
      std::uint32_t copies = 0;
      std::uint16_t tag = 0;
    };
    Fragment first_;  // mostly the only one
    std::vector<Fragment> others_;
    std::uint32_t messages_ = 0;
  };
  struct Minute {
    Tally tally;
    std::uint32_t number = 0;
  };
  /// What one event sends in one place in the name of one BSR.
  struct Voice {
    Place place;
    IpGenAddr bsr;
    Minute* minute;
    Tally tally;
  };

  Voice& voiceOf(const Place& place, const IpGenAddr& bsr);
  Minute& minuteAt(const Place& place);
  std::uint64_t digestOf(const Payload& payload);
  void judge(const Place& place, std::size_t atOnce, std::size_t inMinute);
  std::size_t mostPerMinute(const Place& place) const;

  BsmReader bsms_{BsmReader::Part::head};
  Payload lastPayload_;
  std::uint64_t lastDigest_ = 0;
  std::vector<Voice> event_;
  std::vector<std::size_t> firstPlace_;  // of each network's members, counted over all networks
  std::map<IpGenPrefix, std::vector<Minute>> minutes_;  // by zone, then by place
  std::uint32_t minuteNumber_ = 1;
  double minuteBegan_ = 0.0;
};

NoStorms::NoStorms(World& world, std::vector<Violation>& violations)
    : Invariant("no storms", world, violations), firstPlace_{0} {
  for (const NetworkPlan& network : world.topology().networks()) {
    firstPlace_.push_back(firstPlace_.back() + network.members.size());
  }
}

void NoStorms::Tally::add(std::uint16_t fragmentTag, std::uint64_t octets) {
  Fragment* found = nullptr;
  std::uint32_t most = 0;  // copies of one fragment of the message
  const auto look = [&](Fragment& fragment) {
    if (fragment.copies == 0 || fragment.tag != fragmentTag) return;
    most = std::max(most, fragment.copies);
    if (fragment.octets == octets) found = &fragment;
  };
  look(first_);
  for (Fragment& fragment : others_) look(fragment);
  if (found == nullptr) {
    found = first_.copies == 0 ? &first_ : &others_.emplace_back();
    *found = {octets, 0, fragmentTag};
  }
  if (++found->copies > most) ++messages_;
}

void NoStorms::Tally::clear() {
  first_ = {};
  others_.clear();
  messages_ = 0;
}

void NoStorms::transmitted(const Packet& packet) {
  if (!packet.is(Pim::PimType::bootstrap)) return;
  const auto& bsm = bsms_.read(packet.payload);
  if (!bsm) return;
  const Place place{packet.sender, packet.network, bsm->zone()};
  if (world().now() - minuteBegan_ >= minuteLength) {
    ++minuteNumber_;
    minuteBegan_ = world().now();
  }
  const std::uint64_t octets = digestOf(packet.payload);
  Voice& voice = voiceOf(place, bsm->bsr);
  voice.tally.add(bsm->fragmentTag, octets);
  Minute& minute = *voice.minute;
  if (std::exchange(minute.number, minuteNumber_) != minuteNumber_) minute.tally.clear();
  minute.tally.add(bsm->fragmentTag, octets);
}

NoStorms::Voice& NoStorms::voiceOf(const Place& place, const IpGenAddr& bsr) {
  const auto known = std::find_if(event_.begin(), event_.end(), [&](const Voice& voice) {
    return voice.place == place && voice.bsr == bsr;
  });
  if (known != event_.end()) return *known;
  return event_.emplace_back(Voice{place, bsr, &minuteAt(place), {}});
}

NoStorms::Minute& NoStorms::minuteAt(const Place& place) {
  std::vector<Minute>& minutes = minutes_[place.zone];
  if (minutes.empty()) minutes.resize(firstPlace_.back());
  const std::size_t member = world().topology().network(place.network).placeOf(place.router);
  return minutes[firstPlace_[place.network] + member];
}

std::uint64_t NoStorms::digestOf(const Payload& payload) {
  if (std::exchange(lastPayload_, payload) != payload) {
    Digest digest;
    digest.add(std::span(*payload));
    lastDigest_ = digest.value();
  }
  return lastDigest_;
}

void NoStorms::settled(const std::vector<RouterId>&) {
  for (const Voice& voice : event_) {
    judge(voice.place, voice.tally.messages(), voice.minute->tally.messages());
  }
  event_.clear();
}

void NoStorms::judge(const Place& place, std::size_t atOnce, std::size_t inMinute) {
  const auto& name = nameOf(place.router);
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
  std::size_t candidates = 0;
  for (RouterId id = 0; id < world().topology().routers().size(); ++id) {
    candidates += world().speaker(id, place.zone.af()).duties().zones.contains(place.zone);
  }
  const std::size_t neighbors = world().topology().network(place.network).members.size() - 1;
  return repeated * (routine + neighbors + candidates * (candidates + 1) / 2);
}

}  // namespace

void addMessageRules(World& world, std::vector<Violation>& violations, Invariants& rules) {
  rules.push_back(std::make_unique<BordersHold>(world, violations));
  rules.push_back(std::make_unique<GroupsComplete>(world, violations));
  rules.push_back(std::make_unique<CountersAddUp>(world, violations));
  rules.push_back(std::make_unique<NoStorms>(world, violations));
}

}  // namespace Routing::Sim
