#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "platform/net/IpGenAddr.h"

namespace Routing::TestKit {

/// One PIM message of a capture with what its IP header says.
struct CapturedPim {
  IpGenAddr source;
  IpGenAddr destination;
  std::uint8_t ttl = 0;
  std::vector<std::uint8_t> octets;
};

/// A capture in the classic pcap format, of either byte order.
struct Pcap {
  std::uint32_t linkType = 0;
  std::vector<std::vector<std::uint8_t>> frames;  ///< as captured; the last may be cut short
};

/// None if the file cannot be read or is no classic pcap.
std::optional<Pcap> readPcap(const std::filesystem::path& file);

/// The IP datagram in a frame: Ethernet (link type 1) or raw IP (101); empty for anything else.
std::span<const std::uint8_t> datagramIn(std::span<const std::uint8_t> frame,
                                         std::uint32_t linkType);

/// The PIM messages of a capture in order, frames that hold none left out. No message at all if the
/// file cannot be read.
std::vector<CapturedPim> pimIn(const std::filesystem::path& file);

/// A file of the captures that come with the tests.
std::filesystem::path ownCapture(std::string_view name);

/// A file of the captures that are kept outside the source tree: in the folder that the environment
/// variable PIMBSR_CAPTURES names, else in ../shared/pcaps beside the tree. None if it is not
/// there.
std::optional<std::filesystem::path> foreignCapture(std::string_view name);

}  // namespace Routing::TestKit
