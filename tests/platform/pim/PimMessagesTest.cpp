#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <map>
#include <sstream>

#include "platform/pim/PimCodec.h"
#include "tests/support/Octets.h"
#include "tests/support/PimGenerators.h"

namespace Routing::Pim {
namespace {

using TestKit::addr;
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

TEST(BootstrapMessage, IsForwardedUnlessSaidOtherwise) {
  EXPECT_TRUE(BootstrapMessage{}.forward());
}

TEST(PimMessages, CompareByAllTheyHold) {
  const auto differsIn = [](auto change) {
    BootstrapMessage bsm, other;
    EXPECT_EQ(bsm, other);
    change(other);
    return !(bsm == other);
  };
  EXPECT_TRUE(differsIn([](auto& m) { m.sourceIs(addr("192.0.2.1")); }));
  EXPECT_TRUE(differsIn([](auto& m) { m.forwardIs(false); }));
  EXPECT_TRUE(differsIn([](auto& m) { m.fragmentTagIs(1); }));
  EXPECT_TRUE(differsIn([](auto& m) {
    m.groupRpDataAppend(BootstrapGroupData(prefix("239.0.0.0/8"))).rpCountIs(1);
  }));
}

TEST(PimMessages, PrintOneLineForTraces) {
  BootstrapMessage bsm;
  bsm.sourceIs(addr("10.0.0.2"));
  bsm.bsrAddressIs(addr("192.0.2.1"));
  bsm.bsrPriorityIs(100);
  bsm.fragmentTagIs(4097);
  bsm.forwardIs(false);
  std::ostringstream out;
  out << bsm;
  EXPECT_EQ(out.str(), "BSM from 10.0.0.2 BSR 192.0.2.1 priority 100 tag 4097 groups 0 no-forward");
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

TEST(BootstrapRpList, IsMadeFromRpsInAnyOrderButNotTwiceTheSame) {
  const BootstrapRp a{addr("192.0.2.1"), {150, 1}}, b{addr("192.0.2.2"), {150, 2}};
  const auto list = BootstrapRpList::fromRps({b, a});
  ASSERT_TRUE(list);
  EXPECT_EQ(*list->begin(), a);
  EXPECT_EQ(list->find(b.address)->rpPriority(), 2);
  EXPECT_EQ(list->find(addr("192.0.2.3")), nullptr);
  EXPECT_FALSE(BootstrapRpList::fromRps({b, a, b}));
}

}  // namespace
}  // namespace Routing::Pim
