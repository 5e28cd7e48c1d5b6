#include <gtest/gtest.h>

#include "bsr/upgrade/PimBsrZeuSm.h"
#include "tests/support/PimLan.h"
#include "tests/support/Refusal.h"
#include "tests/support/TraceRecorder.h"

namespace Routing::TestKit {
namespace {

namespace Bsr = Pim::Bsr;

struct Upgrade : ::testing::Test {
  VirtualWorld world;
  std::shared_ptr<Bsr::Config> config = std::make_shared<Bsr::Config>(VrfName("red"));
  std::shared_ptr<Bsr::Status> status = std::make_shared<Bsr::Status>(VrfName("red"));
  std::shared_ptr<ZeuShutdownStatus> controller = std::make_shared<ZeuShutdownStatus>();
  std::shared_ptr<ZeuVrfStatus> done = std::make_shared<ZeuVrfStatus>();
  std::unique_ptr<Bsr::ZeuSm> sm;

  void start() { sm = Bsr::zeuSmFactory(config, status, world.wheel, controller, done); }
  unsigned interval(const char* rp) { return status->crp(addr(rp))->interval().value(); }
  bool completed() { return done->completedVrf(VrfName("red")) != nullptr; }
};

TEST_F(Upgrade, StretchesEveryCandidateAndReportsAfterTheDelay) {
  TraceRecorder traces;
  status->newCrp(addr("10.1.1.1"));
  status->newCrp(addr("10.1.1.2"));
  start();
  EXPECT_TRUE(sm->initialized());
  world.runUntil(10);
  EXPECT_EQ(interval("10.1.1.1"), 60U) << "nothing is done without shutdown";
  controller->shutdownIs(true);
  EXPECT_EQ(interval("10.1.1.1"), 120U);
  EXPECT_EQ(interval("10.1.1.2"), 120U);
  EXPECT_TRUE(traces.contains("Sm", 8, "doZeuShutdown(), Starting the ZEU notification timer"));
  world.runUntil(justBefore(15));
  EXPECT_FALSE(completed());
  world.runUntil(15);
  EXPECT_TRUE(completed());
  EXPECT_TRUE(traces.contains("Sm", 8, "handleZeuTimerExpiry()"));
  EXPECT_FALSE(sm->zeuTimer().armed());
}

TEST_F(Upgrade, AShutdownUnderWayIsTakenUpAndOneWithoutCandidatesCompletes) {
  controller->shutdownIs(true);
  start();
  world.runUntil(5);
  EXPECT_TRUE(completed());
}

TEST_F(Upgrade, ASecondShutdownStartsTheDelayAnew) {
  start();
  controller->shutdownIs(true);
  world.runUntil(2);
  controller->shutdownIs(false);
  status->newCrp(addr("10.1.1.1"));
  world.runUntil(3);
  controller->shutdownIs(true);
  EXPECT_EQ(interval("10.1.1.1"), 120U);
  int reports = 0;
  const auto reactor = done->completedVrfReactor([&](const VrfName&) { ++reports; });
  world.runUntil(justBefore(8));
  EXPECT_EQ(reports, 0);
  world.runUntil(100);
  EXPECT_EQ(reports, 1);
}

TEST_F(Upgrade, AnIntervalOutOfBoundsIsRefusedWhereItIsUsed) {
  start();
  sm->zeuCrpIntervalIs(21846);
  status->newCrp(addr("10.1.1.1"));
  EXPECT_EQ(refusal([&] { controller->shutdownIs(true); }),
            "CrpAdvInterval::value < 1 or > 21845 not allowed");
  EXPECT_EQ(interval("10.1.1.1"), 60U);
  world.runUntil(100);
  EXPECT_FALSE(completed());
}

}  // namespace
}  // namespace Routing::TestKit
