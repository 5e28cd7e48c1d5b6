#include "fuzz/CodecFuzz.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/pim/PimCodec.h"
#include "platform/pim/wire/PimChecksum.h"
#include "tests/support/PimInvariants.h"

namespace Routing::Fuzz {
namespace {

using namespace Pim;

constexpr std::uint8_t ipv6Bit = 0x01;
constexpr std::uint8_t keepChecksumBit = 0x02;
constexpr std::size_t headerOctets = 4;

IpGenAddr hostOf(AddressFamily af, std::uint8_t number) {
  return af == AddressFamily::ipv4 ? IpGenAddr::v4(0xc0000200U + number)
                                   : IpGenAddr::v6(std::uint64_t{0xfe80} << 48, number);
}

void require(bool condition, const std::string& what) {
  if (condition) return;
  std::fprintf(stderr, "%s\n", what.c_str());
  std::abort();
}

void judge(const DecodeResult& result) {
  const std::string fault = TestKit::violation(result);
  require(fault.empty(), "decoded message holds: " + fault);
  const PimMessage* message = TestKit::messageOf(result);
  if (message == nullptr) return;
  std::vector<std::uint8_t> octets;
  require(encode(*message, octets), "decoded message cannot be encoded");
  const auto again = decode(octets, message->source(), message->destination());
  require(TestKit::describe(again) == TestKit::describe(result), "round trip changed the message");
}

}  // namespace

void codecFuzz(PimType type, const std::uint8_t* data, std::size_t size) {
  if (size == 0) return;
  const std::uint8_t control = data[0];
  const auto af = (control & ipv6Bit) != 0 ? AddressFamily::ipv6 : AddressFamily::ipv4;
  const IpGenAddr source = hostOf(af, 1);
  const IpGenAddr destination = type == PimType::crpAdv ? hostOf(af, 2) : allPimRouters(af);
  std::vector<std::uint8_t> octets(data + 1, data + size);
  if (!octets.empty()) {
    octets[0] = static_cast<std::uint8_t>(pimVersion << 4 | static_cast<unsigned>(type));
  }
  if (octets.size() >= headerOctets && (control & keepChecksumBit) == 0) {
    pimChecksumIs(octets, source, destination);
  }
  judge(decode(octets, source, destination));
}

}  // namespace Routing::Fuzz
