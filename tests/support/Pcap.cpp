#include "tests/support/Pcap.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <span>
#include <utility>

#include "platform/pim/PimProtocol.h"
#include "platform/pim/wire/IpDatagram.h"
#include "tests/support/Octets.h"

// The build says where the source tree is; without it tests run from its root.
#ifndef PIMBSR_SOURCE_DIR
#define PIMBSR_SOURCE_DIR "."
#endif

namespace Routing::TestKit {
namespace {

constexpr std::size_t fileHeader = 24;
constexpr std::size_t recordHeader = 16;
constexpr std::uint32_t ethernet = 1;
constexpr std::uint32_t rawIp = 101;

struct Pcap {
  std::uint32_t linkType = 0;
  std::vector<Octets> frames;  // as captured; the last may be cut short
};

using Span = std::span<const std::uint8_t>;

std::uint32_t u32At(Span octets, std::size_t at, bool bigEndian) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) value = value << 8 | octets[at + (bigEndian ? i : 3 - i)];
  return value;
}

// Microsecond and nanosecond magic numbers.
bool isMagic(std::uint32_t number) {
  return number == 0xa1b2c3d4 || number == 0xa1b23c4d;
}

std::optional<Pcap> parse(Span file) {
  if (file.size() < fileHeader) return std::nullopt;
  const bool bigEndian = isMagic(u32At(file, 0, true));
  if (!isMagic(u32At(file, 0, bigEndian))) return std::nullopt;
  Pcap pcap{u32At(file, 20, bigEndian), {}};
  file = file.subspan(fileHeader);
  while (file.size() >= recordHeader) {
    const std::size_t length = u32At(file, 8, bigEndian);
    file = file.subspan(recordHeader);
    const Span frame = file.first(std::min(length, file.size()));
    pcap.frames.emplace_back(frame.begin(), frame.end());
    file = file.subspan(frame.size());
  }
  return pcap;
}

// The IP datagram in a frame; empty for anything else.
Span datagramIn(Span frame, std::uint32_t linkType) {
  if (linkType == rawIp) return frame;
  if (linkType != ethernet || frame.size() < 14) return {};
  const unsigned etherType = unsigned{frame[12]} << 8 | frame[13];
  return etherType == 0x0800 || etherType == 0x86dd ? frame.subspan(14) : Span{};
}

}  // namespace

std::vector<CapturedPim> pimIn(const std::filesystem::path& file) {
  std::vector<CapturedPim> messages;
  std::ifstream in(file, std::ios::binary);
  const auto pcap = parse(Octets{std::istreambuf_iterator<char>(in), {}});
  if (!pcap) return messages;
  for (const auto& frame : pcap->frames) {
    const Span datagram = datagramIn(frame, pcap->linkType);
    auto payload = Pim::ipv4Payload(datagram, Pim::ipProtocol);
    if (!payload) payload = Pim::ipv6Payload(datagram, Pim::ipProtocol);
    if (!payload) continue;
    Octets octets(payload->octets.begin(), payload->octets.end());
    messages.push_back({payload->source, payload->destination, payload->ttl, std::move(octets)});
  }
  return messages;
}

std::filesystem::path ownCapture(std::string_view name) {
  return std::filesystem::path(PIMBSR_SOURCE_DIR) / "tests/data/pcaps" / name;
}

std::optional<std::filesystem::path> foreignCapture(std::string_view name) {
  const char* named = std::getenv("PIMBSR_CAPTURES");
  const std::filesystem::path folder =
      named != nullptr ? std::filesystem::path(named)
                       : std::filesystem::path(PIMBSR_SOURCE_DIR) / "../shared/pcaps";
  const auto file = folder / name;
  return std::filesystem::exists(file) ? std::optional(file) : std::nullopt;
}

}  // namespace Routing::TestKit
