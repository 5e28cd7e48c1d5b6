#include <gtest/gtest.h>

#include "platform/pim/PimProtocol.h"
#include "platform/pim/wire/IpDatagram.h"
#include "tests/support/Octets.h"

namespace Routing::Pim {
namespace {

using TestKit::addr;
using TestKit::hex;
using TestKit::Octets;

Octets ipv4Hello() {
  return hex("45c00018 00000000 01670000 0a000002 e000000d 2000dfff");
}

Octets ipv6Hello() {
  return hex(
      "6c000000 00046701 fe800000000000000000000000000002 ff02000000000000000000000000000d"
      "20000000");
}

TEST(IpDatagram, Ipv4OptionsAndPaddingAreLeftOut) {
  Octets datagram = ipv4Hello();
  datagram[0] = 0x46;  // a router alert option in front of the payload
  datagram[3] = 28;
  const Octets option = hex("94040000"), padding = hex("aaaaaaaaaa");
  datagram.insert(datagram.begin() + 20, option.begin(), option.end());
  datagram.insert(datagram.end(), padding.begin(), padding.end());
  const auto payload = ipv4Payload(datagram, ipProtocol);
  ASSERT_TRUE(payload);
  EXPECT_EQ(payload->source, addr("10.0.0.2"));
  EXPECT_EQ(payload->destination, addr("224.0.0.13"));
  EXPECT_EQ(payload->ttl, 1);
  EXPECT_EQ(Octets(payload->octets.begin(), payload->octets.end()), hex("2000dfff"));
}

TEST(IpDatagram, Ipv4DatagramsThatCannotBeReadAreRefused) {
  struct Fault {
    const char* what;
    std::size_t at;
    std::uint8_t octet;
  };
  for (const Fault& fault :
       {Fault{"version 6", 0, 0x65}, Fault{"header of 16 octets", 0, 0x44},
        Fault{"header beyond the total length", 0, 0x47},
        Fault{"total length beyond the datagram", 3, 25},
        Fault{"total length below the header", 3, 19}, Fault{"more fragments", 6, 0x20},
        Fault{"fragment offset", 7, 0x01}, Fault{"UDP", 9, 17}}) {
    Octets datagram = ipv4Hello();
    datagram[fault.at] = fault.octet;
    EXPECT_FALSE(ipv4Payload(datagram, ipProtocol)) << fault.what;
  }
  Octets unfragmentable = ipv4Hello();
  unfragmentable[6] = 0x40;
  EXPECT_TRUE(ipv4Payload(unfragmentable, ipProtocol)) << "don't fragment";
}

TEST(IpDatagram, Ipv6HeaderIsStripped) {
  Octets datagram = ipv6Hello();
  datagram.push_back(0xaa);
  const auto payload = ipv6Payload(datagram, ipProtocol);
  ASSERT_TRUE(payload);
  EXPECT_EQ(payload->source, addr("fe80::2"));
  EXPECT_EQ(payload->destination, addr("ff02::d"));
  EXPECT_EQ(payload->ttl, 1);
  EXPECT_EQ(Octets(payload->octets.begin(), payload->octets.end()), hex("20000000"));
  datagram[6] = 0;  // hop-by-hop options
  EXPECT_FALSE(ipv6Payload(datagram, ipProtocol));
}

TEST(IpDatagram, EveryCutIsRefused) {
  for (const Octets& whole : {ipv4Hello(), ipv6Hello()}) {
    for (std::size_t length = 0; length < whole.size(); ++length) {
      const std::span<const std::uint8_t> cut(whole.data(), length);
      EXPECT_FALSE(ipv4Payload(cut, ipProtocol)) << length;
      EXPECT_FALSE(ipv6Payload(cut, ipProtocol)) << length;
    }
  }
}

}  // namespace
}  // namespace Routing::Pim
