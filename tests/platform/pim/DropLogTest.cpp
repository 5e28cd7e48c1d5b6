#include <gtest/gtest.h>

#include "platform/pim/DropLog.h"
#include "tests/support/Octets.h"

namespace Routing::Pim {
namespace {

using TestKit::addr;

Drop fromNeighbor(unsigned number, std::uint16_t tag) {
  return {.code = DropCode::wrongRpfNeighbor,
          .intf = IntfId("eth" + std::to_string(number)),
          .source = addr("10.0.0.1"),
          .subject = addr("192.0.2.1"),
          .tag = tag};
}

TEST(DropLog, KeepsTheLastOnesAndCountsThoseThatAreAlike) {
  DropLog log;
  double now = 0;
  log.clockIs([&] { return now; });
  for (unsigned number = 0; number <= DropLog::kept; ++number) log.add(fromNeighbor(number, 1));
  now = 5;
  log.add(fromNeighbor(1, 2));
  ASSERT_EQ(log.last().size(), DropLog::kept);
  EXPECT_EQ(log.last().front().intf.text(), "eth2");
  EXPECT_EQ(log.last().back().intf.text(), "eth1");
  EXPECT_EQ(log.last().back().count, 2u);
  EXPECT_EQ(log.last().back().time, 5);
}

TEST(DropLog, TakesACopyForAnEchoOnceTheMessageIsAccepted) {
  DropLog log;
  log.add(fromNeighbor(1, 1));
  log.add(fromNeighbor(1, 2));
  log.add(fromNeighbor(2, 2));
  log.known(addr("192.0.2.2"), 2);
  EXPECT_EQ(log.echoes().rpf, 0u);
  log.known(addr("192.0.2.1"), 2);
  log.known(addr("192.0.2.1"), 2);
  EXPECT_EQ(log.echoes().rpf, 2u);
  ASSERT_EQ(log.last().size(), 1u);
  EXPECT_EQ(log.last().front().count, 1u);  // of the message that never was accepted
  EXPECT_EQ(log.echoesByIntf().at(IntfId("eth2")), 1u);
}

}  // namespace
}  // namespace Routing::Pim
