#include <gtest/gtest.h>

#include "platform/entity/Assertion.h"
#include "platform/pim/PimCodec.h"
#include "sim/core/Configs.h"
#include "sim/invariants/StandingInvariants.h"

namespace Routing::Sim {
namespace {

using enum AddressFamily;

/// A Bootstrap message of r1 as octets.
std::vector<std::uint8_t> octets(Pim::BootstrapMessage& bsm, const IpGenAddr& source) {
  std::vector<std::uint8_t> out;
  EXPECT_TRUE(Pim::encode(bsm, source, Pim::allPimRouters(ipv4), out));
  return out;
}

/// Three routers in a line: r1 is candidate BSR, r3 candidate RP; a fault can be planted in it.
class InvariantsTest : public testing::Test {
 public:
  InvariantsTest() {
    assertionHandlerIs(throwOnAssertion);
    topology.addLine(3);
  }

  /// Runs the network until all is quiet.
  void settle() {
    world.emplace(topology, WorldOptions{});
    configure(0, [this](auto& settings) { settings.bsrCandidates["lo"].zones[all] = {}; });
    configure(2, [this](auto& settings) { settings.rpCandidates["lo"].ranges[all] = {}; });
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
  /// Edits what is configured on a router.
  void configure(RouterId id, const std::function<void(Agent::FamilySettings&)>& edit) {
    Agent::DaemonConfig config = world->config(id);
    edit(settingsOf(config, ipv4));
    world->configIs(id, config);
  }
  Pim::Bsr::Status& status(RouterId id) { return *world->speaker(id, ipv4).status(); }
  Pim::Bsr::ElectedBsrStatus& record(RouterId id) { return *status(id).bootstrapRouter(all); }
  void betterRpIs(Pim::RpCandidateStatus& set) {
    const auto rp = set.newCrpSet(all)->newRp(IpGenAddr::v4(0x0a070707));
    rp->priorityIs(Pim::RpPriority(1));
    rp->holdTimeIs(Pim::CrpHoldTime(1000));
    rp->expiryTimeIs(world->instant() + 1000);
  }
  /// An operator writes what is there already: the network is not quiet for a while.
  void disturb() { world->configIs(0, world->config(0)); }
  Pim::RpEntry& rpInView(RouterId id) {
    return *world->speaker(id, ipv4).view()->crpSet(all)->rp(Topology::loopback(2, ipv4));
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
    bsm.bsrAddressIs(Topology::loopback(0, ipv4));
    bsm.fragmentTagIs(tag);
    bsm.bsrPriorityIs(64);
    bsm.hashMaskLenIs(30);
    sendFromR2(bsm);
  }
  void sendFromR2(Pim::BootstrapMessage& bsm) {
    const IpGenAddr source = Topology::onNetwork(1, 0, ipv4);
    const auto payload = octets(bsm, source);
    world->send(1, ipv4, {IntfId("r2-r3"), source, Pim::allPimRouters(ipv4), payload});
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

  const IpGenPrefix all = IpGenPrefix::multicast(ipv4);
  Topology topology;
  std::optional<World> world;
  std::optional<Beliefs> beliefs;
  std::optional<StandingInvariants> invariants;
  std::vector<std::unique_ptr<Timer>> timers;
};

/// A fault that is planted in a network at rest, and the rule that finds it first.
struct Fault {
  const char* name;
  const char* invariant;
  double seconds;  // until it must have been found
  void (*plant)(InvariantsTest& net);
};

const Fault faults[] = {
    {"Nothing", "none", 500, [](InvariantsTest&) {}},
    {"ARouterThatBelievesInAnotherBsr", "one BSR", 20,
     [](InvariantsTest& net) { net.record(2).ipAddrIs(IpGenAddr::v4(0x0a090909)); }},
    {"ASecondElectedBsr", "one BSR", 20,
     [](InvariantsTest& net) { net.status(1).newCbsr(net.all)->electedIs(true); }},
    {"ABsrThatNobodyIs", "one BSR", 20,
     [](InvariantsTest& net) {
       for (RouterId id = 0; id < 3; ++id) net.record(id).ipAddrIs(IpGenAddr::v4(0x0a090909));
     }},
    {"AnRpThatIsMissingOnOneRouter", "one RP set", 20,
     [](InvariantsTest& net) {
       const auto set = net.status(1).crpStatus(net.all)->status()->crpSet(net.all);
       set->rpDel(Topology::loopback(2, ipv4));
     }},
    {"AnRpWithAnotherPriorityInPimsView", "one RP set", 20,
     [](InvariantsTest& net) { net.rpInView(1).priorityIs(Pim::RpPriority(3)); }},
    // The BSR permits everybody, so a candidate that nobody advertises has been forgotten.
    {"ACandidateThatIsNotInItsOwnRpSet", "candidates serve", 1500,
     [](InvariantsTest& net) {
       net.configure(1, [&](auto& settings) { settings.rpCandidates["lo"].ranges[net.all] = {}; });
       net.status(1).crpDel(Topology::loopback(1, ipv4));
     }},
    {"AnRpThatOutlivesItsHoldTime", "RPs expire", 20,
     [](InvariantsTest& net) { net.rpInView(1).expiryTimeIs(net.world->instant() + 0.5); }},
    {"AnRpThatNoZoneKnows", "RPs expire", 20,
     [](InvariantsTest& net) { net.betterRpIs(*net.world->speaker(1, ipv4).view()); }},
    {"ARouterThatLosesItsRp", "served", 35,
     [](InvariantsTest& net) {
       net.disturb();
       const auto set = net.status(1).crpStatus(net.all)->status()->crpSet(net.all);
       set->rpDel(Topology::loopback(2, ipv4));
     }},
    {"ANewcomerThatNobodyPrimes", "served", 40,
     [](InvariantsTest& net) {
       net.world->speaker(1, ipv4).pim()->intfDel(IntfId("r2-r3"));
       net.world->crash(2);
       net.world->start(2, World::Memory::lost);
     }},
    {"ARouterThatChoosesAnotherRp", "alike", 35,
     [](InvariantsTest& net) {
       net.disturb();
       net.betterRpIs(*net.status(1).crpStatus(net.all)->status());
       net.betterRpIs(*net.world->speaker(1, ipv4).view());
     }},
    {"ACounterThatDoesNotAddUp", "counters add up", 70,
     [](InvariantsTest& net) { net.status(1).counters()->rxSuccessInc(); }},
    {"AnErrorWithoutAReason", "counters add up", 70,
     [](InvariantsTest& net) {
       net.status(2).counters()->rxInc();
       net.status(2).counters()->rxErrorInc();
     }},
    {"AnAssertionInTheLibrary", "no errors", 20,
     [](InvariantsTest&) { ROUTING_ASSERT_TEXT(false, "planted"); }},
    {"AMessageAcrossABorder", "borders hold", 20,
     [](InvariantsTest& net) {
       net.configure(
           1, [&](auto& settings) { settings.interfaces["r2-r3"].border.groups.insert(net.all); });
       net.sendFromR2(1);
     }},
    {"TwoMessagesInOneEvent", "no storms", 20,
     [](InvariantsTest& net) {
       net.sendFromR2(1);
       net.sendFromR2(2);
     }},
    {"TooManyMessagesInAMinute", "no storms", 50,
     [](InvariantsTest& net) {
       for (std::uint16_t tag = 1; tag <= 100; ++tag) {
         net.world->at(net.world->now() + 0.4 * tag, [&net, tag] { net.sendFromR2(tag); });
       }
     }},
    {"ARouterThatHoldsMoreThanItsLimits", "memory bounded", 70,
     [](InvariantsTest& net) { net.world->speaker(1, ipv4).limits()->maxRpsIs(0); }},
    {"TimersThatPileUp", "memory bounded", 70,
     [](InvariantsTest& net) {
       for (int i = 0; i < 5'000; ++i) {
         net.timers.push_back(std::make_unique<Timer>(net.world->wheel(), [] {}));
         net.timers.back()->expiryInIs(1e6);
       }
     }},
};

class PlantedFault : public InvariantsTest, public testing::WithParamInterface<Fault> {};

TEST_P(PlantedFault, IsFound) {
  settle();
  EXPECT_EQ(planted([this] { GetParam().plant(*this); }, GetParam().seconds), GetParam().invariant);
}

INSTANTIATE_TEST_SUITE_P(Invariants, PlantedFault, testing::ValuesIn(faults),
                         [](const auto& info) { return std::string(info.param.name); });

// A better RP that one router alone knows of: its set differs, and so does what it makes of it.
TEST_F(InvariantsTest, AnotherRpForTheSameGroup) {
  settle();
  planted([&] {
    betterRpIs(*status(1).crpStatus(all)->status());
    betterRpIs(*world->speaker(1, ipv4).view());
  });
  EXPECT_TRUE(found("same RP")) << first();
}

/// A fragment that arrives, and a router that takes its RPs although others are missing.
TEST_F(InvariantsTest, AnIncompleteRangeThatIsUsed) {
  class Taker final : public WorldObserver {
   public:
    explicit Taker(Speaker& speaker) : speaker_(speaker) {}
    void delivering(const Packet& packet, RouterId to) override {
      if (to != 2 || !packet.is(Pim::PimType::bootstrap)) return;
      const IpGenPrefix range = IpGenPrefix::multicast(ipv4);
      speaker_.status()->crpStatus(range)->status()->crpSet(range)->newRp(rp)->expiryTimeIs(1e9);
    }
    const IpGenAddr rp = IpGenAddr::v4(0x0a070707);

   private:
    Speaker& speaker_;
  };
  settle();
  Taker taker(world->speaker(2, ipv4));
  world->observerIs(taker);
  const auto violation = planted([&] {
    Pim::BootstrapMessage bsm;
    bsm.bsrAddressIs(Topology::loopback(0, ipv4));
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
