#include "sim/rehearsal/RpHistory.h"

#include <utility>

#include "sim/core/Groups.h"

namespace Routing::Sim {

RpHistory::RpHistory(World& world, Beliefs& beliefs, AddressFamily af, std::set<IpGenPrefix> ranges)
    : world_(world),
      supply_(world, af, std::move(ranges)),
      groups_(supply_.groups()),
      moments_(world.topology().routers().size(), std::vector<Moments>(groups_.size())) {
  for (RouterId id = 0; id < moments_.size(); ++id) note(id);
  world.observerIs(*this);
  beliefs.listenerIs([this, af](RouterId router, AddressFamily family, const Belief&) {
    if (family == af) changed_.insert(router);
  });
}

void RpHistory::disturbed(std::string_view) {
  disturbed_ = true;
}

void RpHistory::settled(const std::vector<RouterId>&) {
  if (std::exchange(disturbed_, false)) {
    supply_.refresh();
    for (RouterId id = 0; id < moments_.size(); ++id) changed_.insert(id);
  }
  for (const RouterId router : std::exchange(changed_, {})) note(router);
}

void RpHistory::note(RouterId router) {
  if (!world_.up(router)) return;
  const Speaker& speaker = world_.speaker(router, af());
  for (std::size_t group = 0; group < groups_.size(); ++group) {
    const Moment now{world_.now(), rpOf(speaker, groups_[group].address),
                     supply_.place(router, group)};
    Moments& moments = moments_[router][group];
    const bool same =
        !moments.empty() && moments.back().rp == now.rp && moments.back().place == now.place;
    if (!same) moments.push_back(now);
  }
}

}  // namespace Routing::Sim
