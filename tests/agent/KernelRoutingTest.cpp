#include <gtest/gtest.h>

#include <string>

#include "agent/kernel/KernelRouting.h"
#include "tests/support/Octets.h"

namespace Routing::Agent {
namespace {

using TestKit::addr;

/// Answers as it is told, and counts the questions.
class FakeRoutes final : public RouteSource {
 public:
  std::optional<std::vector<RouteHop>> hops(const IpGenAddr&, std::uint32_t vrfIndex) override {
    ++questions;
    lastVrfIndex = vrfIndex;
    return answer;
  }

  std::optional<std::vector<RouteHop>> answer;
  unsigned questions = 0;
  std::uint32_t lastVrfIndex = 0;
};

class KernelRoutingTest : public testing::Test {
 protected:
  KernelRoutingTest() {
    interfaces.linkIs({2, "eth0", 1500, true, 0, false});
    interfaces.linkIs({3, "eth1", 1500, true, 0, false});
    interfaces.linkIs({4, "eth2", 1500, true, 9, false});
    interfaces.linkIs({9, "red", 1500, true, 0, true});
    interfaces.commit();
    source.answer = std::vector<RouteHop>{{2, addr("10.0.0.2")}, {3, {}}};
  }

  VirtualClock clock{1000};
  InterfaceTable interfaces;
  FakeRoutes source;
  KernelRouting routing{source, interfaces, clock, VrfName(std::string(VrfName::defaultName))};
  const IpGenAddr bsr = addr("192.0.2.1");
};

TEST_F(KernelRoutingTest, NamesTheInterfacesOfAllHops) {
  source.answer->push_back({77, addr("10.0.9.9")});  // a device that is not known
  source.answer->push_back({4, addr("10.0.2.2")});   // one of another VRF
  const auto hops = routing.nextHops(bsr);
  ASSERT_EQ(hops.size(), 2U);
  EXPECT_EQ(hops[0].intf, IntfId("eth0"));
  EXPECT_EQ(hops[0].gateway, addr("10.0.0.2"));
  EXPECT_EQ(hops[1].intf, IntfId("eth1"));
  EXPECT_TRUE(hops[1].gateway.isUnset());
}

TEST_F(KernelRoutingTest, AsksOnceUntilToldOfAChangeOrTheAnswerIsOld) {
  for (int i = 0; i < 1000; ++i) routing.nextHops(bsr);
  EXPECT_EQ(source.questions, 1U);
  source.answer->pop_back();
  routing.flush();
  EXPECT_EQ(routing.nextHops(bsr).size(), 1U);
  EXPECT_EQ(source.questions, 2U);
  clock.nowIs(1000 + KernelRouting::answerLife - 0.001);
  routing.nextHops(bsr);
  EXPECT_EQ(source.questions, 2U);
  clock.nowIs(1000 + KernelRouting::answerLife);
  routing.nextHops(bsr);
  EXPECT_EQ(source.questions, 3U);
}

TEST_F(KernelRoutingTest, DoesNotWaitAgainForASilentKernelAtOnce) {
  source.answer.reset();
  for (int i = 0; i < 10; ++i) EXPECT_TRUE(routing.nextHops(bsr).empty());
  EXPECT_EQ(source.questions, 1U);
  clock.nowIs(1000 + KernelRouting::failureLife);
  source.answer = std::vector<RouteHop>{{2, {}}};
  EXPECT_EQ(routing.nextHops(bsr).size(), 1U);
}

TEST_F(KernelRoutingTest, BoundsWhatItRemembers) {
  const auto total = static_cast<std::uint32_t>(3 * KernelRouting::maxAnswers);
  for (std::uint32_t i = 0; i < total; ++i) routing.nextHops(IpGenAddr::v4(0x0a000000 + i));
  EXPECT_EQ(source.questions, total);
  routing.nextHops(IpGenAddr::v4(0x0a000000 + total - 1));
  EXPECT_EQ(source.questions, total);  // the newest are remembered
  routing.nextHops(IpGenAddr::v4(0x0a000000));
  EXPECT_EQ(source.questions, total + 1);  // the oldest are not
}

TEST_F(KernelRoutingTest, HasNoWayToAddressesThatAreNotUnicastOfTheDomain) {
  for (const char* text : {"0.0.0.0", "::", "224.0.0.13", "ff02::d", "fe80::1", "169.254.1.1",
                           "127.0.0.1", "::1", "255.255.255.255"}) {
    EXPECT_TRUE(routing.nextHops(addr(text)).empty()) << text;
  }
  EXPECT_EQ(source.questions, 0U);
}

TEST_F(KernelRoutingTest, AsksInItsVrfAndStaysThere) {
  source.answer->push_back({4, addr("10.0.2.2")});  // eth2; the others are in the default VRF
  KernelRouting red(source, interfaces, clock, VrfName("red"));
  const auto hops = red.nextHops(bsr);
  ASSERT_EQ(hops.size(), 1U);
  EXPECT_EQ(hops[0].intf, IntfId("eth2"));
  EXPECT_EQ(source.lastVrfIndex, 9U);
  KernelRouting absent(source, interfaces, clock, VrfName("blue"));
  EXPECT_TRUE(absent.nextHops(bsr).empty());
  EXPECT_EQ(source.questions, 1U);
}

}  // namespace
}  // namespace Routing::Agent
