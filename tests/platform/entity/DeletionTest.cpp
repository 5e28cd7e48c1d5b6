#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/entity/AttributeLog.h"
#include "platform/entity/AttributeMirror.h"
#include "platform/entity/MountTable.h"
#include "tests/platform/entity/SampleEntities.h"
#include "tests/support/Octets.h"
#include "tests/support/Refusal.h"

// What reactors delete is not used afterwards. Much of this shows under a memory checker only.

namespace Routing {
namespace {

using Sample::makeRouter;
using Sample::Port;
using Sample::Router;
using TestKit::prefix;
using TestKit::refusal;

const IntfId longEth0("a name that is too long to stand in the object itself: eth0");
const IntfId longEth1("a name that is too long to stand in the object itself: eth1");
const IpGenPrefix zone0 = prefix("239.0.0.0/8");
const IpGenPrefix zone1 = prefix("238.0.0.0/8");

std::shared_ptr<Router> fullRouter(bool withConsole = true) {
  auto r = makeRouter();
  for (const auto& [zone, intf] : {std::pair(zone0, longEth0), std::pair(zone1, longEth1)}) {
    r->zoneIs(zone, intf);
    r->newPort(intf)->permitIs(zone0, true);
    r->port(intf)->permitIs(zone1, true);
    r->uplinkIs(intf.text(), r->port(intf));
  }
  if (withConsole) r->newConsole(longEth0);
  r->messageIs(std::make_shared<std::string>("hello"));
  return r;
}

// Every setter, given what it may be given: also references into what it changes.
const std::vector<std::pair<const char*, std::function<void(Router&)>>> setters{
    {"nameIs", [](Router& r) { r.nameIs("other"); }},
    {"upIs", [](Router& r) { r.upIs(true); }},
    {"rxInc", [](Router& r) { r.rxInc(); }},
    {"messageIs", [](Router& r) { r.messageIs(nullptr); }},
    {"zoneIs", [](Router& r) { r.zoneIs(r.zone().begin()->first, r.zone().rbegin()->second); }},
    {"zoneDel", [](Router& r) { r.zoneDel(r.zone().begin()->first); }},
    {"zoneDelAll", [](Router& r) { r.zoneDelAll(); }},
    {"newPort", [](Router& r) { r.newPort(IntfId("eth2")); }},
    {"portDel", [](Router& r) { r.portDel(r.port().begin()->first); }},
    {"portDelOfItsKey", [](Router& r) { r.portDel(r.port().begin()->second->intfId()); }},
    {"portDelAll", [](Router& r) { r.portDelAll(); }},
    {"uplinkIs", [](Router& r) { r.uplinkIs(r.uplink().begin()->first, r.port(longEth1)); }},
    {"uplinkDel", [](Router& r) { r.uplinkDel(r.uplink().begin()->first); }},
    {"uplinkDelAll", [](Router& r) { r.uplinkDelAll(); }},
    {"consoleDel", [](Router& r) { r.consoleDel(); }},
    {"newConsole", [](Router& r) { r.newConsole(r.port().begin()->first); }},
    {"portPriorityIs", [](Router& r) { r.port(longEth0)->priorityIs(1); }},
    {"portPermitDelAll", [](Router& r) { r.port(longEth0)->permitDelAll(); }},
};

TEST(Deletion, TheLastOwnerMayGoInsideEverySetter) {
  for (const auto& [name, set] : setters) {
    for (const char* kind : {"any", "tree", "both"}) {
      SCOPED_TRACE(std::string(name) + kind);
      auto r = fullRouter(name != std::string("newConsole"));
      std::vector<Subscription> reactors;
      int calls = 0;
      const auto drop = [&] {
        ++calls;
        r.reset();
      };
      if (*kind != 't') {
        reactors.push_back(r->anyReactor([&](std::size_t) { drop(); }));
        reactors.push_back(r->port(longEth0)->anyReactor([&](std::size_t) { drop(); }));
      }
      for (int i = 0; i < 2 && *kind != 'a'; ++i) {
        reactors.push_back(r->treeReactor([&](const TreeChange&) { drop(); }));
      }
      set(*r);
      EXPECT_EQ(calls, 1);
      EXPECT_FALSE(r);
    }
  }
}

void emptyOut(Router& r) {
  r.zoneDelAll();
  r.uplinkDelAll();
  r.portDelAll();
  r.consoleDel();
  r.messageIs(nullptr);
}

// The first reactor empties the router that the caller lent the key from; the second sees the key.
TEST(Deletion, WhatASetterIsGivenMayBeLentFromWhatItsReactorsDelete) {
  for (const auto& [name, set] : setters) {
    SCOPED_TRACE(name);
    const auto r = fullRouter(name != std::string("newConsole"));
    std::string seen;
    const auto note = [&](std::string_view text) {
      seen.append(text).append(" ");
      emptyOut(*r);
    };
    const auto zoneFirst = r->zoneReactor([&](const IpGenPrefix&) { emptyOut(*r); });
    const auto portFirst = r->portReactor([&](const IntfId&) { emptyOut(*r); });
    const auto uplinkFirst = r->uplinkReactor([&](const std::string&) { emptyOut(*r); });
    const auto zone = r->zoneReactor([&](const IpGenPrefix& z) { note(z.text()); });
    const auto port = r->portReactor([&](const IntfId& i) { note(i.text()); });
    const auto uplink = r->uplinkReactor([&](const std::string& u) { note(u); });
    const auto tree = r->treeReactor([&](const TreeChange& c) { note(c.entity.typeName()); });
    set(*r);
    EXPECT_TRUE(r->zone().empty() && r->port().empty() && !r->console()) << seen;
  }
}

TEST(Deletion, AnotherOwnersKeyAndTheEntryItBelongsToMayGo) {
  const auto r = fullRouter();
  std::string key;
  const auto first = r->portReactor([&](const IntfId&) { r->zoneDelAll(); });
  const auto second = r->portReactor([&](const IntfId& intf) { key = intf.text(); });
  r->portDel(longEth0);
  r->zoneIs(zone0, longEth0);
  r->newPort(r->zone().begin()->second);
  EXPECT_EQ(key, longEth0.text());
}

TEST(Deletion, AClearedCollectionIsClearedWhateverItsReactorsThrow) {
  const auto r = fullRouter();
  int told = 0;
  const auto log = r->treeReactor([&](const TreeChange&) { throw RangeError("log"); });
  const auto first = r->portReactor([&](const IntfId& intf) { throw RangeError(intf.text()); });
  const auto last = r->portReactor([&](const IntfId&) { ++told; });
  EXPECT_EQ(refusal([&] { r->portDelAll(); }), "log");
  EXPECT_TRUE(r->port().empty());
  EXPECT_EQ(told, 2);
}

// --- trees ------------------------------------------------------------------------------------

TEST(Deletion, ATreeIsNotToldOfWhatHasLeftIt) {
  for (const bool held : {false, true}) {
    const auto r = fullRouter();
    const auto port = held ? r->port(longEth0) : nullptr;
    std::string log;
    const auto first = r->treeReactor([&](const TreeChange& change) {
      if (change.entity.parent() != nullptr) r->portDel(longEth0);
    });
    const auto second = r->treeReactor([&](const TreeChange& change) {
      log.append(change.entity.attributeName(change.attribute)).append(" ");
    });
    const auto own = r->port(longEth0)->priorityReactor([&] { log += "own"; });
    r->uplinkDelAll();
    log.clear();
    r->port(longEth0)->priorityIs(1);
    EXPECT_EQ(log, held ? "port own" : "port ");
  }
}

TEST(Deletion, ASinkMayChangeTheTreeAndEndTheLog) {
  const auto r = fullRouter();
  const auto copy = makeRouter();
  AttributeMirror mirror(copy);
  const AttributeLog log(r, [&](std::string_view line) {
    const std::string before(line);
    if (r->rx() < 20) r->rxInc();
    if (r->rx() == 5) r->portDel(longEth0);
    if (r->rx() == 10) r->newPort(longEth0)->priorityIs(3);
    EXPECT_EQ(line, before);
    EXPECT_TRUE(mirror.apply(line)) << line;
  });
  EXPECT_EQ(treeText(*copy), treeText(*r));
  r->portDelAll();
  EXPECT_EQ(treeText(*copy), treeText(*r));

  int lines = 0;
  std::unique_ptr<AttributeLog> ended;
  ended = std::make_unique<AttributeLog>(r, [&, text = std::string(100, 'x')](std::string_view) {
    ended.reset();
    lines += text.size() == 100 ? 1 : 100;
  });
  lines = 0;
  r->newPort(longEth1);
  EXPECT_EQ(lines, 1) << "none of the lines for its attributes";
}

TEST(Deletion, AMirrorMayGoWithAllThatItsReactorsDelete) {
  for (const char* line :
       {"= /name 'x'", "= /rx 7", "- /port['e']", "+ /port['f']", "= /port['e']/priority 7",
        "+ /port['e']/permit[239.0.0.0/8]", "= /zone[239.0.0.0/8] 'x'", "+ /console 'c'"}) {
    auto r = makeRouter();
    r->newPort(IntfId("e"));
    auto mirror = std::make_unique<AttributeMirror>(r);
    const auto reactor = r->treeReactor([&](const TreeChange&) {
      if (!r) return;
      r->portDelAll();
      mirror.reset();
      r.reset();
    });
    EXPECT_TRUE(mirror->apply(line)) << line;
    EXPECT_FALSE(mirror || r);
  }
}

// --- what dies with a reactor -----------------------------------------------------------------

/// Runs a function when it dies.
class AtDeath {
 public:
  explicit AtDeath(std::function<void()> act) : act_(std::move(act)) {}
  AtDeath(const AtDeath&) = delete;
  AtDeath& operator=(const AtDeath&) = delete;
  ~AtDeath() { act_(); }

 private:
  std::function<void()> act_;
};

TEST(Deletion, AReactorThatDiesMayComeBack) {
  MountTable table;
  const auto remount = [&] {
    table.mountDel("b");
    if (!table.mount<Router>("a")) table.mountIs("a", makeRouter());
  };
  auto r = makeRouter();
  Subscription none = r->upReactor([death = std::make_shared<AtDeath>(remount)] {});
  table.mountIs("a", makeRouter());
  table.mountIs("b", makeRouter());
  none = r->upReactor([&] { none.reset(); });
  EXPECT_EQ(table.mounts().size(), 1u);

  auto holder = std::make_unique<Subscription>();
  const auto death = [&] { holder.reset(); };
  *holder = r->upReactor([dies = std::make_shared<AtDeath>(death)] {});
  *holder = r->nameReactor([] {});
  EXPECT_FALSE(holder) << "the subscription went while it was assigned to";
  r->upIs(true);
  EXPECT_FALSE(none.active());
}

TEST(Deletion, EntriesThatDieMayDeleteTheirOwner) {
  for (const bool all : {false, true}) {
    auto r = fullRouter();
    for (const IntfId& intf : {longEth0, longEth1}) {
      r->uplinkIs(intf.text(), {new Port(intf), [&r](Port* port) {
                                  delete port;
                                  r.reset();
                                }});
    }
    all ? r->uplinkDelAll() : r->uplinkDel(longEth0.text());
    EXPECT_FALSE(r);
  }
}

}  // namespace
}  // namespace Routing
