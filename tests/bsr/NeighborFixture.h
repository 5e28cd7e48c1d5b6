#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tests/support/BsrRouter.h"

// What the tests of the engine begin with.

namespace Routing::TestKit {

/// A test that records what is traced.
struct TracedTest : ::testing::Test {
  /// Expects traces of a facility, "LEVEL TEXT" each, that end so.
  void expectTraced(const Lines& lines, std::string_view facility = "Sm") const {
    for (const std::string& each : lines) {
      EXPECT_TRUE(traces.ends(facility, each[0] - '0', each.substr(2))) << each << traces.text();
    }
  }
  TraceRecorder traces;
};

/// A router at 10.0.0.1 whose way to the BSRs 10.9.9.1 and 10.9.9.9 is over 10.0.0.2 on eth0.
struct NeighborFixture : TracedTest {
  NeighborFixture() {
    linkIs("eth0");
    for (const char* bsr : {"10.9.9.1", "10.9.9.9"}) router.routeIs(bsr, "eth0", "10.0.0.2");
  }

  /// A link with a neighbour on it.
  void linkIs(const std::string& intf, unsigned mtu = 1500) {
    router.linkIs(intf, "10.0.0.1", mtu);
    router.neighborIs(intf, "10.0.0.2");
  }
  void hear(const Pim::BootstrapMessage& message) { router.hear("eth0", "10.0.0.2", message); }
  /// As if nothing had been heard.
  void forget() {
    router.stop();
    router.status->bootstrapRouterDelAll();
    router.status->crpStatusDelAll();
    router.start();
  }
  std::shared_ptr<Bsr::PimBsrRxFragments> fragments(std::uint16_t tag) {
    return router.engine().bsmRxFragments(tag);
  }

  VirtualWorld world;
  BsrRouter router{AddressFamily::ipv4, world.wheel};
};

}  // namespace Routing::TestKit
