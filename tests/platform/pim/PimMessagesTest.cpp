#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>
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

using RpMap = std::map<IpGenAddr, BootstrapRpData>;

bool same(const BootstrapRpList& list, const RpMap& oracle) {
  return std::equal(list.begin(), list.end(), oracle.begin(), oracle.end(),
                    [](const BootstrapRp& rp, const auto& entry) {
                      return rp.address == entry.first && rp.data == entry.second;
                    });
}

// The sorted array against the map it stands for. Copies share it, and notice nothing.
RC_GTEST_PROP(BootstrapRpList, BehavesAsAMap, ()) {
  BootstrapRpList list;
  RpMap oracle;
  std::vector<std::pair<BootstrapRpList, RpMap>> copies;
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
    RC_ASSERT(same(list, oracle));
    if (data.rpPriority() % 2 == 0) copies.emplace_back(list, oracle);
    if (data.rpPriority() % 4 == 0 && !list.empty()) {
      list = list.part(1, list.size() - 1);
      oracle.erase(oracle.begin());
    }
  }
  for (const auto& [copy, then] : copies) RC_ASSERT(same(copy, then));
  for (const auto& [address, data] : oracle) RC_ASSERT(*list.find(address) == data);
}

}  // namespace
}  // namespace Routing::Pim
