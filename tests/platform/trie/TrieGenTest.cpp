#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/trie/TrieGen.h"
#include "tests/platform/trie/PrefixGen.h"
#include "tests/support/Octets.h"

namespace Routing {
namespace {

using Test::prefixOf;
using TestKit::prefix;

std::string eventText(const IpGenPrefix& prefix, TrieEvent event) {
  const char marks[] = {'+', '-', '*'};
  return marks[static_cast<int>(event)] + prefix.text();
}

using Events = std::vector<std::string>;

auto recorder(Events& out, std::string who = {}) {
  return [&out, who](const IpGenPrefix& p, TrieEvent e) { out.push_back(who + eventText(p, e)); };
}

TEST(TrieGen, MayBeDeletedInsideItsOwnNotification) {
  for (const TrieEvent last : {TrieEvent::added, TrieEvent::changed, TrieEvent::deleted}) {
    auto trie = std::make_unique<TrieGen>("t", AddressFamily::ipv6);
    Events events;
    const Subscription killer = trie->routeReactor([&](const IpGenPrefix& p, TrieEvent e) {
      if (e == last) trie.reset();
      events.push_back(eventText(p, e));
    });
    const Subscription unreached = trie->routeReactor(recorder(events, "second"));
    TrieGen& subject = *trie;
    subject.routeIs(prefix("ff00::/8"));
    if (trie) subject.changedRouteIs(prefix("ff00::/8"));
    if (trie) subject.routeDel(prefix("ff00::/8"));
    EXPECT_EQ(trie, nullptr);
    EXPECT_EQ(events.back(), eventText(prefix("ff00::/8"), last));
    EXPECT_FALSE(killer.active());
  }
}

TEST(TrieGen, ReactorMayChangeTheTrie) {
  TrieGen trie("t", AddressFamily::ipv4);
  Events events;
  const Subscription first = trie.routeReactor([&](const IpGenPrefix& p, TrieEvent e) {
    if (e == TrieEvent::added && p.length() < 32) trie.routeIs({p.address(), p.length() + 14});
  });
  const Subscription second = trie.routeReactor(recorder(events));
  trie.routeIs(prefix("224.0.0.0/4"));
  EXPECT_EQ(events, (Events{"+224.0.0.0/32", "+224.0.0.0/18", "+224.0.0.0/4"}));
  EXPECT_EQ(trie.size(), 3U);
}

// A reactor that keeps a copy of the routes from the events alone always has the trie's content.
void eventsTellEverything(AddressFamily af) {
  const auto steps = *rc::gen::container<std::vector<std::pair<int, IpGenPrefix>>>(
      rc::gen::pair(rc::gen::inRange(0, 4), prefixOf(af)));
  TrieGen trie("t", af);
  std::set<IpGenPrefix> mirror;
  unsigned events = 0;
  unsigned changes = 0;
  const Subscription s = trie.routeReactor([&](const IpGenPrefix& p, TrieEvent e) {
    ++events;
    const bool expected = e == TrieEvent::changed ? mirror.contains(p)
                          : e == TrieEvent::added ? mirror.insert(p).second
                                                  : mirror.erase(p) == 1;
    RC_ASSERT(expected);
  });
  for (const auto& [what, p] : steps) {
    changes += what == 0 ? trie.routeDel(p) : what == 1 ? trie.changedRouteIs(p) : trie.routeIs(p);
    RC_ASSERT(trie.size() == mirror.size());
    RC_ASSERT(trie.route(p) == mirror.contains(p));
  }
  RC_ASSERT(events == changes);
  std::vector<IpGenPrefix> walk;
  trie.forEachRoute([&](const IpGenPrefix& p) { walk.push_back(p); });
  RC_ASSERT(walk == std::vector<IpGenPrefix>(mirror.begin(), mirror.end()));
  const bool v4 = af == AddressFamily::ipv4;
  RC_ASSERT(!trie.routeIs(IpGenPrefix::zero(v4 ? AddressFamily::ipv6 : AddressFamily::ipv4)));
  RC_ASSERT(!trie.changedRouteIs(IpGenPrefix()) && trie.af() == af && trie.name() == "t");
  // Emptying the trie from within its own walk visits every route once.
  trie.forEachRouteInside(IpGenPrefix::zero(af), [&](const IpGenPrefix& p) { trie.routeDel(p); });
  RC_ASSERT(mirror.empty());
}

RC_GTEST_PROP(TrieGen, EventsTellEverythingIpv4, ()) {
  eventsTellEverything(AddressFamily::ipv4);
}
RC_GTEST_PROP(TrieGen, EventsTellEverythingIpv6, ()) {
  eventsTellEverything(AddressFamily::ipv6);
}

}  // namespace
}  // namespace Routing
