#include <gtest/gtest.h>

#include "tests/bsr/engine/CandidateFixture.h"

// What operators clear: in a zone or in all, one RP or all of them.

namespace Routing::Pim::Bsr {
namespace {

using namespace TestKit;

struct ClearTest : CandidateFixture {
  std::size_t clearRps(const std::string& zone, const std::string& rp) {
    return router.engine().clearRps(zone.empty() ? IpGenPrefix() : prefix(zone),
                                    rp.empty() ? IpGenAddr() : addr(rp));
  }
  /// The wait ends with the next event.
  std::size_t clearBsr(const IpGenPrefix& zone) {
    const std::size_t cleared = router.engine().clearBsr(zone);
    wait(0);
    return cleared;
  }
};

TEST_F(ClearTest, AFollowerForgetsRpsUntilTheyAreAnnouncedAgain) {
  const Bsm all = Bsm("192.0.2.9").group("225.0.0.0/8", {{"10.1.1.1"}, {"10.2.2.2"}});
  hear(all);
  hear(Bsm("192.0.2.9").zone(site, {{"10.1.1.1"}}));
  EXPECT_EQ(clearRps(site, "10.2.2.2"), 0U);
  EXPECT_EQ(clearRps("", "10.2.2.2"), 1U);
  EXPECT_EQ(router.rpSetOf(global), Lines{"225.0.0.0/8 10.1.1.1 150 0"});
  EXPECT_EQ(clearRps(global, ""), 1U);
  EXPECT_EQ(router.pimRps(), Lines{"239.1.0.0/16 10.1.1.1 150 0"});
  hear(all);
  EXPECT_EQ(router.rpSetOf(global).size(), 2U);
  EXPECT_EQ(clearRps("", ""), 3U);
  EXPECT_TRUE(router.pimRps().empty());
}

TEST_F(ClearTest, TheBsrWithdrawsInTheDomain) {
  standAndWin();
  advertise("225.0.0.0/8", "10.1.1.1");
  advertise("225.0.0.0/8", "10.2.2.2");
  wait(period);
  router.sentBsms();
  EXPECT_EQ(clearRps(global, "10.1.1.1"), 1U);
  wait(10);
  EXPECT_EQ(sent(), (Lines{"1075 eth0 " + std::string(ownText) +
                               " 225.0.0.0/8 0 2/2(10.1.1.1 0 0, 10.2.2.2 200 0)",
                           "1075 eth1 " + std::string(ownText) +
                               " 225.0.0.0/8 0 2/2(10.1.1.1 0 0, 10.2.2.2 200 0)"}));
  EXPECT_EQ(router.rpSetOf(global), Lines{"225.0.0.0/8 10.2.2.2 200 0"});
}

TEST_F(ClearTest, TheWaitForABsrEndsInTheZonesNamed) {
  stand(site);
  hear(better());
  hear(Bsm("192.0.2.9", 192).zone("239.2.0.0/16"));
  EXPECT_EQ(clearBsr(prefix("239.2.0.0/16")), 1U);
  EXPECT_EQ(router.follower("239.2.0.0/16")->state(), BsrNonCandidateState::acceptAny);
  EXPECT_EQ(router.follower(global)->state(), BsrNonCandidateState::acceptPreferred);
  EXPECT_EQ(state(site), "pBsr");
  EXPECT_EQ(clearBsr(IpGenPrefix()), 1U) << "who waits goes on waiting";
  EXPECT_EQ(router.bsrOf(global), "none");
  wait(backOffOfEqual);
  EXPECT_EQ(state(site), "eBsr");
  router.sentBsms();
  EXPECT_EQ(clearBsr(prefix(site)), 1U);
  EXPECT_EQ(sent().size(), 2U) << "the BSR speaks";
}

}  // namespace
}  // namespace Routing::Pim::Bsr
