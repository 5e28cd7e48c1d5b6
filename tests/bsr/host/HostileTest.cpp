#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <map>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "platform/pim/PimCodec.h"
#include "platform/pim/wire/PimChecksum.h"
#include "tests/support/BsrInvariants.h"
#include "tests/support/BsrRouter.h"
#include "tests/support/PimGenerators.h"

// A neighbour that means ill: whatever it sends, the router asserts nothing, raises nothing, holds
// no more than its limits, and stays at one with itself.

namespace Routing::Pim::Bsr {
namespace {

using namespace TestKit;

/// Every BSR is behind the neighbour on eth0.
class GullibleRouter : public BsrRouter {
 public:
  using BsrRouter::BsrRouter;
  std::vector<NextHop> nextHops(const IpGenAddr& address) const override {
    if (address.af() != af) return {};
    return {{IntfId("eth0"), addr(af == AddressFamily::ipv4 ? "10.0.0.2" : "fe80::2")}};
  }
};

/// The names of one family that the messages are made of: few, so that they meet.
struct Names {
  explicit Names(AddressFamily af) : v4(af == AddressFamily::ipv4) {}
  const bool v4;
  std::string neighbor() const { return v4 ? "10.0.0.2" : "fe80::2"; }
  std::string us() const { return v4 ? "10.0.0.1" : "fe80::1"; }
  std::string host(unsigned n) const {
    return (v4 ? "10.5.5." : "2001:db8::") + std::to_string(n + 1);
  }
  std::vector<std::string> ranges() const {
    if (v4) {
      return {"224.0.0.0/4",  "239.0.0.0/8", "239.1.0.0/16", "239.1.1.0/24",
              "239.2.0.0/16", "225.0.0.0/8", "239.1.1.1/32"};
    }
    return {"ff00::/8",  "ff05::/16", "ff05:1::/32",    "ff05:1:1::/48",
            "ff08::/16", "ff0e::/16", "ff05:1:1::1/128"};
  }
};

/// A message that the codec may or may not take: blocks of few ranges, with counts that agree with
/// each other more often than not.
rc::Gen<Octets> genCraftedBsm(AddressFamily af) {
  return rc::gen::exec([af] {
    const Names names(af);
    Bsm bsm(names.host(*rc::gen::inRange(0U, 3U)), *rc::gen::element(0U, 64U, 64U, 255U));
    bsm.tag(*rc::gen::inRange(0U, 3U));
    if (*rc::gen::weightedElement<bool>({{1, true}, {5, false}})) {
      bsm.hashMask(*rc::gen::arbitrary<std::uint8_t>());
    }
    if (*rc::gen::weightedElement<bool>({{1, true}, {5, false}})) bsm.noForward();
    const unsigned blocks = *rc::gen::inRange(0U, 6U);
    const bool scoped = *rc::gen::arbitrary<bool>();
    for (unsigned i = 0; i < blocks; ++i) {
      Rps rps;
      const unsigned carried = *rc::gen::inRange(0U, 4U);
      for (unsigned k = 0; k < carried; ++k) {
        rps.push_back({names.host(*rc::gen::inRange(0U, 6U)), *rc::gen::element(0U, 1U, 9U, 65535U),
                       *rc::gen::inRange(0U, 3U)});
      }
      const std::string range = *rc::gen::elementOf(names.ranges());
      if (i == 0 && scoped) {
        bsm.zone(range, rps);
      } else {
        const unsigned more =
            *rc::gen::weightedElement<unsigned>({{3, 0}, {3, 1}, {2, 3}, {1, 250}});
        bsm.piece(range, static_cast<unsigned>(rps.size()) + more, rps);
      }
    }
    Octets octets;
    const auto message = bsm.make();
    if (!encode(*message, addr(names.neighbor()), allPimRouters(af), octets)) octets.clear();
    return octets;
  });
}

/// Any message of any type that is valid, of the family.
rc::Gen<Octets> genValid(AddressFamily af) {
  return rc::gen::exec([af] {
    const Names names(af);
    Octets octets;
    const auto encoded = [&](PimMessage& message) {
      return encode(message, addr(names.neighbor()), allPimRouters(af), octets);
    };
    if (*rc::gen::arbitrary<bool>()) {
      BootstrapMessage bsm = *rc::gen::suchThat(
          genBsm(), [af](const BootstrapMessage& each) { return each.bsrAddress().af() == af; });
      if (!encoded(bsm)) octets.clear();
    } else {
      HelloMessage hello = *genHello();
      if (!encoded(hello)) octets.clear();
    }
    return octets;
  });
}

/// Octets with a few of them changed, cut off or added, the checksum mostly put right again.
rc::Gen<Octets> genMutated(AddressFamily af, rc::Gen<Octets> base) {
  return rc::gen::exec([af, base] {
    Octets octets = *base;
    const unsigned changes = *rc::gen::inRange(0U, 4U);
    for (unsigned i = 0; i < changes && !octets.empty(); ++i) {
      const auto at = *rc::gen::inRange<std::size_t>(0, octets.size());
      octets[at] = *rc::gen::oneOf(rc::gen::arbitrary<std::uint8_t>(),
                                   rc::gen::element<std::uint8_t>(0, 1, 2, 32, 128, 129, 255));
    }
    switch (*rc::gen::inRange(0, 6)) {
      case 0:
        octets.resize(*rc::gen::inRange<std::size_t>(0, octets.size() + 1));
        break;
      case 1:
        octets.push_back(*rc::gen::arbitrary<std::uint8_t>());
        break;
      default:
        break;
    }
    if (octets.size() >= 4 && *rc::gen::weightedElement<bool>({{9, true}, {1, false}})) {
      pimChecksumIs(octets, addr(Names(af).neighbor()), allPimRouters(af));
    }
    return octets;
  });
}

/// One thing that happens.
struct Event {
  enum class Kind { packet, unicast, time, hello, dr, advertisement } kind;
  Octets octets;
  double seconds = 0;
};

std::ostream& operator<<(std::ostream& out, const Event& event) {
  return out << "kind " << static_cast<int>(event.kind) << " +" << event.seconds << " "
             << ::testing::PrintToString(event.octets);
}

rc::Gen<Event> genEvent(AddressFamily af) {
  return rc::gen::exec([af] {
    const auto crafted = genCraftedBsm(af);
    Event event{};
    event.kind = *rc::gen::weightedElement<Event::Kind>({{12, Event::Kind::packet},
                                                         {1, Event::Kind::unicast},
                                                         {5, Event::Kind::time},
                                                         {1, Event::Kind::hello},
                                                         {1, Event::Kind::dr},
                                                         {3, Event::Kind::advertisement}});
    switch (event.kind) {
      case Event::Kind::packet:
      case Event::Kind::unicast:
        event.octets = *rc::gen::weightedOneOf<Octets>(
            {{6, crafted}, {3, genMutated(af, crafted)}, {1, genMutated(af, genValid(af))}});
        break;
      case Event::Kind::time:
        event.seconds = *rc::gen::element(0.5, 3.0, 10.0, 21.0, 60.0);
        break;
      case Event::Kind::advertisement: {
        CrpAdvMessage adv;
        const Names names(af);
        adv.rpAddressIs(addr(names.host(*rc::gen::inRange(0U, 6U))));
        adv.priorityIs(*rc::gen::arbitrary<std::uint8_t>());
        adv.holdtimeIs(*rc::gen::element<std::uint16_t>(0, 1, 20, 65535));
        CrpGroupData groups;
        const unsigned count = *rc::gen::inRange(0U, 3U);
        for (unsigned i = 0; i < count; ++i) {
          groups.emplace_back(prefix(*rc::gen::elementOf(names.ranges())),
                              GroupFlags(*rc::gen::arbitrary<std::uint8_t>()));
        }
        adv.prefixCountIs(static_cast<std::uint8_t>(count));
        adv.groupDataIs(groups);
        if (!encode(adv, addr(names.host(5)), addr(names.host(9)), event.octets)) {
          event.octets.clear();
        }
        break;
      }
      default:
        break;
    }
    return event;
  });
}

/// A router with small limits, short times, and candidates of its own for the last zones.
struct Victim {
  explicit Victim(AddressFamily af) : names(af), router(af, world.wheel) {
    router.status->bsTimeoutIs(25);
    router.status->szTimeoutIs(40);
    router.limits->maxZonesIs(2);
    router.limits->maxGroupsIs(5);
    router.limits->maxRpsIs(6);
    router.limits->maxFragmentsIs(3);
    for (const auto& [intf, mtu] : {std::pair{"eth0", 1500U}, {"eth1", 100U}, {"eth2", 61U}}) {
      router.linkIs(intf, names.us(), mtu);
      router.neighborIs(intf, names.neighbor());
    }
    router.candidateBsrIs(names.ranges()[4], names.host(9), 100, 30, 10);
    router.candidateBsrIs(names.ranges()[5], names.host(9), 0, 30, 10);
    world.runUntil(30);
  }
  void take(const Event& event) {
    switch (event.kind) {
      case Event::Kind::packet:
        router.hear("eth0", names.neighbor(), allPimRouters(router.af).text(), event.octets);
        break;
      case Event::Kind::unicast:
        router.hear("eth0", names.neighbor(), names.us(), event.octets);
        break;
      case Event::Kind::advertisement:
        router.hear("eth0", names.host(5), names.host(9), event.octets);
        break;
      case Event::Kind::time:
        world.runUntil(world.clock.now() + event.seconds);
        break;
      case Event::Kind::hello:
        router.triggeredHello("eth1");
        break;
      case Event::Kind::dr: {
        PimInterface& link = router.link("eth1");
        link.drIs(addr(link.isDr() ? names.neighbor() : names.us()), !link.isDr());
        break;
      }
    }
    world.runUntil(world.clock.now());
  }

  VirtualWorld world;
  Names names;
  GullibleRouter router;
};

TEST(Hostile, NoSequenceOfPacketsBreaksTheRouter) {
  const ThrowingAssertions guard;
  ASSERT_TRUE(rc::check("whatever a neighbour sends", [] {
    const AddressFamily af = *genFamily();
    Victim victim(af);
    const auto events = *rc::gen::container<std::vector<Event>>(40, genEvent(af));
    for (const Event& event : events) {
      victim.take(event);
      RC_ASSERT(bsrFault(victim.router) == "");
      static_cast<void>(victim.router.sentBsms());
      static_cast<void>(victim.router.sentAdvs());
      RC_ASSERT(victim.router.sent.empty());  // all that it sends can be read by others
    }
    // In the end nothing is left but what the global zone, which is never forgotten, keeps until
    // its next BSR: its machine and intake's last message.
    victim.router.status->cbsrDelAll();
    victim.world.runUntil(victim.world.clock.now() + 140000);
    RC_ASSERT(bsrFault(victim.router) == "");
    RC_ASSERT(victim.world.wheel.armed() == 0U);
    RC_ASSERT(victim.router.status->bootstrapRouter().empty());
    RC_ASSERT(victim.router.status->crpStatus().empty());
    RC_ASSERT(victim.router.pimRpStatus->crpSet().empty());
    RC_ASSERT(victim.router.engine().nonCandidateSm().size() <= 1U);
    RC_ASSERT(victim.router.instance->bsmIntake().lastBsm().size() <= 1U);
    RC_CLASSIFY(victim.router.counters().rxBsmSuccess() > 10, "ten messages accepted");
    RC_CLASSIFY(victim.router.limits->refusedRps() > 0, "RPs refused");
    RC_CLASSIFY(victim.router.limits->refusedGroups() > 0, "ranges refused");
    RC_CLASSIFY(victim.router.limits->refusedFragments() > 0, "fragments refused");
    RC_CLASSIFY(victim.router.limits->refusedZones() > 0, "zones refused");
  }));
}

TEST(Hostile, ALargePacketOfLargeClaimsIsDealtWithInProportion) {
  VirtualWorld world;
  GullibleRouter router(AddressFamily::ipv4, world.wheel);
  for (const auto& [intf, mtu] : {std::pair{"eth0", 1500U}, {"eth1", 576U}, {"eth2", 68U}}) {
    router.linkIs(intf, "10.0.0.1", mtu);
    router.neighborIs(intf, "10.0.0.2");
  }
  Bsm bsm("10.5.5.1");
  constexpr unsigned ranges = 5400;  // 64 octets short of the largest IP datagram
  for (unsigned i = 0; i < ranges; ++i) {
    bsm.piece("239." + std::to_string(i / 256) + "." + std::to_string(i % 256) + ".0/24", 255, {});
  }
  router.hear("eth0", "10.0.0.2", bsm);
  EXPECT_EQ(router.counters().rxBsmSuccess(), 1U);
  std::map<std::string, std::size_t> packets;
  for (const auto& each : router.sentBsms()) ++packets[each.intf];
  EXPECT_EQ(packets["eth0"], (ranges + 121) / 122);  // 122 ranges of 12 octets to a fragment
  EXPECT_EQ(packets["eth1"], ranges / 45);
  EXPECT_EQ(packets["eth2"], ranges / 2);
}

}  // namespace
}  // namespace Routing::Pim::Bsr
