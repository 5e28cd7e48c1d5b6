#include "sim/scenario/Expectations.h"

#include <algorithm>
#include <array>
#include <set>

#include "sim/core/Groups.h"
#include "sim/core/ZoneParts.h"

namespace Routing::Sim {
namespace {

using Problem = std::optional<std::string>;

/// Runs a check on each of the routers that is up; the first problem counts, with the router's
/// name.
template <class Check>
Problem onEach(const World& world, const std::vector<RouterId>& routers, Check&& check) {
  const auto all = static_cast<RouterId>(world.topology().routers().size());
  for (RouterId id = 0; id < all; ++id) {
    const bool meant =
        routers.empty() || std::find(routers.begin(), routers.end(), id) != routers.end();
    if (!meant || !world.up(id)) continue;
    if (const Problem problem = check(id)) {
      return world.topology().router(id).name + " " + *problem;
    }
  }
  return std::nullopt;
}

using Reader = std::uint32_t (*)(const Pim::Bsr::PimBsrCounters&);
struct Counter {
  const char* name;
  Reader read;
};

using Counters = Pim::Bsr::PimBsrCounters;
constexpr std::array<Counter, 18> counters{{
    {"rx", [](const Counters& c) { return c.rx(); }},
    {"rxError", [](const Counters& c) { return c.rxError(); }},
    {"rxSuccess", [](const Counters& c) { return c.rxSuccess(); }},
    {"rxBsm", [](const Counters& c) { return c.rxBsm(); }},
    {"rxBsmSuccess", [](const Counters& c) { return c.rxBsmSuccess(); }},
    {"rxBsmError", [](const Counters& c) { return c.rxBsmError(); }},
    {"rxCrpAdv", [](const Counters& c) { return c.rxCrpAdv(); }},
    {"rxCrpAdvSuccess", [](const Counters& c) { return c.rxCrpAdvSuccess(); }},
    {"rxCrpAdvError", [](const Counters& c) { return c.rxCrpAdvError(); }},
    {"tx", [](const Counters& c) { return c.tx(); }},
    {"txSuccess", [](const Counters& c) { return c.txSuccess(); }},
    {"txError", [](const Counters& c) { return c.txError(); }},
    {"rxFilter", [](const Counters& c) { return c.errCounters().rxFilter(); }},
    {"rxNbrRpfCheck", [](const Counters& c) { return c.errCounters().rxNbrRpfCheck(); }},
    {"rxNoForwardBsm", [](const Counters& c) { return c.errCounters().rxNoForwardBsm(); }},
    {"rxUnicastBsm", [](const Counters& c) { return c.errCounters().rxUnicastBsm(); }},
    {"rxScopeMismatch", [](const Counters& c) { return c.errCounters().rxScopeMismatch(); }},
    {"rxInvalid", [](const Counters& c) { return c.errCounters().rxInvalid(); }},
}};

const Counter* counterNamed(const std::string& name) {
  const auto it = std::find_if(counters.begin(), counters.end(),
                               [&](const Counter& counter) { return name == counter.name; });
  return it == counters.end() ? nullptr : &*it;
}

std::string textOf(const std::set<IpGenAddr>& addresses) {
  std::string text;
  for (const IpGenAddr& address : addresses) text += (text.empty() ? "" : " ") + address.text();
  return text.empty() ? "no RP" : text;
}

}  // namespace

Expectation expectBsr(double at, const std::vector<RouterId>& routers, const IpGenPrefix& zone,
                      const IpGenAddr& bsr) {
  const std::string who = bsr.isUnset() ? "nobody" : bsr.text();
  return {at, "the BSR of " + zone.text() + " is " + who,
          [=](const World& world, const Beliefs& beliefs) {
            return onEach(world, routers, [&](RouterId id) -> Problem {
              const ZoneBelief* belief = beliefs.of(id, zone.af()).zone(zone);
              const IpGenAddr held = belief ? belief->bsr : IpGenAddr{};
              if (held == bsr || (held.isUnset() && bsr.isUnset())) return std::nullopt;
              return "believes in " + (held.isUnset() ? "nobody" : held.text());
            });
          }};
}

Expectation expectRpSet(double at, const std::vector<RouterId>& routers, const IpGenPrefix& range,
                        const std::vector<IpGenAddr>& rps) {
  const std::set<IpGenAddr> wanted(rps.begin(), rps.end());
  return {at, "the RPs for " + range.text() + " are " + textOf(wanted),
          [=](const World& world, const Beliefs&) {
            return onEach(world, routers, [&](RouterId id) -> Problem {
              std::set<IpGenAddr> held;
              for (const auto& [prefix, set] : world.speaker(id, range.af()).view()->crpSet()) {
                if (!range.contains(prefix)) continue;
                for (const auto& [address, rp] : set->rp()) held.insert(address);
              }
              if (held == wanted) return std::nullopt;
              return "has " + textOf(held);
            });
          }};
}

Expectation expectRp(double at, const std::vector<RouterId>& routers, const IpGenAddr& group,
                     const IpGenAddr& rp) {
  return {at, "the RP of " + group.text() + " is " + (rp.isUnset() ? "nobody" : rp.text()),
          [=](const World& world, const Beliefs&) {
            return onEach(world, routers, [&](RouterId id) -> Problem {
              const IpGenAddr chosen = rpOf(world.speaker(id, group.af()), group);
              if (chosen == rp || (chosen.isUnset() && rp.isUnset())) return std::nullopt;
              return "chooses " + (chosen.isUnset() ? "nobody" : chosen.text());
            });
          }};
}

Expectation expectState(double at, RouterId router, const IpGenPrefix& zone,
                        Pim::Bsr::BsrCandidateState state) {
  const std::string wanted(enumName(state));
  return {at, "the candidate for " + zone.text() + " is in state " + wanted,
          [=](const World& world, const Beliefs& beliefs) {
            return onEach(world, {router}, [&](RouterId id) -> Problem {
              const ZoneBelief* belief = beliefs.of(id, zone.af()).zone(zone);
              if (belief && belief->state == state) return std::nullopt;
              if (!belief || !belief->state) return "is no candidate";
              return "is in state " + std::string(enumName(*belief->state));
            });
          }};
}

bool isCounter(const std::string& counter) {
  return counterNamed(counter) != nullptr;
}

Expectation expectCounter(double at, RouterId router, AddressFamily af, const std::string& counter,
                          std::uint32_t low, std::uint32_t high) {
  const bool open = high == std::numeric_limits<std::uint32_t>::max();
  return {
      at,
      counter + " is " + std::to_string(low) + (open ? " or more" : " to " + std::to_string(high)),
      [=](const World& world, const Beliefs&) {
        return onEach(world, {router}, [&](RouterId id) -> Problem {
          const std::uint32_t is =
              counterNamed(counter)->read(*world.speaker(id, af).status()->counters());
          if (is >= low && is <= high) return std::nullopt;
          return "counts " + std::to_string(is);
        });
      }};
}

Expectation expectAgreement(double at, AddressFamily af) {
  return {at, "all routers agree", [=](const World& world, const Beliefs& beliefs) -> Problem {
            for (const IpGenPrefix& zone : beliefs.zones(af)) {
              const auto partOf = partsOf(world, zone);
              std::map<std::uint32_t, RouterId> first;
              auto problem = onEach(world, {}, [&](RouterId id) -> Problem {
                const RouterId other = first.try_emplace(partOf[id], id).first->second;
                const ZoneBelief* mine = beliefs.of(id, af).zone(zone);
                const ZoneBelief* theirs = beliefs.of(other, af).zone(zone);
                if ((mine == nullptr) != (theirs == nullptr)) return "stands alone";
                if (!mine) return std::nullopt;
                if (mine->bsr == theirs->bsr && mine->rpDigest == theirs->rpDigest) {
                  return std::nullopt;
                }
                return "differs from " + world.topology().router(other).name;
              });
              if (problem) return problem;
            }
            return std::nullopt;
          }};
}

}  // namespace Routing::Sim
