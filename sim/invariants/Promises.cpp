#include "sim/invariants/Promises.h"

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "sim/invariants/BsmPeek.h"
#include "sim/invariants/Quiet.h"

namespace Routing::Sim {

Promise::Promise(std::string_view name, World& world, const ContinuityMeters& meters,
                 const Troubles& troubles, std::vector<Violation>& violations, Broken broken)
    : Invariant(name, world, violations),
      meters_(meters),
      troubles_(troubles),
      stops_(broken == Broken::endsTheRun),
      given_(world.policy() == Pim::Bsr::BsrPolicy::continuous()),
      seen_(meters.size()) {}

void Promise::settled(const std::vector<RouterId>&) {
  if (given_ && !troubles_.several()) judgeAll();
  for (std::size_t i = 0; i < meters_.size(); ++i) seen_[i] = meters_[i]->gaps().size();
}

void Promise::judgeAll() {
  for (std::size_t i = 0; i < meters_.size(); ++i) {
    const ContinuityMeter& meter = *meters_[i];
    for (std::size_t gap = seen_[i]; gap < meter.gaps().size(); ++gap) judge(meter.gaps()[gap]);
    for (const Lack lack : allLacks) {
      if (!meter.anyOpen(lack)) continue;
      for (const Gap& gap : meter.open(lack)) judge(gap);
    }
  }
}

void Promise::brokenBy(const std::string& what) {
  if (!std::exchange(given_, false)) return;
  stops_ ? violated(what) : noted(what);
}

namespace {

// --- served ----------------------------------------------------------------------------------

/// No router that goes on is ever without an RP for a group that has one within reach; and one that
/// starts with nothing has all that others have within seconds of its first Hello, if nothing else
/// is in trouble.
class Served final : public Promise {
 public:
  static constexpr double longestStart = 6.0;  ///< seconds

  Served(World& world, const ContinuityMeters& meters, const Troubles& troubles,
         std::vector<Violation>& violations, Broken broken)
      : Promise("served", world, meters, troubles, violations, broken) {}

 private:
  void judge(const Gap& gap) override;
};

void Served::judge(const Gap& gap) {
  if (gap.lack == Lack::rp && gap.length() > 0) {
    brokenBy(nameOf(gap.router) + " has no RP for groups of " + gap.about.text() + " since " +
             std::to_string(gap.from) + " s");
  } else if (gap.lack == Lack::start && gap.length() > longestStart &&
             !troubles().othersThan(gap.router)) {
    brokenBy(nameOf(gap.router) + " has not all that others have " + std::to_string(gap.length()) +
             " s after its first Hello");
  }
}

// --- alike -----------------------------------------------------------------------------------

/// Routers that reach each other choose alike, but for the time of a flood. Not judged after
/// something broke or came back, until a flood that can reach everybody is over.
class Alike final : public Promise {
 public:
  Alike(World& world, const ContinuityMeters& meters, const Troubles& troubles,
        std::vector<Violation>& violations, Broken broken)
      : Promise("alike", world, meters, troubles, violations, broken) {}
  void transmitted(const Packet& packet) override;

 private:
  void judge(const Gap& gap) override;
  /// Since when all have heard every zone's BSR; none if that is not so.
  std::optional<double> heardSince(AddressFamily af) const;

  BsmReader bsms_{BsmReader::Part::head};
  std::map<IpGenPrefix, double> heard_;  // by zone: a flood after the last change
};

void Alike::transmitted(const Packet& packet) {
  if (!packet.is(Pim::PimType::bootstrap)) return;
  const auto& bsm = bsms_.read(packet.payload);
  if (!bsm || !bsm->forward) return;
  const auto isNews = [&](double heard) {
    return heard <= troubles().lastChange() && !troubles().torn();
  };
  const auto known = heard_.find(bsm->zone());
  if (known != heard_.end() && !isNews(known->second)) return;
  if (!world().speaker(packet.sender, packet.af).owns(bsm->bsr)) return;
  double& heard = heard_[bsm->zone()];
  if (isNews(heard)) heard = world().now();
}

// A flood may be answered by another one.
void Alike::judge(const Gap& gap) {
  if (gap.lack != Lack::agreement) return;
  const auto heard = heardSince(gap.about.af());
  if (!heard || gap.to - std::max(gap.from, *heard) <= 2 * floodingTime(world())) return;
  brokenBy(nameOf(gap.router) + " chooses another RP for groups of " + gap.about.text() +
           " than others since " + std::to_string(gap.from) + " s");
}

std::optional<double> Alike::heardSince(AddressFamily af) const {
  double last = 0.0;
  for (const auto& [zone, heard] : heard_) {
    if (zone.af() != af) continue;
    if (heard <= troubles().lastChange()) return std::nullopt;
    last = std::max(last, heard);
  }
  return last;
}

}  // namespace

void addPromises(World& world, const ContinuityMeters& meters, const Troubles& troubles,
                 std::vector<Violation>& violations, Promise::Broken broken, Invariants& rules) {
  rules.push_back(std::make_unique<Served>(world, meters, troubles, violations, broken));
  rules.push_back(std::make_unique<Alike>(world, meters, troubles, violations, broken));
}

}  // namespace Routing::Sim
