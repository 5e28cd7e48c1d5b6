#include <net/if.h>

#include <memory>
#include <vector>

#include "agent/kernel/PimSocketSet.h"
#include "platform/pim/PimCodec.h"
#include "tests/agent/OwnNetwork.h"

namespace Routing::Agent {
namespace {

struct Heard {
  IntfId intf;
  IpGenAddr source;
  IpGenAddr destination;
  std::vector<std::uint8_t> payload;
  bool operator==(const Heard&) const = default;
};

/// One router's end of a link, in a network of its own.
struct End {
  void intfIs(const std::string& name) {
    const std::uint32_t index = if_nametoindex(name.c_str());
    interfaces.linkIs({index, name, 1500, true, 0, false});
    interfaces.commit();
    for (auto* set : {v4.get(), v6.get()}) set->intfIs(IntfId(name), index);
  }
  PimSocketSet& of(AddressFamily af) { return af == AddressFamily::ipv4 ? *v4 : *v6; }

  Fd network;
  InterfaceTable interfaces;
  std::unique_ptr<PimSocketSet> v4;
  std::unique_ptr<PimSocketSet> v6;
  std::vector<Heard> heard;
};

/// Two ends: left has 10.0.0.1, fe80::1 and 2001:db8::1 on a0, right the same with 2 on b0.
class PimSocketSetTest : public OwnNetwork, public testing::WithParamInterface<AddressFamily> {
 protected:
  void SetUp() override {
    OwnNetwork::SetUp();
    if (IsSkipped()) return;
    left.network = here();
    ASSERT_TRUE(enterNew());
    right.network = here();
    newLink();
    enter(left.network);
    open(left, "a0");
    enter(right.network);
    open(right, "b0");
  }

  void newLink() {
    enter(right.network);
    ip("link add b0 type veth peer name a0 netns " + pathOf(left.network));
    configure("b0", "2");
    enter(left.network);
    configure("a0", "1");
  }
  static void configure(const std::string& intf, const std::string& number) {
    ipBatch("link set " + intf + " addrgenmode none\nlink set " + intf + " up\naddr add 10.0.0." +
            number + "/24 dev " + intf + "\naddr add fe80::" + number + "/64 dev " + intf +
            " nodad\naddr add 2001:db8::" + number + "/64 dev " + intf + " nodad\n");
  }
  void open(End& end, const std::string& intf) {
    const VrfName vrf{std::string(VrfName::defaultName)};
    end.v4 = std::make_unique<PimSocketSet>(loop, end.interfaces, vrf, AddressFamily::ipv4);
    end.v6 = std::make_unique<PimSocketSet>(loop, end.interfaces, vrf, AddressFamily::ipv6);
    for (auto* set : {end.v4.get(), end.v6.get()}) {
      set->receiverIs([&end](const Pim::ReceivedPacket& packet) {
        end.heard.push_back({packet.intf,
                             packet.source,
                             packet.destination,
                             {packet.payload.begin(), packet.payload.end()}});
      });
    }
    end.intfIs(intf);
  }

  AddressFamily af() const { return GetParam(); }
  bool v4() const { return af() == AddressFamily::ipv4; }
  IpGenAddr onLink(unsigned number) const {
    return v4() ? IpGenAddr::v4(0x0a000000 + number)
                : IpGenAddr::v6(std::uint64_t{0xfe80} << 48, number);
  }
  IpGenAddr global(unsigned number) const {
    return v4() ? onLink(number) : IpGenAddr::v6(0x20010db800000000, number);
  }
  bool multicast(const std::vector<std::uint8_t>& payload) {
    return left.of(af()).send({IntfId("a0"), onLink(1), Pim::allPimRouters(af()), payload});
  }
  /// What the right end has heard when nothing more is under way.
  std::vector<Heard> rightHears() {
    right.heard.clear();
    runUntil(loop, [this] { return !right.heard.empty(); });
    for (std::size_t before = 0; before != right.heard.size();) {
      before = right.heard.size();
      runFor(loop, 0.05);
    }
    return right.heard;
  }

  EventLoop loop;
  End left;
  End right;
  const std::vector<std::uint8_t> hello{0x20, 0, 0xdf, 0xff};
};

TEST_P(PimSocketSetTest, CarriesMulticastOfAnySizeToTheOtherEndOnly) {
  std::vector<std::uint8_t> large(9000);
  for (std::size_t i = 0; i < large.size(); ++i) large[i] = static_cast<std::uint8_t>(i * 7);
  for (const auto& payload : {hello, large}) {
    ASSERT_TRUE(multicast(payload));
    const auto heard = rightHears();
    ASSERT_EQ(heard.size(), 1U);
    EXPECT_EQ(heard[0], (Heard{IntfId("b0"), onLink(1), Pim::allPimRouters(af()), payload}));
  }
  EXPECT_TRUE(left.heard.empty());
  EXPECT_FALSE(multicast(std::vector<std::uint8_t>(70'000)));
}

TEST_P(PimSocketSetTest, BearsABurstAndCountsWhatTheKernelDrops) {
  const std::vector<std::uint8_t> fragment(1400);
  const auto burst = [&](int size) {
    for (int i = 1; i <= size; ++i) {
      multicast(fragment);
      if (i % 250 == 0) usleep(1000);  // the link itself holds 1,000 at most
    }
    return rightHears().size();
  };
  EXPECT_EQ(burst(5000), 5000U);
  EXPECT_EQ(right.of(af()).overflows(), 0U);
  EXPECT_LT(burst(20'000), 20'000U);
  const auto lost = right.of(af()).overflows();
  EXPECT_GT(lost, 0U);
  EXPECT_LE(lost, 20'000U - right.heard.size());
  right.of(af()).intfDel(IntfId("b0"));
  EXPECT_EQ(right.of(af()).overflows(), lost);
}

TEST_P(PimSocketSetTest, TakesUnicastInOnce) {
  ASSERT_TRUE(left.of(af()).send({{}, global(1), global(2), hello}));
  auto heard = rightHears();
  ASSERT_EQ(heard.size(), 1U);
  EXPECT_EQ(heard[0], (Heard{IntfId("b0"), global(1), global(2), hello}));
  ASSERT_TRUE(left.of(af()).send({IntfId("a0"), onLink(1), onLink(2), hello}));
  heard = rightHears();
  ASSERT_EQ(heard.size(), 1U);
  EXPECT_EQ(heard[0].source, onLink(1));
}

TEST_P(PimSocketSetTest, SendsFromItsOwnAddressesOnly) {
  EXPECT_FALSE(left.of(af()).send({IntfId("a0"), onLink(9), Pim::allPimRouters(af()), hello}));
  EXPECT_FALSE(left.of(af()).send({IntfId("none"), onLink(1), Pim::allPimRouters(af()), hello}));
  EXPECT_FALSE(left.of(af()).send({IntfId("none"), global(1), global(2), hello}));
  runFor(loop, 0.05);
  EXPECT_TRUE(right.heard.empty());
}

TEST_P(PimSocketSetTest, SendsAWithdrawalThoughItsSourceIsGone) {
  Pim::CrpAdvMessage adv;
  adv.rpAddressIs(global(9));
  std::vector<std::uint8_t> octets;
  ASSERT_TRUE(encode(adv, global(9), global(2), octets));
  ASSERT_TRUE(left.of(af()).send({{}, global(9), global(2), octets}));
  const auto heard = rightHears();
  ASSERT_EQ(heard.size(), 1U);
  EXPECT_EQ(heard[0].source, global(1));
  const auto result = Pim::decode(heard[0].payload, heard[0].source, heard[0].destination);
  EXPECT_TRUE(std::holds_alternative<std::shared_ptr<Pim::CrpAdvMessage>>(result));
}

TEST_P(PimSocketSetTest, WorksAgainOnADeviceMadeAnew) {
  enter(right.network);
  ip("link del b0");
  EXPECT_FALSE(multicast(hello));
  runFor(loop, 0.05);  // the sockets of the old devices see errors
  newLink();
  enter(right.network);
  right.intfIs("b0");
  enter(left.network);
  left.intfIs("a0");
  ASSERT_TRUE(multicast(hello));
  EXPECT_EQ(rightHears().size(), 1U);
}

TEST_P(PimSocketSetTest, TriesAgainUntilAnInterfaceCanBeOpened) {
  constexpr std::uint32_t index = 77;
  enter(right.network);
  right.of(af()).intfIs(IntfId("b7"), index);
  ip("link del b0");
  ip("link add b0 index 77 type veth peer name a0 netns " + pathOf(left.network));
  configure("b0", "2");
  enter(left.network);
  configure("a0", "1");
  left.intfIs("a0");
  enter(right.network);
  runFor(loop, PimSocketSet::retryDelay + 0.2);
  ASSERT_TRUE(multicast(hello));
  const auto heard = rightHears();
  ASSERT_EQ(heard.size(), 1U);
  EXPECT_EQ(heard[0].intf, IntfId("b7"));
}

INSTANTIATE_TEST_SUITE_P(BothFamilies, PimSocketSetTest,
                         testing::Values(AddressFamily::ipv4, AddressFamily::ipv6),
                         [](const auto& parameter) {
                           return parameter.param == AddressFamily::ipv4 ? "Ipv4" : "Ipv6";
                         });

}  // namespace
}  // namespace Routing::Agent
