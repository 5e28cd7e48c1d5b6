#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/entity/MountTable.h"
#include "tests/platform/entity/SampleEntities.h"
#include "tests/support/Octets.h"
#include "tests/support/Refusal.h"

namespace Routing {
namespace {

using Sample::makeRouter;
using Sample::Port;
using Sample::Router;

const IntfId eth0("eth0");
const IntfId eth1("eth1");

using TestKit::prefix;
using TestKit::refusal;

// --- setters ----------------------------------------------------------------------------------

TEST(Entity, SetterComparesStoresChecksAndNotifiesInThatOrder) {
  Port port(eth0);
  std::vector<unsigned> seen;
  const auto reactor = port.intervalReactor([&] { seen.push_back(port.interval()); });
  port.intervalIs(60);  // equal to the default
  EXPECT_TRUE(seen.empty());
  port.intervalIs(10);
  EXPECT_EQ(seen, std::vector<unsigned>{10});
  EXPECT_EQ(refusal([&] { port.intervalIs(9); }),
            "Port::interval < Port::min or > 3600 not allowed");
  EXPECT_EQ(port.interval(), 9U) << "a refused value stays stored";
  EXPECT_EQ(seen.size(), 1U) << "and nobody is told of it";
  EXPECT_NO_THROW(port.intervalIs(9)) << "an equal value does nothing, refused or not";
  port.intervalIs(10);
  EXPECT_EQ(seen.size(), 2U) << "the value of before is a change again";
}

TEST(Entity, KeyedAttributesNotifyOncePerChangeWithTheKey) {
  const auto r = makeRouter();
  std::vector<std::string> events;
  const auto zones = r->zoneReactor([&](const IpGenPrefix& zone) {
    events.push_back(zone.text() + (r->zone(zone) != nullptr ? "+" : "-"));
  });
  const auto ports = r->portReactor(
      [&](const IntfId& i) { events.push_back(i.text() + (r->port(i) ? "+" : "-")); });
  r->zoneIs(prefix("239.0.0.0/8"), eth0);
  r->zoneIs(prefix("239.0.0.0/8"), eth0);
  r->zoneIs(prefix("239.0.0.0/8"), eth1);
  r->zoneDel(prefix("238.0.0.0/8"));
  r->zoneDel(prefix("239.0.0.0/8"));
  const auto port = r->newPort(eth0);
  EXPECT_EQ(r->newPort(eth0), port) << "an existing entry is returned";
  r->newPort(eth1);
  r->portDelAll();
  r->uplinkIs("a", port);
  r->uplinkDelAll();
  EXPECT_TRUE(r->uplink().empty());
  EXPECT_EQ(events, (std::vector<std::string>{"239.0.0.0/8+", "239.0.0.0/8+", "239.0.0.0/8-",
                                              "eth0+", "eth1+", "eth0-", "eth1-"}));
}

TEST(Entity, ReferencesRefuseNull) {
  const auto r = makeRouter();
  EXPECT_EQ(refusal([&] { r->uplinkIs("a", nullptr); }),
            "null _uplink parameter to mutator for Routing::Sample::Router::uplink not allowed\"");
}

TEST(Entity, ADeletedEntryIsDetachedAndGoesOnWorking) {
  const auto r = makeRouter();
  const auto port = r->newPort(eth0);
  EXPECT_EQ(port->parent(), r.get());
  EXPECT_EQ(port->parentAttribute(), "port");
  int changes = 0;
  const auto reactor = port->addressReactor([&] { ++changes; });
  r->portDel(eth0);
  EXPECT_EQ(port->parent(), nullptr);
  port->addressIs(IpGenAddr::v4(1));
  EXPECT_EQ(changes, 1);
}

// --- notification -----------------------------------------------------------------------------

TEST(Notification, RunsInOrderOfSubscriptionAndSeesTheNewestValue) {
  Port port(eth0);
  std::string log;
  const auto first = port.priorityReactor([&] {
    log += "a" + std::to_string(port.priority());
    if (port.priority() == 1) port.priorityIs(2);
  });
  const auto second = port.priorityReactor([&] { log += "b" + std::to_string(port.priority()); });
  const auto whole = port.anyReactor(
      [&](std::size_t attribute) { log += attribute == Port::Attr::priority ? "*" : "?"; });
  port.priorityIs(1);
  EXPECT_EQ(log, "a1a2b2*b2*");
}

TEST(Notification, SurvivesSubscriptionChangesInside) {
  Port port(eth0);
  std::string log;
  Subscription third;
  Subscription late;
  Subscription second;
  const auto first = port.priorityReactor([&] {
    log += '1';
    third.reset();
    if (!late.active()) late = port.priorityReactor([&] { log += 'L'; });
  });
  second = port.priorityReactor([&] {
    log += '2';
    second.reset();
  });
  third = port.priorityReactor([&] { log += '3'; });
  const auto fourth = port.priorityReactor([&] { log += '4'; });
  port.priorityIs(1);
  EXPECT_EQ(log, "124") << "the removed one is skipped, the new one waits";
  log.clear();
  port.priorityIs(2);
  EXPECT_EQ(log, "14L");
}

struct Machine {
  explicit Machine(const Port& port, std::unique_ptr<Machine>& owner, std::string& log)
      : reactor(port.priorityReactor([this, &owner, &log] {
          log += name;
          owner.reset();  // ends this machine inside its own notification
        })) {}
  std::string name = "m";
  Subscription reactor;
};

TEST(Notification, AReactorMayDeleteItselfAndOthers) {
  Port port(eth0);
  std::string log;
  std::unique_ptr<Machine> self;
  std::unique_ptr<Machine> other;
  self = std::make_unique<Machine>(port, self, log);
  other = std::make_unique<Machine>(port, other, log);
  const auto last = port.priorityReactor([&] { log += 'l'; });
  port.priorityIs(1);
  EXPECT_EQ(log, "mml");
  EXPECT_FALSE(self || other);
}

TEST(Notification, TheSubjectMayDieInside) {
  auto r = makeRouter();
  std::string log;
  auto port = r->newPort(eth0);
  Subscription first = port->priorityReactor([&] {
    log += '1';
    r.reset();
    port.reset();
  });
  Subscription second = port->priorityReactor([&] { log += '2'; });
  port->priorityIs(1);
  EXPECT_EQ(log, "1") << "reactors that were not reached are not called any more";
  EXPECT_FALSE(first.active());
}

TEST(Notification, OneThatThrowsKeepsNobodyElseFromBeingTold) {
  Port port(eth0);
  std::string log;
  const auto first = port.priorityReactor([&] { throw RangeError("first"); });
  const auto second = port.priorityReactor([&] { log += '2'; });
  const auto third = port.priorityReactor([&] { throw RangeError("third"); });
  const auto whole = port.anyReactor([&](std::size_t) { log += '*'; });
  EXPECT_EQ(refusal([&] { port.priorityIs(1); }), "first");
  EXPECT_EQ(log, "2*");
}

TEST(Notification, PingPongEndsInAnAssertion) {
  const TestKit::ThrowingAssertions throwing;
  Port port(eth0);
  const auto reactor = port.priorityReactor([&] { port.priorityIs(port.priority() == 1 ? 2 : 1); });
  EXPECT_THROW(port.priorityIs(1), AssertionError);
}

// --- mounting ---------------------------------------------------------------------------------

TEST(MountTable, FindsRootsByPathAndType) {
  MountTable table;
  table.mountIs("routing/sample", makeRouter());
  EXPECT_TRUE(table.mount<Router>("routing/sample"));
  EXPECT_FALSE(table.mount<Port>("routing/sample"));
  EXPECT_FALSE(table.mount<Router>("routing"));
  table.mountDel("routing/sample");
  EXPECT_FALSE(table.mount<Router>("routing/sample"));
}

}  // namespace
}  // namespace Routing
