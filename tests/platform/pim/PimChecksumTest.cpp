#include <gtest/gtest.h>

#include "platform/pim/PimChecksum.h"
#include "tests/support/Octets.h"

namespace Routing::Pim {
namespace {

using TestKit::addr;
using TestKit::hex;
using TestKit::Octets;

// Octets and checksums from captures of other makers' routers.
TEST(PimChecksum, AgreesWithCapturedMessages) {
  const Octets v4 = hex("2800ee5e 01000096 010003030303 01000004e0000000");
  EXPECT_EQ(pimChecksum(v4, addr("10.0.0.6"), addr("1.1.1.1")), 0);

  const Octets v6 =
      hex("24809791 01e9103b 0200 00010000000000000000000000000008"
          "02000180 ff020000000000000000000000000002 01010000"
          "0200 00010000000000000000000000000006 004b4000"
          "02000080 ff020000000000000000000000000003 01010000"
          "0200 00010000000000000000000000000007 005ae500");
  EXPECT_EQ(pimChecksum(v6, addr("10::2"), addr("ff02::d")), 0);
  EXPECT_NE(pimChecksum(v6, addr("10::3"), addr("ff02::d")), 0) << "source not covered";
  EXPECT_NE(pimChecksum(v6, addr("10::2"), addr("ff02::1d")), 0) << "destination not covered";
}

TEST(PimChecksum, OverwritesWhatTheFieldHeld) {
  Octets octets = hex("2800ffff 01000096 010003030303 01000004e0000000");
  pimChecksumIs(octets, addr("10.0.0.6"), addr("1.1.1.1"));
  EXPECT_EQ(octets[2], 0xee);
  EXPECT_EQ(octets[3], 0x5e);
}

TEST(PimChecksum, PadsAnOddLengthWithAZeroOctet) {
  const IpGenAddr any = addr("192.0.2.1");
  const Octets odd = hex("20000000 0001ab");
  const Octets even = hex("20000000 0001ab00");
  EXPECT_EQ(pimChecksum(odd, any, any), pimChecksum(even, any, any));
  EXPECT_EQ(pimChecksum(odd, any, any), 0xffff - (0x2000 + 0x0001 + 0xab00));
}

// The pseudo-header's length has 32 bits and every carry must be folded back in.
TEST(PimChecksum, CoversLongMessagesOfAllOnes) {
  const Octets ones(70001, 0xff);
  const IpGenAddr zero = IpGenAddr::zero(AddressFamily::ipv6);
  std::uint32_t sum = 35000 * 0xffffU + 0xff00 + (70001 >> 16) + (70001 & 0xffff) + 103;
  while (sum > 0xffff) sum = (sum & 0xffff) + (sum >> 16);
  EXPECT_EQ(pimChecksum(ones, zero, zero), 0xffff - sum);
}

}  // namespace
}  // namespace Routing::Pim
