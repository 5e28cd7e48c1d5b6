#include <gtest/gtest.h>

#include "platform/pim/wire/PimChecksum.h"
#include "tests/support/Octets.h"

namespace Routing::Pim {
namespace {

using TestKit::addr;
using TestKit::hex;
using TestKit::Octets;

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
