#include <gtest/gtest.h>

#include "platform/entity/Assertion.h"
#include "platform/pim/PimCodec.h"
#include "sim/invariants/StandingInvariants.h"

namespace Routing::Sim {
namespace {

constexpr auto v4 = AddressFamily::ipv4;

/// Three routers in a line: r1 is candidate BSR, r3 candidate RP; a fault can be planted in it.
class InvariantsTest : public testing::Test {
 protected:
  InvariantsTest() {
    assertionHandlerIs(throwOnAssertion);
    topology.addLine(3);
  }

  /// Runs the network until all is quiet.
  void settle() {
    world.emplace(topology, WorldOptions{});
    RouterConfig bsr;
    bsr.candidateBsrs.push_back({all, {}, 64, 30, 60});
    RouterConfig rp;
    rp.candidateRps.push_back({{}, {{all, 192}}, 60, false});
    world->speaker(0, v4).configIs(bsr);
    world->speaker(2, v4).configIs(rp);
    beliefs.emplace(*world);
    invariants.emplace(*world, *beliefs);
    for (RouterId id = 0; id < 3; ++id) {
      world->at(0, [this, id] { world->start(id, World::Memory::kept); });
    }
    world->runUntil(1000);
    ASSERT_EQ(first(), "none") << invariants->violations()[0].at
                               << " s: " << invariants->violations()[0].what;
    ASSERT_GT(invariants->judgedQuiet(), 0U);
  }
  Pim::Bsr::Status& status(RouterId id) { return *world->speaker(id, v4).status(); }
  Pim::RpEntry& rpInView(RouterId id) {
    return *world->speaker(id, v4).view()->crpSet(all)->rp(Topology::loopback(2, v4));
  }
  /// Plants a fault at once and lets the network run on for a while; which rule finds it.
  std::string planted(const std::function<void()>& fault, double seconds = 20) {
    world->at(world->now(), fault);
    world->runUntil(world->now() + seconds);
    return first();
  }
  std::string first() const {
    return invariants->violations().empty() ? "none" : invariants->violations()[0].invariant;
  }

  const IpGenPrefix all = IpGenPrefix::multicast(v4);
  Topology topology;
  std::optional<World> world;
  std::optional<Beliefs> beliefs;
  std::optional<StandingInvariants> invariants;
};

TEST_F(InvariantsTest, AHealthyNetworkViolatesNothing) {
  settle();
  EXPECT_EQ(planted([] {}, 500), "none");
}

TEST_F(InvariantsTest, ARouterThatBelievesInAnotherBsr) {
  settle();
  EXPECT_EQ(planted([&] { status(2).bootstrapRouter(all)->ipAddrIs(IpGenAddr::v4(0x0a090909)); }),
            "one BSR");
}

TEST_F(InvariantsTest, ASecondElectedBsr) {
  settle();
  EXPECT_EQ(planted([&] { status(1).newCbsr(all)->electedIs(true); }), "one BSR");
}

TEST_F(InvariantsTest, ABsrThatNobodyIs) {
  settle();
  EXPECT_EQ(planted(
                [&] {
                  for (RouterId id = 0; id < 3; ++id)
                    status(id).bootstrapRouter(all)->priorityIs(9);
                  status(0).cbsr(all)->stateIs(Pim::Bsr::BsrCandidateState::noInfoBsr);
                  world->crash(0);
                },
                700),
            "none");  // the followers time it out: that is no fault
  EXPECT_EQ(beliefs->of(1, v4).zone(all), nullptr);
}

TEST_F(InvariantsTest, AnRpThatIsMissingOnOneRouter) {
  settle();
  EXPECT_EQ(planted([&] {
              status(1).crpStatus(all)->status()->crpSet(all)->rpDel(Topology::loopback(2, v4));
            }),
            "one RP set");
}

TEST_F(InvariantsTest, AnRpWithAnotherPriorityInPimsView) {
  settle();
  EXPECT_EQ(planted([&] { rpInView(1).priorityIs(Pim::RpPriority(3)); }), "one RP set");
}

// The BSR permits everybody, so a candidate that nobody advertises has been forgotten.
TEST_F(InvariantsTest, ACandidateThatIsNotInItsOwnRpSet) {
  settle();
  RouterConfig config;
  config.candidateRps.push_back({{}, {{all, 192}}, 60, false});
  const auto violation = planted(
      [&] {
        world->speaker(1, v4).configIs(config);
        status(1).crpDel(Topology::loopback(1, v4));
        world->configIs(2, v4, config);  // a disturbance, after which all is judged anew
      },
      1500);
  EXPECT_EQ(violation, "candidates serve");
}

TEST_F(InvariantsTest, AnRpThatOutlivesItsHoldTime) {
  settle();
  EXPECT_EQ(planted([&] { rpInView(1).expiryTimeIs(world->instant() + 0.5); }), "RPs expire");
}

TEST_F(InvariantsTest, AnRpThatNoZoneKnows) {
  settle();
  EXPECT_EQ(planted([&] {
              const auto rp =
                  world->speaker(1, v4).view()->newCrpSet(all)->newRp(IpGenAddr::v4(0x0a636363));
              rp->holdTimeIs(Pim::CrpHoldTime(100));
              rp->expiryTimeIs(world->instant() + 100);
            }),
            "RPs expire");
}

TEST_F(InvariantsTest, ACounterThatDoesNotAddUp) {
  settle();
  EXPECT_EQ(planted([&] { status(1).counters()->rxSuccessInc(); }, 70), "counters add up");
}

TEST_F(InvariantsTest, AnErrorWithoutAReason) {
  settle();
  EXPECT_EQ(planted(
                [&] {
                  status(2).counters()->rxInc();
                  status(2).counters()->rxErrorInc();
                },
                70),
            "counters add up");
}

TEST_F(InvariantsTest, AnAssertionInTheLibrary) {
  settle();
  EXPECT_EQ(planted([] { ROUTING_ASSERT_TEXT(false, "planted"); }), "no errors");
  EXPECT_EQ(invariants->violations()[0].what, "planted");
}

/// A Bootstrap message of r1 as octets.
std::vector<std::uint8_t> octets(Pim::BootstrapMessage& bsm, const IpGenAddr& source) {
  std::vector<std::uint8_t> out;
  EXPECT_TRUE(Pim::encode(bsm, source, Pim::allPimRouters(v4), out));
  return out;
}

TEST_F(InvariantsTest, AMessageAcrossABorder) {
  settle();
  const auto violation = planted([&] {
    RouterConfig config;
    config.borders.push_back({all, 1});
    world->speaker(1, v4).configIs(config);
    Pim::BootstrapMessage bsm;
    bsm.bsrAddressIs(Topology::loopback(0, v4));
    const IpGenAddr source = Topology::onNetwork(1, 0, v4);
    const auto payload = octets(bsm, source);
    world->send(1, v4, {IntfId("r2-r3"), source, Pim::allPimRouters(v4), payload});
  });
  EXPECT_EQ(violation, "borders hold");
}

TEST_F(InvariantsTest, AStormOfMessages) {
  settle();
  const auto violation = planted([&] {
    const IpGenAddr source = Topology::onNetwork(1, 0, v4);
    for (std::uint16_t tag = 1; tag < 20; ++tag) {
      Pim::BootstrapMessage bsm;
      bsm.bsrAddressIs(Topology::loopback(0, v4));
      bsm.fragmentTagIs(tag);
      const auto payload = octets(bsm, source);
      world->send(1, v4, {IntfId("r2-r3"), source, Pim::allPimRouters(v4), payload});
    }
  });
  EXPECT_EQ(violation, "no storms");
}

TEST_F(InvariantsTest, ARouterThatHoldsMoreThanItsLimits) {
  settle();
  EXPECT_EQ(planted([&] { world->speaker(1, v4).limits()->maxRpsIs(0); }, 70), "memory bounded");
}

/// A fragment that arrives, and a router that takes its RPs although others are missing.
TEST_F(InvariantsTest, AnIncompleteRangeThatIsUsed) {
  class Taker final : public WorldObserver {
   public:
    explicit Taker(Speaker& speaker) : speaker_(speaker) {}
    void delivering(const Packet& packet, RouterId to) override {
      if (to != 2 || packet.type() != 4) return;
      const IpGenPrefix range = IpGenPrefix::multicast(v4);
      speaker_.status()->crpStatus(range)->status()->crpSet(range)->newRp(rp)->expiryTimeIs(1e9);
    }
    const IpGenAddr rp = IpGenAddr::v4(0x0a070707);

   private:
    Speaker& speaker_;
  };
  settle();
  Taker taker(world->speaker(2, v4));
  world->observerIs(taker);
  const auto violation = planted([&] {
    Pim::BootstrapMessage bsm;
    bsm.bsrAddressIs(Topology::loopback(0, v4));
    bsm.bsrPriorityIs(64);
    Pim::BootstrapGroupData group(all, 0);
    group.rpCountIs(3);
    group.fragRpCountIs(1);
    group.rpList().rpIs(taker.rp, Pim::BootstrapRpData(100, 0));
    bsm.groupRpDataAppend(group);
    const IpGenAddr source = Topology::onNetwork(1, 0, v4);
    const auto payload = octets(bsm, source);
    world->send(1, v4, {IntfId("r2-r3"), source, Pim::allPimRouters(v4), payload});
  });
  EXPECT_FALSE(invariants->violations().empty());
  bool found = false;
  for (const Violation& v : invariants->violations()) found |= v.invariant == "groups complete";
  EXPECT_TRUE(found) << violation;
}

}  // namespace
}  // namespace Routing::Sim
