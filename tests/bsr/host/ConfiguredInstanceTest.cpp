#include <gtest/gtest.h>

#include <algorithm>

#include "bsr/upgrade/PimBsrZeuSm.h"
#include "tests/support/BsrRouter.h"
#include "tests/support/ConfigBed.h"

// The whole mechanism in one VRF, from configuration to messages.

namespace Routing::TestKit {
namespace {

struct ConfiguredInstance : ::testing::Test {
  VirtualWorld world;
  BsrRouter router{AddressFamily::ipv4, world.wheel};
  ConfigBed bed;
  std::shared_ptr<ZeuShutdownStatus> controller = std::make_shared<ZeuShutdownStatus>();
  std::shared_ptr<ZeuVrfStatus> done = std::make_shared<ZeuVrfStatus>();
  Bsr::BsrInputs inputs = router.instance->inputs();

  void SetUp() override {
    router.linkIs("eth0", "10.0.0.1");
    router.neighborIs("eth0", "10.0.0.2");
    router.stop();
    inputs.config = bed.config;
    inputs.vrfIntfConfig = bed.vrfIntfConfig;
    inputs.clearConfig = bed.clearConfig;
    inputs.sourceIntfSm = bed.sourceIntfSm;
    inputs.ipAclConfig = bed.acls;
    inputs.zeuShutdownStatus = controller;
    inputs.zeuVrfStatus = done;
    bed.addressIs("eth0", "10.0.0.1");
    router.ucastRoutes->routeIs(prefix("10.0.0.1/32"), {Pim::ForwardingKind::local});
  }
  void start() { router.instance = std::make_unique<Bsr::BsrInstance>(inputs); }
  void candidates() {
    bed.groupIs("eth0", "224.0.0.0/4");
    bed.rp("eth0")->groupRangeIs(prefix("224.0.0.0/4"), true);
    bed.rangePriorityIs("eth0", "224.0.0.0/4", 192);
  }
  std::vector<std::string> bsms() {
    std::vector<std::string> lines;
    for (const auto& each : router.sentBsms()) lines.push_back(bsmText(*each.bsm));
    return lines;
  }
};

TEST_F(ConfiguredInstance, ARestartWithTheSameConfigurationWritesNoneOfIt) {
  candidates();
  bed.groupIs("eth0", "239.1.0.0/16");
  bed.border("eth1")->bsrBorderGrpIs(prefix("239.1.0.0/16"), true);
  bed.aclIs("rps", {"permit 10.0.0.0/8"});
  bed.config->crpFilterAclIs("rps", true);
  start();
  world.runUntil(400);
  router.stop();
  Lines lines;
  AttributeLog log(router.status, [&](std::string_view line) { lines.emplace_back(line); });
  lines.clear();
  start();
  // Intake resets its counters, and the engine goes through its states to where it was.
  for (const char* own : {"/counters/", "/bootstrapRouter[", "/state "}) {
    std::erase_if(lines, [&](const auto& line) { return line.find(own) != std::string::npos; });
  }
  EXPECT_EQ(lines, Lines{});
}

TEST_F(ConfiguredInstance, WhatWasDeconfiguredWhileItWasDownSaysGoodbye) {
  candidates();
  start();
  world.runUntil(400);
  router.stop();
  bsms();
  bed.bsr("eth0")->groupDel(prefix("224.0.0.0/4"));
  start();
  EXPECT_FALSE(router.status->cbsr(prefix("224.0.0.0/4")));
  const auto sent = bsms();
  const auto goodbye = std::find_if(sent.begin(), sent.end(), [](const std::string& line) {
    return line.starts_with("10.0.0.1 0 30");
  });
  EXPECT_NE(goodbye, sent.end()) << ::testing::PrintToString(sent);
}

TEST_F(ConfiguredInstance, PreparesAnUpgrade) {
  candidates();
  start();
  world.runUntil(400);
  ASSERT_NE(router.instance->zeuSm(), nullptr);
  controller->shutdownIs(true);
  EXPECT_EQ(router.status->crp(addr("10.0.0.1"))->interval().value(), 120U);
  world.runUntil(405);
  EXPECT_NE(done->completedVrf(VrfName("default")), nullptr);
  controller->shutdownIs(false);
  router.stop();
  start();
  EXPECT_EQ(router.status->crp(addr("10.0.0.1"))->interval().value(), 60U);
}

TEST_F(ConfiguredInstance, GoesWithoutConfiguration) {
  inputs.config.reset();
  inputs.zeuVrfStatus.reset();
  const auto before = router.status->crpPermit();
  start();
  EXPECT_EQ(router.instance->configSm(), nullptr);
  EXPECT_EQ(router.instance->zeuSm(), nullptr);
  EXPECT_EQ(router.status->crpPermit(), before);
}

}  // namespace
}  // namespace Routing::TestKit
