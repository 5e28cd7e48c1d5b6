#include <gtest/gtest.h>

#include <string>

#include "platform/pim/PimChecksum.h"
#include "platform/pim/PimCodec.h"
#include "tests/support/Octets.h"
#include "tests/support/PimInvariants.h"

// What is malformed, message by message, and the reason under which it is dropped. Checksums are
// put right before decoding, so that each message has the one fault its line names.

namespace Routing::Pim {
namespace {

using TestKit::addr;
using TestKit::hex;
using TestKit::Octets;

struct Malformed {
  DropReason reason;
  const char* what;
  std::string octets;
};

const std::string bsm4 = "24000000 0001 1e40 0100c0000201 ";
const std::string bsm6 = "24000000 0001 7e40 0200 20010db8000000000000000000000001 ";
const std::string all4 = "01000004e0000000 ";
const std::string all6 = "02000008ff000000000000000000000000000000 ";
const std::string rp4 = "0100c000020b 00960000 ";
const std::string rp6 = "0200 20010db8000000000000000000000011 00960000 ";
const std::string crp4 = "28000000 01c00096 0100c000020b ";
const std::string crp6 = "28000000 01c00096 0200 20010db8000000000000000000000011 ";

std::string bsmFrom(const std::string& bsr) {
  return "24000000 0001 1e40 " + bsr;
}
std::string crpFrom(const std::string& rp) {
  return "28000000 01c00096 " + rp + all4;
}
std::string bsmWithRp(const std::string& rp) {
  return bsm4 + all4 + "01010000" + rp + "00960000";
}

const Malformed malformedV4[] = {
    {DropReason::shortHeader, "nothing", ""},
    {DropReason::shortHeader, "three octets", "240000"},
    {DropReason::badVersion, "version 1", "14000000 0001 1e40 0100c0000201"},
    {DropReason::badVersion, "version 3 of an unknown type", "3f000000"},
    {DropReason::truncated, "BSM of a bare header", "24000000"},
    {DropReason::truncated, "BSM cut in the BSR address", "24000000 0001 1e40 0100c00002"},
    {DropReason::truncated, "BSM cut in a range", bsm4 + "01000004e000"},
    {DropReason::truncated, "BSM cut in the counts", bsm4 + all4 + "0000 00"},
    {DropReason::truncated, "BSM cut in an RP", bsm4 + all4 + "01010000 0100c000020b 009600"},
    {DropReason::truncated, "BSM without an announced RP", bsm4 + all4 + "02020000" + rp4},
    {DropReason::truncated, "BSM with an octet left over", bsm4 + all4 + "01010000" + rp4 + "00"},
    {DropReason::badFamily, "BSR of the other family",
     bsmFrom("0200 20010db8000000000000000000000001")},
    {DropReason::badFamily, "range of the other family", bsm4 + all6 + "00000000"},
    {DropReason::badFamily, "RP of the other family", bsm4 + all4 + "01010000" + rp6},
    {DropReason::badFamily, "unknown family", bsmFrom("0700c0000201")},
    {DropReason::badEncoding, "BSR encoding type 1", bsmFrom("0101c0000201")},
    {DropReason::badEncoding, "range encoding type 1", bsm4 + "01010004e0000000 00000000"},
    {DropReason::badEncoding, "RP encoding type 255", bsmWithRp("01ffc000020b")},
    {DropReason::maskTooLong, "range of 33 bits", bsm4 + "01000021e0000001 00000000"},
    {DropReason::hashMaskTooLong, "hash mask of 33 bits", "24000000 0001 2140 0100c0000201"},
    {DropReason::notMulticastGroup, "unicast range", bsm4 + "01000018c0000200 00000000"},
    {DropReason::notMulticastGroup, "everything", bsm4 + "0100010000000000 00000000"},
    {DropReason::notMulticastGroup, "224.0.0.0/3", bsm4 + "01000003e0000000 00000000"},
    {DropReason::notMulticastGroup, "class E", bsm4 + "01000004f0000000 00000000"},
    {DropReason::badBsrAddress, "BSR 0.0.0.0", bsmFrom("010000000000")},
    {DropReason::badBsrAddress, "BSR multicast", bsmFrom("0100e0000001")},
    {DropReason::badBsrAddress, "BSR broadcast", bsmFrom("0100ffffffff")},
    {DropReason::badBsrAddress, "BSR loopback", bsmFrom("01007f000001")},
    {DropReason::badBsrAddress, "BSR link-local", bsmFrom("0100a9fe0001")},
    {DropReason::badRpAddress, "RP 0.0.0.0", bsmWithRp("010000000000")},
    {DropReason::badRpAddress, "RP multicast", bsmWithRp("0100ef010101")},
    {DropReason::badRpAddress, "RP loopback", bsmWithRp("01007f7f7f7f")},
    {DropReason::fragCountAboveCount, "three RPs where two are announced",
     bsm4 + all4 + "02030000" + rp4 + "0100c000020c00960000 0100c000020d00960000"},
    {DropReason::fragCountAboveCount, "an RP where none is announced",
     bsm4 + all4 + "00010000" + rp4},
    {DropReason::duplicateRp, "an RP twice", bsm4 + all4 + "02020000" + rp4 + rp4},
    {DropReason::duplicateRp, "an RP twice with another between",
     bsm4 + all4 + "03030000" + rp4 + "0100c000020c00960000" + rp4},
    {DropReason::conflictingRange, "a range with two RP counts",
     bsm4 + all4 + "01000000 01000008ef000000 00000000" + all4 + "02000000"},
    {DropReason::conflictingRange, "ranges that become equal without their host bits",
     bsm4 + "01000008ef000001 01000000 01000008ef000002 02000000"},
    {DropReason::conflictingRange, "a range in pieces of more RPs than announced",
     bsm4 + all4 + "01010000" + rp4 + all4 + "01010000 0100c000020c00960000"},
    {DropReason::truncated, "advertisement of a bare header", "28000000"},
    {DropReason::truncated, "advertisement with a range missing",
     "28000000 02c00096 0100c000020b" + all4},
    {DropReason::badFamily, "advertised range of the other family", crp4 + all6},
    {DropReason::badEncoding, "advertised range of encoding type 1", crp4 + "01010004e0000000"},
    {DropReason::maskTooLong, "advertised range of 255 bits", crp4 + "010000ffe0000000"},
    {DropReason::notMulticastGroup, "advertised unicast range", crp4 + "01000008 0a000000"},
    {DropReason::badRpAddress, "advertised RP link-local", crpFrom("0100a9fe0001")},
    {DropReason::badRpAddress, "advertised RP broadcast", crpFrom("0100ffffffff")},
    {DropReason::truncated, "Hello with half an option header", "20000000 0001"},
    {DropReason::truncated, "Hello with an option beyond the end", "20000000 00010002 69"},
    {DropReason::truncated, "Hello with an unknown option beyond the end", "20000000 4321ffff 69"},
    {DropReason::badOptionLength, "holdtime of four octets", "20000000 00010004 00000069"},
    {DropReason::badOptionLength, "LAN prune delay of two octets", "20000000 00020002 01f4"},
    {DropReason::badOptionLength, "DR priority of no octet", "20000000 00130000"},
    {DropReason::badOptionLength, "generation ID of five octets", "20000000 00140005 1234567890"},
    {DropReason::badOptionLength, "half a secondary address",
     "20000000 00180009 0100c0000201010000"},
    {DropReason::badFamily, "secondary address of the other family",
     "20000000 00180012 0200 20010db8000000000000000000000001"},
    {DropReason::badEncoding, "secondary address of encoding type 1",
     "20000000 00180006 0101c0000201"},
    {DropReason::badSecondaryAddress, "multicast secondary address",
     "20000000 00180006 0100e000000d"},
    {DropReason::badSecondaryAddress, "secondary address 0.0.0.0",
     "20000000 00180006 010000000000"},
};

const Malformed malformedV6[] = {
    {DropReason::badFamily, "BSR of the other family", bsm4},
    {DropReason::badFamily, "RP of the other family", bsm6 + all6 + "01010000" + rp4},
    {DropReason::maskTooLong, "range of 129 bits",
     bsm6 + "02000081ff050000000000000000000000000000 00000000"},
    {DropReason::hashMaskTooLong, "hash mask of 129 bits",
     "24000000 0001 8140 0200 20010db8000000000000000000000001"},
    {DropReason::notMulticastGroup, "ff00::/7",
     bsm6 + "02000007ff000000000000000000000000000000 00000000"},
    {DropReason::scopedMaskTooShort, "zone of 15 bits",
     bsm6 + "0200010fff050000000000000000000000000000 00000000"},
    {DropReason::scopedMaskTooShort, "zone of the whole range",
     bsm6 + "02000108ff000000000000000000000000000000 00000000"},
    {DropReason::badBsrAddress, "BSR ::", bsmFrom("0200 00000000000000000000000000000000")},
    {DropReason::badBsrAddress, "BSR ::1", bsmFrom("0200 00000000000000000000000000000001")},
    {DropReason::badBsrAddress, "BSR link-local", bsmFrom("0200 fe800000000000000000000000000001")},
    {DropReason::badRpAddress, "RP multicast",
     bsm6 + all6 + "01010000 0200 ff0e0000000000000000000000000001 00960000"},
    {DropReason::badRpAddress, "advertised RP link-local",
     "28000000 01c00096 0200 febf0000000000000000000000000001" + all6},
};

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

void expectDrop(const Malformed& message, AddressFamily af) {
  const auto result = decodeAlone(hex(message.octets), af);
  EXPECT_EQ(TestKit::describe(result), dropReasonText(message.reason)) << message.what;
}

TEST(PimDrop, MalformedIpv4MessagesAreDroppedForTheirReason) {
  for (const auto& message : malformedV4) expectDrop(message, AddressFamily::ipv4);
}

TEST(PimDrop, MalformedIpv6MessagesAreDroppedForTheirReason) {
  for (const auto& message : malformedV6) expectDrop(message, AddressFamily::ipv6);
}

// The building blocks of the lines above are themselves good, so that the fault is the line's.
TEST(PimDrop, WhatTheLinesAreMadeOfDecodes) {
  for (const auto& text :
       {bsm4, bsm4 + all4 + "01010000" + rp4, crp4 + all4, std::string("20000000")}) {
    EXPECT_NE(TestKit::messageOf(decodeAlone(hex(text), AddressFamily::ipv4)), nullptr) << text;
  }
  const std::string zone16 = "02000110ff050000000000000000000000000000 00000000";
  const std::string zone8Later = "02000108ff000000000000000000000000000000 00000000";
  for (const auto& text :
       {bsm6 + all6 + "01010000" + rp6, bsm6 + zone16 + zone8Later, crp6 + all6}) {
    EXPECT_NE(TestKit::messageOf(decodeAlone(hex(text), AddressFamily::ipv6)), nullptr) << text;
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
  Octets octets = hex(bsm4);
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
