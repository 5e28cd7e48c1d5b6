#include "sim/invariants/Troubles.h"

#include <algorithm>
#include <utility>

#include "sim/invariants/Quiet.h"

namespace Routing::Sim {
namespace {

constexpr double recovery = 60.0;  // seconds after which what came back is as before
constexpr double meeting = 6.0;    // within which neighbours know each other
constexpr double rerouting = 1.0;  // beyond the lag of unicast routing
constexpr double booting = 130.0;  // two periods: every BSR has spoken to all that have met

}  // namespace

Troubles::Troubles(World& world)
    : world_(world),
      known_(world.liveness()),
      startedAt_(known_.router.size()),
      bootedAt_(world.now() + booting),
      severalUntil_(bootedAt_) {
  world.observerIs(*this);
}

bool Troubles::several() const {
  return impaired_ || world_.now() < severalUntil_;
}

bool Troubles::othersThan(RouterId router) const {
  return std::any_of(troubles_.begin(), troubles_.end(), [&](const auto& entry) {
    return entry.first != Subject(true, router) && world_.now() < entry.second.until;
  });
}

void Troubles::disturbed(std::string_view) {
  disturbed_ = true;
}

void Troubles::lost(const Packet&, RouterId, std::string_view why) {
  if (why == "loss") severalUntil_ = world_.now() + settlingTimes(world_).rpSet;
}

// Whatever a disturbance does to a router, it touches it.
void Troubles::settled(const std::vector<RouterId>& touched) {
  if (!std::exchange(disturbed_, false)) return;
  for (const RouterId router : touched) lookAtRouter(router);
  if (std::exchange(networkChanges_, world_.networkChanges()) != world_.networkChanges()) {
    lookAtNetworks();
  }
}

void Troubles::lookAtNetworks() {
  for (NetworkId id = 0; id < known_.network.size(); ++id) lookAtNetwork(id);
  known_.network = world_.liveness().network;
  const bool was = std::exchange(impaired_, impaired());
  if (was && !impaired_) severalUntil_ = world_.now() + settlingTimes(world_).rpSet;
}

void Troubles::lookAtRouter(RouterId router) {
  const bool is = world_.up(router);
  const bool was = known_.router[router];
  known_.router[router] = is;
  const double startedAt = world_.speaker(router, world_.families().front()).startedAt();
  const bool anew = std::exchange(startedAt_[router], startedAt) != startedAt;
  if (was && (!is || anew)) breaks({true, router});
  if (is && anew) returns({true, router});
}

void Troubles::lookAtNetwork(NetworkId network) {
  const bool was = known_.network[network];
  const bool is = world_.liveness().network[network];
  if (was && !is) breaks({false, network});
  if (!was && is) returns({false, network});
}

void Troubles::breaks(const Subject& subject) {
  const double now = world_.now();
  const bool another = std::any_of(troubles_.begin(), troubles_.end(), [&](const auto& entry) {
    const Trouble& trouble = entry.second;
    return entry.first != subject && trouble.began != now && trouble.until > now;
  });
  if (another || now < bootedAt_) severalUntil_ = now + settlingTimes(world_).rpSet;
  troubles_[subject] = {now, now + settlingTimes(world_).bsr};
  tornUntil_ = std::max(tornUntil_, now + world_.convergence() + rerouting);
  lastChange_ = now;
}

// What comes for the first time was never in trouble.
void Troubles::returns(const Subject& subject) {
  const double now = world_.now();
  const auto trouble = troubles_.find(subject);
  if (trouble != troubles_.end()) trouble->second.until = now + recovery;
  tornUntil_ = std::max(tornUntil_, now + meeting);
  lastChange_ = now;
}

bool Troubles::impaired() const {
  for (NetworkId id = 0; id < world_.topology().networks().size(); ++id) {
    const Impairment& way = world_.impairment(id);
    if (way.loss > 0 || way.duplicate > 0 || way.reorder > 0) return true;
  }
  return false;
}

}  // namespace Routing::Sim
