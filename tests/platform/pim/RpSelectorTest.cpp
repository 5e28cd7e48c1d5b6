#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "platform/pim/rp/RpSelector.h"
#include "platform/pim/rp/RpSetDigest.h"
#include "tests/support/Octets.h"
#include "tests/support/PimLan.h"

namespace Routing::Pim {
namespace {

using TestKit::addr;

TEST(RpSelector, TellsWhenTheAnswerOfAWatchedGroupHasSettled) {
  TestKit::VirtualWorld world;
  const auto status = std::make_shared<RpCandidateStatus>(VrfName("default"));
  RpSelector selector(status, world.wheel);
  std::string told;
  const auto note = [&told](const IpGenAddr& group, const std::optional<RpMapping>& rp) {
    told += group.text() + " " + (rp ? rp->rp.text() : "none") + ", ";
  };
  EXPECT_FALSE(selector.watch(addr("239.1.2.3"), note));
  EXPECT_FALSE(selector.watch(addr("225.0.0.1"), note));
  const auto settled = [&] {
    world.runUntil(world.wheel.now() + 1);
    return std::exchange(told, {});
  };

  status->newCrpSet(TestKit::prefix("224.0.0.0/4"))->newRp(addr("10.0.0.1"));
  EXPECT_EQ(told, "") << "it may not be all of the change";
  EXPECT_EQ(settled(), "225.0.0.1 10.0.0.1, 239.1.2.3 10.0.0.1, ");
  const auto narrow = status->newCrpSet(TestKit::prefix("239.1.0.0/16"));
  narrow->newRp(addr("10.0.0.2"))->priorityIs(RpPriority(5));
  EXPECT_EQ(settled(), "239.1.2.3 10.0.0.2, ");
  EXPECT_EQ(selector.selectRp(addr("239.1.9.9"))->rp, addr("10.0.0.2"));
  narrow->rp(addr("10.0.0.2"))->expiryTimeIs(99);
  status->newCrpSet(TestKit::prefix("238.0.0.0/8"))->newRp(addr("10.0.0.3"));
  EXPECT_EQ(settled(), "") << "another group's";
  selector.unwatch(addr("225.0.0.1"));
  status->crpSetDel(TestKit::prefix("224.0.0.0/4"));
  narrow->rpDel(addr("10.0.0.2"));
  EXPECT_EQ(settled(), "239.1.2.3 none, ");
  EXPECT_EQ(Pim::selectRp(addr("ff0e::1"), *status).decidedBy, RpRule::notCovered);
}

}  // namespace
}  // namespace Routing::Pim
