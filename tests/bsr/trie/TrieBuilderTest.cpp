#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "bsr/trie/PimBsrCrpPermitTrieBuilder.h"
#include "bsr/trie/PimBsrTrieBuilder.h"
#include "tests/bsr/NeighborFixture.h"

namespace Routing::Pim::Bsr {
namespace {

using namespace TestKit;

/// A status, a trie, and what the trie's users were told.
struct TrieTest : TracedTest {
  TrieTest() {
    reactor = trie->routeReactor([this](const IpGenPrefix& route, TrieEvent event) {
      const char* names[] = {"added ", "deleted ", "changed "};
      events.push_back(names[static_cast<unsigned>(event)] + route.text());
    });
  }
  Lines routes() const {
    Lines all;
    trie->forEachRoute([&all](const IpGenPrefix& route) { all.push_back(route.text()); });
    return all;
  }
  Lines told() { return std::exchange(events, {}); }

  std::shared_ptr<Status> status = std::make_shared<Status>(VrfName("default"));
  std::shared_ptr<TrieGen> trie = std::make_shared<TrieGen>("T", AddressFamily::ipv4);
  Lines events;
  Subscription reactor;
};

using ZoneTrie = TrieTest;
using PermitTrie = TrieTest;

TEST_F(ZoneTrie, HoldsTheZonesThatHaveARecord) {
  trie->routeIs(prefix("239.9.0.0/16"));  // stale
  const auto record = status->newBootstrapRouter(prefix("239.1.0.0/16"));
  static_cast<void>(told());
  PimBsrTrieBuilderSm builder(status, trie);
  EXPECT_EQ(told(), (Lines{"added 239.1.0.0/16", "deleted 239.9.0.0/16"}));
  EXPECT_EQ(builder.trieUpdates(), 2U);
  builder.handleBsr();
  for (const char* zone : {"239.1.0.0/16", "239.9.0.0/16"}) builder.handleBsr(prefix(zone));
  EXPECT_EQ(builder.trieUpdates(), 2U) << "nothing is repeated";
  status->newBootstrapRouter(prefix("224.0.0.0/4"));
  expectTraced({"8 Added prefix 224.0.0.0/4 into trie"});
  status->bootstrapRouterDel(prefix("239.1.0.0/16"));
  expectTraced({"8 Deleted prefix 239.1.0.0/16 from trie", "9  ( 239.1.0.0/16 )"});
  EXPECT_EQ(routes(), (Lines{"224.0.0.0/4"}));
  EXPECT_EQ(builder.trieUpdates(), 4U);
}

TEST_F(ZoneTrie, AChangedAddressIsOneChangeEvent) {
  PimBsrTrieBuilderSm builder(status, trie);
  const auto old = status->newBootstrapRouter(prefix("239.1.0.0/16"));
  old->ipAddrIs(addr("10.0.0.1"));
  EXPECT_EQ(told(), (Lines{"added 239.1.0.0/16"})) << "the first address is no change";
  old->ipAddrIs(addr("10.0.0.2"));
  old->priorityIs(7);
  EXPECT_EQ(told(), (Lines{"changed 239.1.0.0/16"}));
  EXPECT_EQ(builder.trieUpdates(), 2U);
  expectTraced({"8  BSR changed for zone 239.1.0.0/16 to 10.0.0.2. Generating changeroute event"});
  status->bootstrapRouterDel(prefix("239.1.0.0/16"));
  const auto now = status->newBootstrapRouter(prefix("239.1.0.0/16"));
  static_cast<void>(told());
  old->ipAddrIs(addr("10.0.0.2"));
  now->ipAddrIs(addr("10.0.0.3"));
  EXPECT_EQ(told(), Lines{}) << "the old record is nobody's, the new one has its first address";
}

TEST_F(PermitTrie, HoldsThePermittedPrefixes) {
  trie->routeIs(prefix("11.0.0.0/8"));  // stale
  status->crpPermitIs(prefix("0.0.0.0/0"), true);
  PimBsrCrpPermitTrieBuilderSm builder(status, trie);
  EXPECT_EQ(routes(), (Lines{"0.0.0.0/0"}));
  status->crpPermitIs(prefix("10.0.0.0/8"), true);
  status->crpPermitDel(prefix("0.0.0.0/0"));
  builder.handleCrpPermit();
  EXPECT_EQ(routes(), (Lines{"10.0.0.0/8"}));
  EXPECT_EQ(builder.trieUpdates(), 4U);
  expectTraced({"8 Added prefix 10.0.0.0/8 into trie", "8 Deleted prefix 0.0.0.0/0 from trie",
                "9  ( 10.0.0.0/8 )"},
               "CrpPermitTrieBuilderSm");
}

}  // namespace
}  // namespace Routing::Pim::Bsr
