#include <gtest/gtest.h>

#include "platform/pim/rp/RpSetDigest.h"
#include "tests/support/Octets.h"

namespace Routing::Pim {
namespace {

using TestKit::addr;

// The numbers were worked out by another program from the words of the header.
TEST(RpSetDigest, IsTheSumOfWhatTheHeaderSays) {
  RpCandidateStatus status{VrfName("default")};
  EXPECT_EQ(rpSetDigestText(rpSetDigest(status)), "0000000000000000");
  const auto bidir = status.newCrpSet(TestKit::prefix("239.1.0.0/16"))->newRp(addr("10.0.0.2"));
  bidir->modeIs(PimMode::bidirectional);
  EXPECT_EQ(rpSetDigestText(rpSetDigest(status)), "f6789a5f2a3f5002");
  const auto sparse = status.newCrpSet(TestKit::prefix("224.0.0.0/4"))->newRp(addr("10.0.0.1"));
  sparse->priorityIs(RpPriority(0));
  sparse->hashMaskLenIs(RpHashMaskLen(30));
  EXPECT_EQ(rpSetDigestText(rpSetDigest(status)), "43ef11f0e42323ca");
  sparse->expiryTimeIs(5.0);
  sparse->holdTimeIs(CrpHoldTime(150));
  EXPECT_EQ(rpSetDigestText(rpSetDigest(status)), "43ef11f0e42323ca");
  EXPECT_EQ(rpMappingDigest({TestKit::prefix("ff00::/8"), addr("2001:db8::9"), 1, 192, 126}),
            0x5cdfccff211795afU);
}

}  // namespace
}  // namespace Routing::Pim
