#include <gtest/gtest.h>

#include "agent/router/Drain.h"
#include "tests/support/Octets.h"

namespace Routing::Agent {
namespace {

using TestKit::addr;
using TestKit::prefix;

/// A router with two zones, BSR of the first one, and with two candidate RPs.
class DrainTest : public testing::Test {
 protected:
  DrainTest() {
    for (const auto& [zone, elected] : {std::pair(all, true), std::pair(scoped, false)}) {
      const auto candidate = status->newCbsr(zone);
      candidate->addressIs(own);
      candidate->electedIs(elected);
      status->newBootstrapRouter(zone)->ipAddrIs(own);
    }
    for (const IpGenAddr& rp : {own, second}) status->newCrp(rp);
    crpSets(all).newCrpSet(all)->newRp(own);
    crpSets(scoped).newCrpSet(scoped)->newRp(addr("10.0.0.9"));
    rpCandidate->newCrpSet(scoped)->newRp(second);
    add({.bsr = true});
  }

  Pim::RpCandidateStatus& crpSets(const IpGenPrefix& zone) {
    return *status->newCrpStatus(zone)->newStatus(vrf);
  }
  InstanceView view(const VrfName& name, const std::shared_ptr<Pim::Bsr::Status>& entity) const {
    return {name, AddressFamily::ipv4, nullptr, nullptr, entity, rpCandidate, nullptr, nullptr};
  }
  std::vector<InstanceView> instances() const {
    return {view(VrfName("other"), other), view(vrf, status)};
  }
  void add(const Candidacies& kinds) { drain.add(kinds, instances()); }
  DrainReport report() const { return drain.report(instances()); }

  const VrfName vrf{"red"};
  const IpGenPrefix all = prefix("224.0.0.0/4");
  const IpGenPrefix scoped = prefix("239.0.0.0/8");
  const IpGenAddr own = addr("10.0.0.1");
  const IpGenAddr second = addr("10.0.0.2");
  std::shared_ptr<Pim::Bsr::Status> status = std::make_shared<Pim::Bsr::Status>(vrf);
  std::shared_ptr<Pim::Bsr::Status> other = std::make_shared<Pim::Bsr::Status>(VrfName("other"));
  std::shared_ptr<Pim::RpCandidateStatus> rpCandidate =
      std::make_shared<Pim::RpCandidateStatus>(vrf);
  Drain drain;
};

TEST_F(DrainTest, OfABsrIsCompleteWhenAnotherOneIsFollowed) {
  ASSERT_EQ(report().zones.size(), 1U) << "only where it was elected";
  EXPECT_TRUE(report().rps.empty());
  EXPECT_EQ(report().zones[0].zone, all);
  EXPECT_TRUE(report().zones[0].bsr.isUnset()) << "it is named by the record itself";
  status->bootstrapRouterDel(all);
  status->cbsrDelAll();
  EXPECT_FALSE(report().complete());
  status->newBootstrapRouter(all)->ipAddrIs(second);
  EXPECT_EQ(report().zones[0].bsr, second);
  EXPECT_TRUE(report().complete());
  add({.bsr = true});
  EXPECT_EQ(report().zones.size(), 1U) << "what it was the first time";
  EXPECT_FALSE(drain.report({}).complete()) << "nobody is followed in a VRF that is gone";
}

TEST_F(DrainTest, OfCandidateRpsIsCompleteWhenNoSetHasThem) {
  drain.end();
  add({.rp = true});
  EXPECT_EQ(drain.drained(), (Candidacies{.rp = true}));
  ASSERT_EQ(report().rps.size(), 2U);
  EXPECT_FALSE(report().rps[0].withdrawn) << "a zone has it";
  EXPECT_FALSE(report().rps[1].withdrawn) << "PIM has it";
  crpSets(all).crpSetDelAll();
  rpCandidate->crpSetDelAll();
  EXPECT_TRUE(report().complete());
  add({.bsr = true});
  EXPECT_FALSE(report().complete()) << "the BSR is drained as well";
  EXPECT_EQ(drain.drained(), (Candidacies{true, true}));
  drain.end();
  EXPECT_TRUE(drain.drained().none());
  EXPECT_TRUE(report().zones.empty() && report().rps.empty());
}

}  // namespace
}  // namespace Routing::Agent
