#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <string>
#include <vector>

#include "platform/entity/AttributeLog.h"
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

TEST(AttributeMirror, RefusesWhatDoesNotFitAndStaysAsItWas) {
  const auto r = makeRouter();
  r->newPort(IntfId("eth0"))->permitIs(zone, true);
  AttributeMirror mirror(r);
  const std::string before = treeText(*r);
  const char* lines =
      "=;= ;= /;= /nothing 1;* /up True;= /up true;= /up True x;= /rx -1;= /rx 4294967296;"
      "= /rx 1 ;= /name 'open;= /since one;= /port['eth0'] 1;= /port['eth0']/address 1.2.3;"
      "= /port['eth0']/priority 257x;= /port['eth9']/priority 1;+ /port[eth0];"
      "+ /port['eth0';- /port;+ /zone[239.0.0.0/8];= /zone[239.0.0.0/33] 'e';"
      "= /port['eth0']/permit[::/0] 1;+ /console;+ /uplink['a'];= /message 'a';"
      "= /port['eth0']/priority;= /port['eth0']/priority 257;= /port['eth0']/interval 9";
  for (const std::string& line : TestKit::split(lines, ';')) {
    EXPECT_FALSE(mirror.apply(line)) << line;
    EXPECT_EQ(treeText(*r), before) << line;
  }
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
