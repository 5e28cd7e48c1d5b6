#include <gtest/gtest.h>

#include <string>

#include "platform/pim/PimCodec.h"
#include "platform/pim/wire/PimChecksum.h"
#include "tests/support/Octets.h"
#include "tests/support/PimInvariants.h"
#include "tests/support/Table.h"

namespace Routing::Pim {
namespace {

using TestKit::addr;
using TestKit::hex;
using TestKit::Octets;

DecodeResult decodeSigned(Octets octets, const IpGenAddr& source, const IpGenAddr& destination) {
  if (octets.size() >= 4) pimChecksumIs(octets, source, destination);
  return decode(octets, source, destination);
}

// Each type from and to where it is allowed to go.
DecodeResult decodeAlone(const Octets& octets, AddressFamily af) {
  const bool v4 = af == AddressFamily::ipv4;
  const IpGenAddr source = v4 ? addr("192.0.2.11") : addr("2001:db8::11");
  const bool toBsr = pimTypeOf(octets) == 8;
  const IpGenAddr bsr = v4 ? addr("192.0.2.1") : addr("2001:db8::1");
  return decodeSigned(octets, source, toBsr ? bsr : allPimRouters(af));
}

TEST(PimDrop, MalformedMessagesAreDroppedForTheirReason) {
  const auto rows = TestKit::table("pim/malformed.txt");
  EXPECT_EQ(rows.size(), 82U);
  for (const auto& row : rows) {
    const auto af = row.at(0) == "4" ? AddressFamily::ipv4 : AddressFamily::ipv6;
    const auto result = decodeAlone(hex(row.at(3)), af);
    const bool good = TestKit::messageOf(result) != nullptr;
    EXPECT_EQ(good ? "-" : TestKit::describe(result), row.at(1)) << row.at(2);
  }
}

TEST(PimDrop, AnyWrongBitBreaksTheChecksum) {
  const Octets good = hex("2800ee5e 01000096 010003030303 01000004e0000000");
  for (std::size_t bit = 8; bit < good.size() * 8; ++bit) {
    Octets bad = good;
    bad[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
    EXPECT_EQ(TestKit::describe(decode(bad, addr("10.0.0.6"), addr("1.1.1.1"))), "bad-checksum")
        << bit;
  }
}

struct Datagram {
  const char* octets;
  const char* source;
  const char* destination;
  DropReason reason;
};

TEST(PimDrop, DatagramsFromOrToWhereTheyCannotBeAreDropped) {
  const char* hello = "20000000";
  const char* adv = "28000000 00c00096 0100c000020b";
  const char* adv6 = "28000000 00c00096 0200 20010db8000000000000000000000011";
  for (const Datagram& d :
       {Datagram{hello, "192.0.2.1", "192.0.2.2", DropReason::wrongDestination},
        Datagram{hello, "192.0.2.1", "224.0.0.1", DropReason::wrongDestination},
        Datagram{hello, "fe80::1", "fe80::2", DropReason::wrongDestination},
        Datagram{adv, "192.0.2.1", "224.0.0.13", DropReason::wrongDestination},
        Datagram{adv, "192.0.2.1", "255.255.255.255", DropReason::wrongDestination},
        Datagram{adv6, "2001:db8::11", "ff02::d", DropReason::wrongDestination},
        Datagram{hello, "0.0.0.0", "224.0.0.13", DropReason::badSource},
        Datagram{hello, "224.0.0.5", "224.0.0.13", DropReason::badSource},
        Datagram{hello, "255.255.255.255", "224.0.0.13", DropReason::badSource},
        Datagram{hello, "::", "ff02::d", DropReason::badSource},
        Datagram{hello, "192.0.2.1", "ff02::d", DropReason::badFamily},
        Datagram{hello, "unset", "unset", DropReason::badFamily}}) {
    const auto result = decodeSigned(hex(d.octets), addr(d.source), addr(d.destination));
    EXPECT_EQ(TestKit::describe(result), dropReasonText(d.reason))
        << d.source << " to " << d.destination;
  }
}

// A message as large as IP allows, made of what is dearest to decode, stays cheap and is judged.
TEST(PimDrop, TheLargestMessagesAreReadWhole) {
  Octets octets = hex("24000000 0001 1e40 0100c0000201");
  for (unsigned i = 0; octets.size() + 12 <= 65515; ++i) {
    const auto range = hex("01000020 00000000 00000000");
    octets.insert(octets.end(), range.begin(), range.end());
    IpGenAddr::v4(0xefffffff - i).toBytes(&octets[octets.size() - 8]);
  }
  const auto result = decodeAlone(octets, AddressFamily::ipv4);
  const auto* bsm = std::get_if<std::shared_ptr<BootstrapMessage>>(&result);
  ASSERT_NE(bsm, nullptr) << TestKit::describe(result);
  EXPECT_EQ((*bsm)->groupRpData().size(), (65515U - 14) / 12);
}

}  // namespace
}  // namespace Routing::Pim
