#include <gtest/gtest.h>

#include "bsr/types/MessageStatus.h"
#include "bsr/types/Status.h"
#include "bsr/types/ZoneRules.h"
#include "tests/support/Octets.h"

namespace Routing::Pim::Bsr {
namespace {

using TestKit::addr;
using TestKit::prefix;

TEST(Status, NewEntriesAreMarkedAsNotSet) {
  Status status(VrfName("red"));
  EXPECT_EQ(status.af(), AddressFamily::unset);
  EXPECT_EQ(status.bsTimeout(), 0U);
  EXPECT_EQ(status.szTimeout(), 0U);
  EXPECT_EQ(status.counters(), nullptr);
  const auto candidate = status.newCbsr(prefix("224.0.0.0/4"));
  EXPECT_EQ(candidate->priority(), priorityUnknown);
  EXPECT_EQ(candidate->hashMaskLen(), hashMaskLenUnknown);
  EXPECT_EQ(candidate->bsPeriod(), bsPeriodUnknown);
  EXPECT_TRUE(candidate->address().isUnset());
  EXPECT_FALSE(candidate->elected());
  EXPECT_EQ(candidate->state(), BsrCandidateState::noInfoBsr);
  const auto record = status.newBootstrapRouter(prefix("224.0.0.0/4"));
  EXPECT_EQ(record->priority(), 256);
  EXPECT_EQ(record->hashMaskLen(), 128U);
  EXPECT_TRUE(record->ipAddr().isUnset());
  EXPECT_EQ(record->setupTime(), 0.0);
  EXPECT_EQ(record->expiryTime(), 0.0);
  EXPECT_EQ(status.newCrp(addr("10.0.0.1"))->interval(), CrpAdvInterval(60));
}

TEST(Status, FactoriesReturnWhatExists) {
  Status status(VrfName("default"));
  const IpGenPrefix zone = prefix("239.1.0.0/16");
  EXPECT_EQ(status.newCbsr(zone), status.newCbsr(zone));
  const auto counters = status.countersIs("a");
  EXPECT_EQ(status.countersIs("b"), counters);
  EXPECT_EQ(status.counters()->name(), "a");
}

TEST(Status, PermittedPrefixesAreASet) {
  Status status(VrfName("default"));
  std::size_t changes = 0;
  const auto reactor = status.crpPermitReactor([&](const IpGenPrefix&) { ++changes; });
  status.crpPermitIs(prefix("10.0.0.0/8"), true);
  status.crpPermitIs(prefix("10.0.0.0/8"), true);
  EXPECT_EQ(status.crpPermit().size(), 1U);
  status.crpPermitDel(prefix("11.0.0.0/8"));
  EXPECT_EQ(changes, 1U);
}

TEST(Status, HandOverCountsWrapAndStillNotify) {
  PimBsmStatus bsm;
  bsm.writeCountIs(4294967295);
  std::size_t writes = 0;
  const auto reactor = bsm.writeCountReactor([&] { ++writes; });
  bsm.writeCountInc();
  EXPECT_EQ(bsm.writeCount(), 0U);
  EXPECT_EQ(writes, 1U);
  PimCrpMsgStatus crp;
  crp.readCountIs(4294967295);
  crp.readCountInc();
  EXPECT_EQ(crp.readCount(), 0U);
}

// --- borders ----------------------------------------------------------------------------------

struct BorderCase {
  const char* listed;  // the prefix that lists eth0
  const char* zone;
  bool border;
};

TEST(IsBorder, CountsTheZonesOwnEntryAndTheOneOfAllGroups) {
  const BorderCase cases[] = {
      {"239.1.0.0/16", "239.1.0.0/16", true},  {"224.0.0.0/4", "239.1.0.0/16", true},
      {"224.0.0.0/4", "224.0.0.0/4", true},    {"239.0.0.0/8", "239.1.0.0/16", false},
      {"239.1.1.0/24", "239.1.0.0/16", false}, {"239.1.0.0/16", "224.0.0.0/4", false},
      {"239.2.0.0/16", "239.1.0.0/16", false}, {"0.0.0.0/0", "239.1.0.0/16", false},
      {"ff00::/8", "ff05::/16", true},         {"ff05::/16", "ff05::/16", true},
      {"ff05::/16", "ff00::/8", false},        {"ff00::/8", "239.1.0.0/16", false},
  };
  for (const BorderCase& each : cases) {
    Status status(VrfName("default"));
    status.newBsBorder(prefix(each.listed))->intfIdIs(IntfId("eth0"), true);
    EXPECT_EQ(isBorder(status, prefix(each.zone), IntfId("eth0")), each.border)
        << each.listed << " for " << each.zone;
    EXPECT_FALSE(isBorder(status, prefix(each.zone), IntfId("eth1"))) << "not listed";
  }
}

TEST(IsBorder, FollowsTheInterfacesOfAnEntry) {
  Status status(VrfName("default"));
  const IpGenPrefix zone = prefix("239.1.0.0/16");
  const auto border = status.newBsBorder(zone);
  border->intfIdIs(IntfId("eth0"), true);
  border->intfIdIs(IntfId("eth1"), true);
  border->intfIdIs(IntfId("eth0"), false);
  EXPECT_FALSE(isBorder(status, zone, IntfId("eth0")));
  EXPECT_TRUE(isBorder(status, zone, IntfId("eth1")));
  status.bsBorderDel(zone);
  EXPECT_FALSE(isBorder(status, zone, IntfId("eth1")));
}

}  // namespace
}  // namespace Routing::Pim::Bsr
