#include <gtest/gtest.h>

#include "bsr/types/Status.h"
#include "bsr/types/ZoneRules.h"
#include "tests/support/Octets.h"

namespace Routing::Pim::Bsr {
namespace {

using namespace TestKit;

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

}  // namespace
}  // namespace Routing::Pim::Bsr
