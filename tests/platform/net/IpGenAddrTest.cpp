#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <array>
#include <string>

#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"
#include "tests/support/Split.h"

namespace Routing {
namespace {

// The C library's text forms are the oracle.
std::optional<IpGenAddr> byLibc(const std::string& text) {
  std::array<std::uint8_t, 16> octets{};
  if (inet_pton(AF_INET, text.c_str(), octets.data()) == 1) {
    return IpGenAddr::fromBytes(AddressFamily::ipv4, octets.data());
  }
  if (inet_pton(AF_INET6, text.c_str(), octets.data()) == 1) {
    return IpGenAddr::fromBytes(AddressFamily::ipv6, octets.data());
  }
  return std::nullopt;
}

TEST(IpGenAddr, ReadsWhatTheCLibraryReadsAndNothingElse) {
  const char* texts =
      "0.0.0.0|255.255.255.255|1.2.3.4|1.2.3|1.2.3.4.5|1.2.3.256|1.2.3.|.1.2.3|1..2.3|"
      "1.2.3.4 | 1.2.3.4|::|::1|1::|1:2:3:4:5:6:7:8|1:2:3:4:5:6:7::|::2:3:4:5:6:7:8|"
      "1::3:4:5:6:7:8|1:2:3:4:5:6:7|1::2::3|12345::|g::|:1|1:|:::|::ffff:1.2.3.4|::1.2.3|"
      "1:2:3:4:5:6:1.2.3.4|1:2:3:4:5:6:7:1.2.3.4|fe80::1%eth0|1:2:3:4:5:6:7:8:9|::1:|"
      "1.2.3.4::";
  for (const std::string& text : TestKit::split(texts, '|')) {
    EXPECT_EQ(IpGenAddr::fromText(text), byLibc(text)) << '"' << text << '"';
  }
  EXPECT_FALSE(IpGenAddr::fromText(""));
}

TEST(IpGenAddr, TextGoesThereAndBack) {
  EXPECT_TRUE(rc::check([](std::uint64_t hi, std::uint64_t lo, std::uint8_t zeros) {
    for (int word = 0; word < 8; ++word) {  // runs of zero words are where the text form is hard
      const std::uint64_t mask = ~(std::uint64_t{0xffff} << (16 * (word % 4)));
      if (zeros >> word & 1) (word < 4 ? hi : lo) &= mask;
    }
    const IpGenAddr v6 = IpGenAddr::v6(hi, lo);
    const IpGenAddr v4 = IpGenAddr::v4(static_cast<std::uint32_t>(hi));
    RC_ASSERT(IpGenAddr::fromText(v4.text()) == v4);
    RC_ASSERT(IpGenAddr::fromText(v6.text()) == v6);
    RC_ASSERT(byLibc(v6.text()) == v6);
    std::array<std::uint8_t, 16> octets{};
    v6.toBytes(octets.data());
    RC_ASSERT(IpGenAddr::fromBytes(AddressFamily::ipv6, octets.data()) == v6);
  }));
}

TEST(IpGenAddr, TextIsCanonical) {
  for (const char* text : {"::", "::1", "1::", "2001:db8::1", "1:0:0:2::3", "1:0:2:3:4:5:6:7"}) {
    EXPECT_EQ(IpGenAddr::fromText(text)->text(), text);
  }
  EXPECT_EQ(IpGenAddr::fromText("2001:DB8:0:0:0:0:0:1")->text(), "2001:db8::1");
  EXPECT_EQ(IpGenAddr::fromText("1:0:0:2:0:0:0:3")->text(), "1:0:0:2::3") << "the longest run";
}

TEST(IpGenPrefix, IsCanonicalAndNoneIsNotTheZeroPrefix) {
  const auto prefix = IpGenPrefix::fromText("239.1.2.3/16");
  EXPECT_EQ(prefix->text(), "239.1.0.0/16");
  EXPECT_EQ(prefix, IpGenPrefix::fromText("239.1.0.0/16"));
  EXPECT_NE(IpGenPrefix{}, IpGenPrefix::zero(AddressFamily::ipv4));
  EXPECT_NE(IpGenPrefix::zero(AddressFamily::ipv4), IpGenPrefix::zero(AddressFamily::ipv6));
  EXPECT_TRUE(IpGenPrefix{}.isNone());
  for (const char* text : {"1.2.3.4/33", "::/129", "1.2.3.4/", "1.2.3.4/-1", "1.2.3.4/1x", "/8"}) {
    EXPECT_FALSE(IpGenPrefix::fromText(text)) << text;
  }
}

TEST(IpGenPrefix, ContainsIsBitwisePrefixing) {
  EXPECT_TRUE(rc::check([](std::uint64_t hi, std::uint64_t lo) {
    const auto length = *rc::gen::inRange(0U, 129U);
    const auto inner = *rc::gen::inRange(0U, 129U);
    const IpGenAddr address = IpGenAddr::v6(hi, lo);
    const IpGenPrefix prefix(address, length);
    RC_ASSERT(prefix.contains(address));
    RC_ASSERT(prefix.contains(IpGenPrefix(address, inner)) == (inner >= length));
    for (unsigned bit = 0; bit < 128; ++bit) {
      RC_ASSERT(prefix.address().bit(bit) == (bit < length && address.bit(bit)));
    }
  }));
}

}  // namespace
}  // namespace Routing
