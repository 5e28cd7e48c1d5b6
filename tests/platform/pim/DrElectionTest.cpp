#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <optional>
#include <vector>

#include "platform/pim/hello/DrElection.h"

// RFC 7761 section 4.3.2: who is designated router.

namespace Routing::Pim {
namespace {

struct Router {
  IpGenAddr address;
  std::optional<std::uint32_t> priority;  // none: its Hellos do not say
};

IpGenAddr elect(const Router& self, const std::vector<Router>& others) {
  PimInterface intf(IntfId("eth0"));
  intf.upIs(true);
  intf.addressIs(self.address);
  intf.drPriorityIs(self.priority.value());
  for (const Router& other : others) {
    const auto neighbor = intf.newNeighbor(other.address);
    neighbor->drPriorityPresentIs(other.priority.has_value());
    neighbor->drPriorityIs(other.priority.value_or(1));
  }
  return electDr(intf);
}

// The RFC's own words: better(a, b) compares two routers, the DR is better than all others.
RC_GTEST_PROP(DrElection, WinnerIsBetterThanEveryOther, ()) {
  const auto count = *rc::gen::inRange<std::uint32_t>(1, 9);
  std::vector<Router> routers;
  for (std::uint32_t i = 0; i < count; ++i) {
    const bool says = i == 0 || *rc::gen::weightedElement<bool>({{9, true}, {1, false}});
    const auto address =
        IpGenAddr::v4(0x0a000000 + *rc::gen::inRange<std::uint32_t>(0, 50) * 16 + i);
    const auto priority = *rc::gen::inRange<std::uint32_t>(0, 4);
    routers.push_back({address, says ? std::optional(priority) : std::nullopt});
  }
  const IpGenAddr dr = elect(routers[0], {routers.begin() + 1, routers.end()});
  const bool allSay = std::ranges::all_of(routers, [](auto& r) { return r.priority.has_value(); });
  const auto winner = std::ranges::find(routers, dr, &Router::address);
  RC_ASSERT(winner != routers.end());
  for (const Router& other : routers) {
    if (other.address == dr) continue;
    const bool byPriority = allSay && other.priority != winner->priority;
    RC_ASSERT((byPriority ? *winner->priority > *other.priority : dr > other.address));
  }
}

}  // namespace
}  // namespace Routing::Pim
