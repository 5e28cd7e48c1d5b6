#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <string>
#include <vector>

#include "platform/entity/AttributeJournal.h"
#include "platform/entity/AttributeLog.h"
#include "platform/entity/AttributeMirror.h"
#include "tests/platform/entity/SampleEntities.h"
#include "tests/support/Split.h"

namespace Routing {
namespace {

using Sample::makeRouter;
using Sample::Router;

const IpGenPrefix zone(IpGenAddr::v4(0xef000000), 8);
const IntfId odd("it's\\a/[b]\nc");

TEST(AttributeLog, WritesTheTreeThenEveryChangeInOrder) {
  const auto r = makeRouter();
  r->nameIs("a'b");
  std::vector<std::string> lines;
  const AttributeLog log(r, [&](std::string_view line) { lines.emplace_back(line); });
  EXPECT_EQ(lines,
            (std::vector<std::string>{"= /name 'a\\'b'", "= /since 0", "= /up False", "= /rx 0"}));
  lines.clear();
  const auto reactor = r->upReactor([&] { r->rxInc(); });
  r->upIs(true);
  r->newPort(IntfId("eth0"))->permitIs(zone, true);
  r->zoneIs(zone, odd);
  r->portDel(IntfId("eth0"));
  EXPECT_EQ(lines, (std::vector<std::string>{
                       "= /up True", "= /rx 1", "+ /port['eth0']", "= /port['eth0']/address unset",
                       "= /port['eth0']/priority 256", "= /port['eth0']/interval 60",
                       "+ /port['eth0']/permit[239.0.0.0/8]",
                       "= /zone[239.0.0.0/8] 'it\\'s\\\\a/[b]\\nc'", "- /port['eth0']"}));
}

void mutate(Router& r) {
  const auto intf = IntfId(*rc::gen::elementOf(std::vector<std::string>{"e0", "e'1", "x]/y"}));
  const auto value = *rc::gen::inRange<std::uint32_t>(0, 300);
  const IpGenPrefix key(IpGenAddr::v4(0xe0000000 + (value << 20)), value % 33);
  switch (*rc::gen::inRange(0, 9)) {
    case 0:
      return r.zoneIs(key, intf);
    case 1:
      return r.zoneDel(key);
    case 2:
      return r.newPort(intf)->priorityIs(static_cast<std::uint16_t>(value % 257));
    case 3:
      return r.newPort(intf)->permitIs(key, value % 2 == 0);
    case 4:
      return r.portDel(intf);
    case 5:
      return r.newConsole(intf)->addressIs(IpGenAddr::v6(value, ~std::uint64_t{value}));
    case 6:
      return r.consoleDel();
    case 7:
      return r.sinceIs(value / 7.0);
    default:
      return r.nameIs(intf.text());
  }
}

TEST(AttributeMirror, ATreeMadeFromTheLogOfAnotherIsEqualToIt) {
  EXPECT_TRUE(rc::check([] {
    const auto source = makeRouter();
    const auto copy = makeRouter();
    for (int i = *rc::gen::inRange(0, 10); i > 0; --i) mutate(*source);
    AttributeMirror mirror(copy);
    const AttributeLog log(source, [&](std::string_view line) { RC_ASSERT(mirror.apply(line)); });
    for (int i = *rc::gen::inRange(0, 40); i > 0; --i) mutate(*source);
    RC_ASSERT(treeText(*copy) == treeText(*source));
    RC_ASSERT(treeJson(*copy) == treeJson(*source));
  }));
}

/// What a journal has gathered, line by line.
std::vector<std::string> taken(AttributeJournal& journal) {
  const auto lines = TestKit::split(std::string(journal.lines()), '\n');
  journal.clear();
  return lines;
}

TEST(AttributeJournal, SaysOnceWhatNeighboursHaveInCommon) {
  const auto r = makeRouter();
  for (const char* intf : {"e0", "e1", "e2"}) r->newPort(IntfId(intf))->priorityIs(7);
  r->newConsole(odd);
  AttributeJournal journal(r, [&](const Entity& entity) { return &entity == r->console().get(); });
  EXPECT_EQ(taken(journal),
            (std::vector<std::string>{"+ 0/port['e0']", "+ 0/port['e1']", "+ 0/port['e2']",
                                      "= 0/name ''", "= 1/address unset", "= 2/address unset",
                                      "= 3/address unset", "= 0/since 0", "= 0/up False",
                                      "= 0/rx 0", "= 1-3/priority 7", "= 1-3/interval 60"}));
  EXPECT_TRUE(journal.empty());
  const auto gone = r->port(IntfId("e0"));
  for (const auto& [intf, port] : r->port()) {
    port->priorityIs(5);
    port->intervalIs(10);
    r->rxInc();
  }
  r->console()->priorityIs(9);
  r->portDel(IntfId("e0"));
  gone->priorityIs(6);
  r->port(IntfId("e1"))->priorityIs(6);
  r->newPort(IntfId("e0"))->permitIs(zone, true);
  EXPECT_EQ(taken(journal),
            (std::vector<std::string>{
                "= 0/rx 1", "= 0/rx 2", "= 1-3/priority 5", "= 1-3/interval 10", "= 0/rx 3",
                "- 0/port['e0']", "= 2/priority 6", "+ 0/port['e0']", "+ 4/permit[239.0.0.0/8]"}));
  EXPECT_EQ(journal.edits(), 16U + 9 + 4);
}

TEST(AttributeJournal, EachTreeHasItsOwn) {
  const auto a = makeRouter();
  const auto b = makeRouter();
  auto first = std::make_unique<AttributeJournal>(a);
  AttributeJournal second(b);
  first->clear();
  second.clear();
  a->rxIs(3);
  b->rxIs(3);
  EXPECT_EQ(taken(*first), std::vector<std::string>{"= 0/rx 3"});
  EXPECT_EQ(taken(second), std::vector<std::string>{"= 0/rx 3"});
  first = nullptr;
  a->rxIs(4);
  first = std::make_unique<AttributeJournal>(a);
  first->clear();
  a->rxIs(5);
  EXPECT_EQ(taken(*first), std::vector<std::string>{"= 0/rx 5"});
  EXPECT_TRUE(second.empty());
}

TEST(AttributeJournal, ATreeMadeFromTheJournalOfAnotherIsEqualToIt) {
  EXPECT_TRUE(rc::check([] {
    const auto source = makeRouter();
    auto copy = makeRouter();
    std::vector<std::shared_ptr<Sample::Port>> orphans;
    for (int i = *rc::gen::inRange(0, 10); i > 0; --i) mutate(*source);
    AttributeJournal journal(source);
    auto mirror = std::make_unique<AttributeMirror>(copy);
    for (int i = *rc::gen::inRange(0, 60); i > 0; --i) {
      if (!source->port().empty()) orphans.push_back(source->port().begin()->second);
      mutate(*source);
      if (!orphans.empty()) orphans.front()->priorityIs(static_cast<std::uint16_t>(i));
      const int next = *rc::gen::inRange(0, 12);
      if (next == 0) {
        journal.restart();
        copy = makeRouter();
        mirror = std::make_unique<AttributeMirror>(copy);
      }
      if (next > 3) continue;
      for (const std::string& line : taken(journal)) RC_ASSERT(mirror->apply(line));
      RC_ASSERT(treeText(*copy) == treeText(*source));
      RC_ASSERT(mirror->edits() == journal.edits());
    }
  }));
}

/// None of the lines, which semicolons part, changes the mirror's tree.
void expectRefused(AttributeMirror& mirror, const Entity& tree, const std::string& lines) {
  const std::string before = treeText(tree);
  for (const std::string& line : TestKit::split(lines, ';')) {
    EXPECT_FALSE(mirror.apply(line)) << line;
    EXPECT_EQ(treeText(tree), before) << line;
  }
}

TEST(AttributeMirror, RefusesNumbersThatLeadNowhere) {
  const auto r = makeRouter();
  AttributeMirror mirror(r);
  for (const char* line : {"+ 0/port['a']", "+ 1/permit[239.0.0.0/8]", "+ 0/port['b']",
                           "+ 0/console 'c'", "- 0/port['a']", "+ 0/port['a']"}) {
    EXPECT_TRUE(mirror.apply(line)) << line;
  }
  const char* lines =
      "= 1/priority 1;= 5/priority 1;= 4294967295/priority 1;= 4294967296/priority 1;"
      "= 3-2/priority 1;= -1/priority 1;= 2-/priority 1;= 1-2/priority 1;+ 0/port['a'];"
      "+ 0/console 'd';+ 1/permit[::/0];+ 2-3/permit[::/0];- 2-3/permit[::/0];= 2;= 2/;"
      "= 2/priority;= 2/permit[::/0];= 2 /priority 1";
  expectRefused(mirror, *r, lines);
  EXPECT_TRUE(mirror.apply("= 2-4/priority 1"));
  EXPECT_EQ(r->console()->priority(), 1);
}

TEST(AttributeMirror, RefusesWhatDoesNotFitAndStaysAsItWas) {
  const auto r = makeRouter();
  r->newPort(IntfId("eth0"))->permitIs(zone, true);
  AttributeMirror mirror(r);
  const char* lines =
      "=;= ;= /;= /nothing 1;* /up True;= /up true;= /up True x;= /rx -1;= /rx 4294967296;"
      "= /rx 1 ;= /name 'open;= /since one;= /port['eth0'] 1;= /port['eth0']/address 1.2.3;"
      "= /port['eth0']/priority 257x;= /port['eth9']/priority 1;+ /port[eth0];"
      "+ /port['eth0';- /port;+ /zone[239.0.0.0/8];= /zone[239.0.0.0/33] 'e';"
      "= /port['eth0']/permit[::/0] 1;+ /console;+ /uplink['a'];= /message 'a';"
      "= /port['eth0']/priority;= /port['eth0']/priority 257;= /port['eth0']/interval 9";
  expectRefused(mirror, *r, lines);
  EXPECT_FALSE(mirror.apply(""));
}

TEST(TreeJson, HoldsEverythingWithNumbersAsNumbers) {
  const auto r = makeRouter();
  r->nameIs("a\"b\n");
  r->sinceIs(1.5);
  r->zoneIs(zone, IntfId("e"));
  for (const char* name : {"1", "2"}) r->newPort(IntfId(name));
  for (const auto& permitted : {zone, IpGenPrefix::multicast(AddressFamily::ipv6)}) {
    r->newConsole(IntfId("c"))->permitIs(permitted, true);
  }
  const std::string port = R"({"address":"unset","priority":256,"interval":60,"permit":[)";
  EXPECT_EQ(treeJson(*r),
            R"({"name":"a\"b\u000a","since":1.5,"up":false,"rx":0,"zone":{"239.0.0.0/8":"e"},)"
            R"("port":{"1":)" +
                port + R"(]},"2":)" + port + R"(]}},"console":)" + port +
                R"("239.0.0.0/8","ff00::/8"]}})");
}

}  // namespace
}  // namespace Routing
