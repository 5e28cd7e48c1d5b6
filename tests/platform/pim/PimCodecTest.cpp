#include <gtest/gtest.h>

#include "platform/pim/PimCodec.h"
#include "platform/pim/wire/PimChecksum.h"
#include "tests/support/Octets.h"
#include "tests/support/PimInvariants.h"
#include "tests/support/Table.h"

// Octets to object and object to octets, in pairs. The writer always starts from a buffer full of
// rubbish.

namespace Routing::Pim {
namespace {

using TestKit::addr;
using TestKit::describe;
using TestKit::hex;
using TestKit::Octets;
using TestKit::prefix;

TEST(PimCodec, GoldenMessagesAreReadAndWritten) {
  const auto rows = TestKit::table("pim/golden.txt");
  EXPECT_EQ(rows.size(), 4U);
  for (const auto& row : rows) {
    const IpGenAddr source = addr(row.at(1)), destination = addr(row.at(2));
    const auto result = decode(hex(row.at(3)), source, destination);
    EXPECT_EQ(describe(result), row.at(4)) << row.at(0);
    const PimMessage* message = TestKit::messageOf(result);
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(message->source(), source);
    EXPECT_EQ(message->destination(), destination);
    Octets octets(999, 0xa5);
    ASSERT_TRUE(encode(*message, octets));
    EXPECT_EQ(octets, hex(row.at(3))) << row.at(0);
  }
}

// A forwarded IPv6 message needs its checksum anew on every interface.
TEST(PimCodec, DatagramAddressesOfTheCallGoIntoTheChecksum) {
  const IpGenAddr here = addr("fe80::1"), there = addr("fe80::99"), all = addr("ff02::d");
  BootstrapMessage bsm;
  bsm.sourceIs(here);
  bsm.destinationIs(all);
  bsm.bsrAddressIs(addr("2001:db8::1"));
  Octets own, forwarded(999, 0xa5);
  ASSERT_TRUE(encode(bsm, own) && encode(bsm, there, all, forwarded));
  EXPECT_NE(own, forwarded);
  EXPECT_EQ(describe(decode(forwarded, there, all)), describe(decode(own, here, all)));
}

TEST(PimCodec, OtherTypesAreIgnoredWhateverTheyHold) {
  for (unsigned type = 0; type < 16; ++type) {
    if (type == 0 || type == 4 || type == 8) continue;
    const Octets octets{static_cast<std::uint8_t>(0x20 | type), 0, 0xba, 0xad, 0xff};
    EXPECT_EQ(describe(decode(octets, addr("192.0.2.1"), addr("192.0.2.2"))),
              "type " + std::to_string(type));
  }
  EXPECT_EQ(pimTypeOf(hex("28")), 8);
  EXPECT_EQ(pimTypeOf({}), std::nullopt);
}

// What must not disturb: reserved bits and octets, host bits, a Z bit further down.
TEST(PimCodec, WhatIsNotOursIsIgnoredOrKept) {
  Octets octets =
      hex("24ff0000 0001 1e40 0100c0000201"
          "01007e08efffffff 0101beef 0100c000020b0096007f"
          "0100ff10ef01ffff 01000000");
  const IpGenAddr source = addr("192.0.2.1"), all = addr("224.0.0.13");
  pimChecksumIs(octets, source, all);
  const auto result = decode(octets, source, all);
  EXPECT_EQ(describe(result),
            "BSM-N tag 1 hash 30 BSR 192.0.2.1*64; 239.0.0.0/8 1/1 192.0.2.11*0*150s;"
            " 239.1.0.0/16 B Z 0/1");
  const auto& bsm = *std::get<std::shared_ptr<BootstrapMessage>>(result);
  EXPECT_EQ(bsm.groupRpData()[0].groupFlags(), 0x7e);
  EXPECT_EQ(bsm.groupRpData()[1].groupFlags(), 0xff);
  EXPECT_EQ(zoneOf(bsm, prefix("224.0.0.0/4")), prefix("224.0.0.0/4"));

  Octets again(7, 0xa5);
  ASSERT_TRUE(encode(bsm, again));
  again[2] = again[3] = 0;
  EXPECT_EQ(again, hex("24800000 0001 1e40 0100c0000201"
                       "01007e08ef000000 01010000 0100c000020b00960000"
                       "0100ff10ef010000 01000000"));
}

TEST(PimCodec, UnusualMessagesAreRead) {
  const auto rows = TestKit::table("pim/unusual.txt");
  EXPECT_EQ(rows.size(), 9U);
  for (const auto& row : rows) {
    const IpGenAddr source = addr("192.0.2.11"), destination = addr(row.at(1));
    Octets octets = hex(row.at(2));
    pimChecksumIs(octets, source, destination);
    EXPECT_EQ(describe(decode(octets, source, destination)), row.at(3)) << row.at(0);
  }
}

// The advertiser may hold one range more than it counts.
TEST(PimCodec, AnAdvertisementIsWrittenWithTheRangesThatItCounts) {
  CrpAdvMessage adv;
  adv.sourceIs(addr("192.0.2.11"));
  adv.destinationIs(addr("192.0.2.1"));
  adv.rpAddressIs(addr("192.0.2.11"));
  for (unsigned i = 0; i < 256; ++i) {
    adv.groupData().emplace_back(IpGenPrefix(IpGenAddr::v4(0xe1000000 + i), 32));
  }
  adv.prefixCountIs(255);
  Octets octets;
  ASSERT_TRUE(encode(adv, octets));
  EXPECT_EQ(octets.size(), 14U + 255 * 8);
  adv.groupData().resize(2);
  ASSERT_TRUE(encode(adv, octets));
  EXPECT_EQ(octets.size(), 14U + 2 * 8);
  EXPECT_EQ(octets[4], 2) << "never more announced than written";
}

TEST(PimCodec, ABootstrapMessageIsWrittenWithTheRpsThatItHolds) {
  BootstrapMessage bsm;
  bsm.sourceIs(addr("2001:db8::1"));
  bsm.destinationIs(addr("ff02::d"));
  bsm.bsrAddressIs(addr("2001:db8::1"));
  auto& group = bsm.groupRpDataAppend(BootstrapGroupData(prefix("ff00::/8")));
  group.rpCountIs(7);
  group.fragRpCountIs(5);
  group.rpList().rpIs(addr("2001:db8::11"), {150, 0});
  Octets octets;
  ASSERT_TRUE(encode(bsm, octets));
  EXPECT_EQ(octets.size(), 26U + 24 + 22);
  EXPECT_EQ(octets[46], 7);
  EXPECT_EQ(octets[47], 1);

  for (unsigned i = 0; i < 300; ++i) group.rpList().rpIs(IpGenAddr::v6(1, i), {150, 0});
  ASSERT_TRUE(encode(bsm, octets));
  EXPECT_EQ(octets[47], 255);
  EXPECT_EQ(octets.size(), 26U + 24 + 255 * 22);
}

TEST(PimCodec, WhatHasNoPlaceOnTheWireIsNotEncoded) {
  const IpGenAddr v4 = addr("192.0.2.1"), v6 = addr("2001:db8::1"), all = addr("224.0.0.13");
  const auto refused = [](const PimMessage& message, const IpGenAddr& from, const IpGenAddr& to) {
    Octets octets(9, 0xa5);
    return !encode(message, from, to, octets) && octets.empty();
  };
  BootstrapMessage bsm;
  EXPECT_TRUE(refused(bsm, v4, all)) << "no BSR address";
  bsm.bsrAddressIs(v4);
  EXPECT_FALSE(refused(bsm, v4, all));
  EXPECT_TRUE(refused(bsm, v6, addr("ff02::d"))) << "BSR of the other family";
  EXPECT_TRUE(refused(bsm, v6, all)) << "source and destination differ in family";
  EXPECT_TRUE(refused(bsm, {}, {})) << "no family at all";
  auto& group = bsm.groupRpDataAppend(BootstrapGroupData(prefix("ff00::/8")));
  EXPECT_TRUE(refused(bsm, v4, all)) << "range of the other family";
  group.prefixIs(prefix("224.0.0.0/4"));
  group.rpList().rpIs(v6, {});
  EXPECT_TRUE(refused(bsm, v4, all)) << "RP of the other family";

  CrpAdvMessage adv;
  adv.rpAddressIs(v4);
  adv.groupDataIs({CrpGroupInfo{}});
  EXPECT_FALSE(refused(adv, v4, v4)) << "a range that is not counted is not looked at";
  adv.prefixCountIs(1);
  EXPECT_TRUE(refused(adv, v4, v4)) << "range that is none";

  HelloMessage hello;
  hello.addressListIs(std::vector<IpGenAddr>(0xffff / 6, v4));
  EXPECT_FALSE(refused(hello, v4, all));
  hello.addressListIs(std::vector<IpGenAddr>(0xffff / 6 + 1, v4));
  EXPECT_TRUE(refused(hello, v4, all)) << "address list longer than an option can be";
}

}  // namespace
}  // namespace Routing::Pim
