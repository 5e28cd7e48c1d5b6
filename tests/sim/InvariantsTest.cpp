#include <gtest/gtest.h>

#include "platform/entity/Assertion.h"
#include "platform/pim/PimCodec.h"
#include "sim/invariants/StandingInvariants.h"

namespace Routing::Sim {
namespace {

constexpr auto v4 = AddressFamily::ipv4;

/// A Bootstrap message of r1 as octets.
std::vector<std::uint8_t> octets(Pim::BootstrapMessage& bsm, const IpGenAddr& source) {
  std::vector<std::uint8_t> out;
  EXPECT_TRUE(Pim::encode(bsm, source, Pim::allPimRouters(v4), out));
  return out;
}

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
  /// A Bootstrap message without RPs that names r1 goes from r2 to r3.
  void sendFromR2(std::uint16_t tag) {
    Pim::BootstrapMessage bsm;
    bsm.bsrAddressIs(Topology::loopback(0, v4));
    bsm.fragmentTagIs(tag);
    bsm.bsrPriorityIs(64);
    bsm.hashMaskLenIs(30);
    sendFromR2(bsm);
  }
  void sendFromR2(Pim::BootstrapMessage& bsm) {
    const IpGenAddr source = Topology::onNetwork(1, 0, v4);
    const auto payload = octets(bsm, source);
    world->send(1, v4, {IntfId("r2-r3"), source, Pim::allPimRouters(v4), payload});
  }
  bool found(std::string_view invariant) const {
    for (const Violation& violation : invariants->violations()) {
      if (violation.invariant == invariant) return true;
    }
    return false;
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

// All agree, but on an address that is not the elected BSR's.
TEST_F(InvariantsTest, ABsrThatNobodyIs) {
  settle();
  EXPECT_EQ(planted([&] {
              for (RouterId id = 0; id < 3; ++id) {
                status(id).bootstrapRouter(all)->ipAddrIs(IpGenAddr::v4(0x0a090909));
              }
            }),
            "one BSR");
  EXPECT_NE(invariants->violations()[0].what.find("which nobody is"), std::string::npos);
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

// A better RP that one router alone knows of: its set differs, and so does what it makes of it.
TEST_F(InvariantsTest, AnotherRpForTheSameGroup) {
  settle();
  planted([&] {
    const auto plant = [&](Pim::RpCandidateStatus& set) {
      const auto rp = set.newCrpSet(all)->newRp(IpGenAddr::v4(0x0a070707));
      rp->priorityIs(Pim::RpPriority(1));
      rp->holdTimeIs(Pim::CrpHoldTime(1000));
      rp->expiryTimeIs(world->instant() + 1000);
    };
    plant(*status(1).crpStatus(all)->status());
    plant(*world->speaker(1, v4).view());
  });
  EXPECT_TRUE(found("same RP")) << first();
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

TEST_F(InvariantsTest, AMessageAcrossABorder) {
  settle();
  const auto violation = planted([&] {
    RouterConfig config;
    config.borders.push_back({all, 1});
    world->speaker(1, v4).configIs(config);
    sendFromR2(1);
  });
  EXPECT_EQ(violation, "borders hold");
}

TEST_F(InvariantsTest, TwoMessagesInOneEvent) {
  settle();
  const auto violation = planted([&] {
    sendFromR2(1);
    sendFromR2(2);
  });
  EXPECT_EQ(violation, "no storms");
}

TEST_F(InvariantsTest, TooManyMessagesInAMinute) {
  settle();
  for (std::uint16_t tag = 1; tag <= 100; ++tag) {
    world->at(world->now() + 0.4 * tag, [this, tag] { sendFromR2(tag); });
  }
  EXPECT_EQ(planted([] {}, 50), "no storms");
}

TEST_F(InvariantsTest, ARouterThatHoldsMoreThanItsLimits) {
  settle();
  EXPECT_EQ(planted([&] { world->speaker(1, v4).limits()->maxRpsIs(0); }, 70), "memory bounded");
}

TEST_F(InvariantsTest, TimersThatPileUp) {
  settle();
  std::vector<std::unique_ptr<Timer>> timers;
  EXPECT_EQ(planted(
                [&] {
                  for (int i = 0; i < 5'000; ++i) {
                    timers.push_back(std::make_unique<Timer>(world->wheel(), [] {}));
                    timers.back()->expiryInIs(1e6);
                  }
                },
                70),
            "memory bounded");
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
    sendFromR2(bsm);
  });
  EXPECT_TRUE(found("groups complete")) << violation;
}

}  // namespace
}  // namespace Routing::Sim
