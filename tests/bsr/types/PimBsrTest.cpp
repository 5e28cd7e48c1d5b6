#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "bsr/types/PimBsr.h"
#include "tests/support/BsrRouter.h"

namespace Routing::Pim::Bsr {
namespace {

using namespace TestKit;

PimBsrWeight weight(unsigned priority, const char* address) {
  return {static_cast<std::uint8_t>(priority), addr(address)};
}

// --- the election weight ----------------------------------------------------------------------

TEST(PimBsrWeight, AscendsByPriorityThenByAddressAsAnUnsignedNumber) {
  const std::vector<std::vector<PimBsrWeight>> ladders{
      {weight(0, "0.0.0.1"), weight(0, "10.0.0.9"), weight(0, "127.255.255.255"),
       weight(0, "128.0.0.0"), weight(0, "223.255.255.255"), weight(1, "10.0.0.1"),
       weight(64, "10.0.0.1"), weight(127, "10.0.0.1"), weight(128, "0.0.0.1"),
       weight(255, "0.0.0.1"), weight(255, "255.255.255.255")},
      {weight(7, "::1"), weight(7, "::ffff:ffff:ffff:ffff"), weight(7, "0:0:0:1::"),
       weight(7, "7fff::"), weight(7, "8000::"), weight(7, "8000::1"), weight(8, "::1")}};
  for (const auto& ladder : ladders) {
    for (std::size_t i = 0; i < ladder.size(); ++i) {
      for (std::size_t k = 0; k < ladder.size(); ++k) {
        EXPECT_EQ(ladder[i] < ladder[k], i < k) << ladder[i] << " and " << ladder[k];
        EXPECT_EQ(ladder[i] == ladder[k], i == k);
      }
    }
  }
}

TEST(PimBsrWeight, AssertsAKnownFamilyOnlyWhereAddressesDecide) {
  const PimBsrWeight v4 = weight(5, "10.0.0.1"), v6 = weight(5, "2001:db8::1");
  EXPECT_EQ(refusal([&] { return v4 < v6; }), "ipAddr() .af() == weight.ipAddr().af()");
  EXPECT_EQ(refusal([&] { return PimBsrWeight{} < PimBsrWeight{}; }),
            "0 && \"Unknown address family not supported\"");
  EXPECT_EQ(refusal([&] { return v4 < weight(6, "2001:db8::1"); }), "none");
}

TEST(PimBsrWeight, AnOptionAndAWeightHashByAllTheyHold) {
  const auto option = [](const char* rp, unsigned priority) {
    return CrpOptions(addr(rp), RpPriority(priority)).hash();
  };
  EXPECT_EQ(weight(5, "10.0.0.1").hash(), weight(5, "10.0.0.1").hash());
  EXPECT_NE(weight(5, "10.0.0.1").hash(), weight(6, "10.0.0.1").hash());
  EXPECT_NE(weight(5, "10.0.0.1").hash(), weight(5, "10.0.0.2").hash());
  EXPECT_EQ(option("10.0.0.1", 5), option("10.0.0.1", 5));
  EXPECT_NE(option("10.0.0.1", 5), option("10.0.0.1", 6));
  EXPECT_NE(option("10.0.0.1", 5), option("10.0.0.2", 5));
}

// --- notation ---------------------------------------------------------------------------------

TEST(PimBsrValues, HaveTheNotationOfStructuredValues) {
  EXPECT_EQ(valueText(weight(64, "10.0.0.1")),
            "Value('Routing::Pim::Bsr::PimBsrWeight', ** {'priority': 64, 'ipAddr': 10.0.0.1})");
  EXPECT_EQ(valueText(CrpOptions(addr("2001:db8::5"), RpPriority(192))),
            "Value('Routing::Pim::Bsr::CrpOptions', ** {'rpAddress': 2001:db8::5, 'priority': "
            "192})");
  PimBsrErrorCounters errors;
  errors.rxFilterIs(1);
  errors.rxNbrRpfCheckIs(2);
  errors.rxNoForwardBsmIs(3);
  errors.rxUnicastBsmIs(4);
  errors.rxScopeMismatchIs(5);
  errors.rxInvalidIs(4294967295);
  std::ostringstream out;
  out << errors;
  EXPECT_EQ(out.str(),
            "Value('Routing::Pim::Bsr::PimBsrErrorCounters', ** {'rxFilter': 1, 'rxNbrRpfCheck': "
            "2, 'rxNoForwardBsm': 3, 'rxUnicastBsm': 4, 'rxScopeMismatch': 5, 'rxInvalid': "
            "4294967295})");
  EXPECT_EQ(parseValue<PimBsrErrorCounters>(out.str()), errors);
}

// --- the back-off of a candidate --------------------------------------------------------------

struct BackOffCase {
  PimBsrWeight mine;
  PimBsrWeight stored;
  double addrDelay;
  double priorityDelay;
  std::uint32_t seconds;
};

TEST(BackOff, FollowsPriorityAndAddress) {
  const std::vector<BackOffCase> cases{
      // Nobody better is known: the shortest wait.
      {weight(64, "10.0.0.1"), weight(64, "10.0.0.1"), 0, 0, 5},
      {weight(64, "10.0.0.9"), weight(64, "10.0.0.1"), 0, 0, 5},
      {weight(192, "10.0.0.1"), weight(64, "255.0.0.1"), std::log2(0xf5000001) / 16, 0, 6},
      // Equal priority: by the distance of the addresses; all 32 bits of it make just under 2 s.
      {weight(64, "10.0.0.1"), weight(64, "10.0.0.2"), 1.0 / 16, 0, 5},
      {weight(64, "0.0.0.1"), weight(64, "255.255.255.255"), 2 - 2.1e-11, 0, 6},
      // A better priority is known: by the difference, and the higher the address the sooner.
      {weight(64, "10.0.0.1"), weight(192, "10.0.0.2"), 2 - 0x0a000001 * std::pow(2, -31),
       2 * std::log2(129), 20},
      {weight(0, "0.0.0.1"), weight(255, "10.0.0.2"), 2 - std::pow(2, -31), 16, 22},
      {weight(63, "255.255.255.255"), weight(64, "10.0.0.2"), std::pow(2, -31), 2, 7},
      // IPv6: a constant in place of the address.
      {weight(64, "2001:db8::1"), weight(64, "2001:db8::ffff"), 5, 0, 10},
      {weight(64, "2001:db8::1"), weight(65, "2001:db8::1"), 5, 2, 12},
  };
  for (const BackOffCase& each : cases) {
    const BackOff delay = backOff(each.mine, each.stored);
    const auto about = testing::Message() << each.mine << " against " << each.stored;
    EXPECT_NEAR(delay.addrDelay, each.addrDelay, 1e-9) << about;
    EXPECT_NEAR(delay.priorityDelay, each.priorityDelay, 1e-9) << about;
    EXPECT_NEAR(delay.delay, 5 + each.addrDelay + each.priorityDelay, 1e-9) << about;
    EXPECT_EQ(delay.seconds, each.seconds) << about;
  }
}

TEST(BackOff, AssertsAKnownFamily) {
  EXPECT_EQ(refusal([] { return backOff({}, {}); }),
            "0 && \"Unknown address family not supported.\"");
}

}  // namespace
}  // namespace Routing::Pim::Bsr
