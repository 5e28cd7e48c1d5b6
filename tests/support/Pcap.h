#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
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

/// The PIM messages of a capture in the classic pcap format, of either byte order, with Ethernet or
/// raw IP frames; in order, frames that hold none left out. No message at all if the file cannot be
/// read.
std::vector<CapturedPim> pimIn(const std::filesystem::path& file);

/// A file of the captures that come with the tests.
std::filesystem::path ownCapture(std::string_view name);

/// A file of the captures that are kept outside the source tree: in the folder that the environment
/// variable PIMBSR_CAPTURES names, else in ../shared/pcaps beside the tree. None if it is not
/// there.
std::optional<std::filesystem::path> foreignCapture(std::string_view name);

}  // namespace Routing::TestKit
