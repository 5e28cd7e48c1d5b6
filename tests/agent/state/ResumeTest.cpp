#include "tests/agent/state/StateFixture.h"

// A router is killed, and another process goes on with its state.

namespace Routing::Agent {
namespace {

using namespace TestKit;

struct Resume : StateFixture {
  /// The router dies; `seconds` later a process is there with its state and without neighbours.
  void restart(double seconds) {
    file->flush();
    router.stop();
    router.sentBsms();
    for (const char* intf : {"eth0", "eth1"}) router.link(intf).neighborDelAll();
    router.pimRpStatus = std::make_shared<Pim::RpCandidateStatus>(VrfName("default"));
    wait(seconds);
    router.status = restored();
    ASSERT_NE(router.status, nullptr) << text("default.ipv4.bad");
    router.restart(Pim::Bsr::BsrPolicy::continuous());
    file->follow(router.status);
  }
};

TEST_F(Resume, AnElectedBsrGoesOnInItsOffice) {
  file->follow(router.status);
  standAndWin();
  wait(20);
  advertise("225.0.0.0/8", "10.9.9.9", 200, 7);
  advertise("226.0.0.0/8", "10.8.8.8", 151);
  wait(152 - 60);
  advertise("225.0.0.0/8", "10.9.9.9", 200, 7);
  const double expiry = rp("225.0.0.0/8", "10.9.9.9").expiryTime();
  const double setup = record().setupTime();
  restart(59);  // 10.8.8.8 does not outlive it
  const Lines rps{"225.0.0.0/8 10.9.9.9 200 7"};
  EXPECT_EQ(state(), "eBsr");
  EXPECT_EQ(router.bsrOf(global), "10.0.0.1 64 30");
  EXPECT_DOUBLE_EQ(record().setupTime(), setup);
  EXPECT_EQ(router.rpSetOf(global), rps);
  EXPECT_EQ(router.pimRps(), rps);
  EXPECT_DOUBLE_EQ(rp("225.0.0.0/8", "10.9.9.9").expiryTime(), expiry);
  goTo(justBefore(expiry));
  EXPECT_EQ(router.pimRps(), rps);
  goTo(expiry + 10);  // when all are told
  EXPECT_EQ(router.pimRps(), Lines{});
}

TEST_F(Resume, ItIsHeardSoonAfterTheNeighboursAreBack) {
  file->follow(router.status);
  standAndWin();
  advertise("225.0.0.0/8", "10.9.9.9");
  wait(30);
  restart(1);
  const std::string own = std::string(ownText) + " 225.0.0.0/8 0 1/1(10.9.9.9 200 0)";
  EXPECT_EQ(sent(), Lines{});
  router.neighborIs("eth1", "10.0.1.2");
  EXPECT_EQ(sent(), Lines{onBoth(now(), own).back()});
  wait(2);
  router.neighborIs("eth1", "10.0.1.3");
  router.neighborIs("eth0", "10.0.0.2");
  EXPECT_EQ(sent(), Lines{onBoth(now(), own).front()});
  wait(8);
  EXPECT_EQ(sent(), onBoth(now(), own));
  router.link("eth0").neighborDelAll();
  router.neighborIs("eth0", "10.0.0.2");
  EXPECT_EQ(sent(), Lines{}) << "it was heard";
}

TEST_F(Resume, AFollowerKeepsItsBsrAndTheRpsThatLive) {
  file->follow(router.status);
  hear(Bsm("192.0.2.9", 192)
           .group("225.0.0.0/8", {{"10.9.9.9", 100, 1}, {"10.9.9.8", 20}})
           .group("226.0.0.0/8", {{"10.8.8.8", 20}})
           .group("227.0.0.0/8"));
  const double heard = now();
  wait(10);
  restart(15);
  EXPECT_EQ(router.bsrOf(global), "192.0.2.9 192 30");
  EXPECT_EQ(router.pimRps(), Lines{"225.0.0.0/8 10.9.9.9 100 1"});
  EXPECT_EQ(router.rpSetOf(global), (Lines{"225.0.0.0/8 10.9.9.9 100 1", "227.0.0.0/8 empty"}));
  goTo(justBefore(heard + 100));
  EXPECT_EQ(router.pimRps().size(), 1U);
  wait(1);
  EXPECT_EQ(router.pimRps(), Lines{});
}

TEST_F(Resume, WhatHasRunOutMeanwhileIsGone) {
  file->follow(router.status);
  stand(site);
  standAndWin();
  hear(Bsm("192.0.2.9", 192).zone("239.2.0.0/16", {{"10.7.7.7", 65535}}).group("239.2.0.0/24"));
  advertise("225.0.0.0/8", "10.9.9.9", 65535);
  goTo(1030);
  EXPECT_EQ(sent().back().substr(0, 4), "1015");
  restart(justBefore(1015 + 130) - 1030);
  EXPECT_EQ(state(), "eBsr");
  restart(130);
  EXPECT_EQ(state(), "pBsr") << "nobody follows it any more";
  EXPECT_EQ(router.status->bootstrapRouter().size(), 0U);
  EXPECT_EQ(router.rpSetOf(global), Lines{"225.0.0.0/8 10.9.9.9 65535 0"});
  EXPECT_EQ(router.rpSetOf("239.2.0.0/16"), Lines{"239.2.0.0/16 10.7.7.7 65535 0"});
}

/// Many messages and a long time; at every restart the file gives back what there was.
TEST_F(Resume, TheFileIsWrittenAnewWhenItHasDoubled) {
  file->follow(router.status);
  std::size_t largest = 0;
  for (unsigned turn = 0; turn < 400; ++turn) {
    Bsm bsm("192.0.2.9", 192);
    for (unsigned range = 0; range < 20; ++range) {
      Rps rps;
      for (unsigned i = 0; i < 5; ++i) {
        rps.push_back({"10.9." + std::to_string(range) + "." + std::to_string(i + 1),
                       100 + (range * i + turn) % 3, turn % 7});
      }
      bsm.group("225." + std::to_string(range) + ".0.0/16", rps);
    }
    hear(bsm);
    file->flush();
    wait(turn % 10 == 0 ? 103 : 1);
    file->flush();
    largest = std::max(largest, text().size());
    if (turn % 20 != 0) continue;
    const auto again = restored();
    ASSERT_NE(again, nullptr);
    router.status->countersDel();
    again->countersDel();
    ASSERT_EQ(treeText(*again), treeText(*router.status));
    router.status->countersIs("counters");
  }
  EXPECT_LE(largest, StateFile::leastSize);
  EXPECT_GT(largest, StateFile::leastSize / 2);
}

}  // namespace
}  // namespace Routing::Agent
