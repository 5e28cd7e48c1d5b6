#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <map>
#include <tuple>
#include <vector>

#include "platform/pim/wire/BootstrapMessage.h"
#include "tests/support/Octets.h"
#include "tests/support/PimGenerators.h"

namespace Routing::Pim {
namespace {

using TestKit::prefix;

TEST(BootstrapMessage, ItsZoneIsTheFirstRangeIfThatHasTheZoneBit) {
  const IpGenPrefix global = prefix("224.0.0.0/4");
  const BootstrapGroupData plain(prefix("239.1.0.0/16"), BootstrapGroupData::bidirFlag);
  const BootstrapGroupData scoped(prefix("239.2.0.0/16"), 0x7e | BootstrapGroupData::zoneFlag);
  BootstrapMessage bsm;
  EXPECT_EQ(zoneOf(bsm, global), global) << "no range at all";
  bsm.groupRpDataAppend(plain);
  bsm.groupRpDataAppend(scoped);
  EXPECT_EQ(zoneOf(bsm, global), global) << "the bit on a later range means nothing";
  bsm.groupRpDataIs({scoped, plain});
  EXPECT_EQ(zoneOf(bsm, global), prefix("239.2.0.0/16"));
}

// The sorted array against the map it stands for.
RC_GTEST_PROP(BootstrapRpList, BehavesAsAMap, ()) {
  BootstrapRpList list;
  std::map<IpGenAddr, BootstrapRpData> oracle;
  const auto few = rc::gen::map(rc::gen::inRange<std::uint32_t>(1, 20), IpGenAddr::v4);
  const auto steps = *rc::gen::container<std::vector<std::tuple<IpGenAddr, BootstrapRpData, bool>>>(
      rc::gen::tuple(few, TestKit::genRpData(), rc::gen::arbitrary<bool>()));
  for (const auto& [address, data, erase] : steps) {
    if (erase) {
      list.rpDel(address);
      oracle.erase(address);
    } else {
      list.rpIs(address, data);
      oracle[address] = data;
    }
    RC_ASSERT((list.find(address) != nullptr) == !erase);
    RC_ASSERT(list.size() == oracle.size());
  }
  auto expected = oracle.begin();
  for (const auto& [address, data] : list) {
    RC_ASSERT(address == expected->first && data == expected->second);
    RC_ASSERT(*list.find(address) == data);
    ++expected;
  }
}

}  // namespace
}  // namespace Routing::Pim
