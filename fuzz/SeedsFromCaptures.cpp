// Writes the PIM messages of captures as seed inputs for the codec's fuzz targets:
//   seeds-from-captures FOLDER CAPTURE...
// One file per message goes into FOLDER/bootstrap, FOLDER/crpadv or FOLDER/hello.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/pim/PimProtocol.h"
#include "tests/support/Pcap.h"

namespace {

using Routing::Pim::PimType;
using Routing::TestKit::CapturedPim;
namespace fs = std::filesystem;

std::string folderOf(const CapturedPim& message) {
  const auto type = Routing::Pim::pimTypeOf(message.octets);
  if (!type) return {};
  switch (static_cast<PimType>(*type)) {
    case PimType::bootstrap:
      return "bootstrap";
    case PimType::crpAdv:
      return "crpadv";
    case PimType::hello:
      return "hello";
  }
  return {};
}

void writeSeed(const fs::path& file, const CapturedPim& message) {
  std::ofstream out(file, std::ios::binary);
  out.put(message.source.af() == Routing::AddressFamily::ipv6 ? '\1' : '\0');
  for (const std::uint8_t octet : message.octets) out.put(static_cast<char>(octet));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s FOLDER CAPTURE...\n", argv[0]);
    return 2;
  }
  unsigned count = 0;
  for (int i = 2; i < argc; ++i) {
    for (const auto& message : Routing::TestKit::pimIn(argv[i])) {
      const std::string folder = folderOf(message);
      if (folder.empty()) continue;
      fs::create_directories(fs::path(argv[1]) / folder);
      const auto name = fs::path(argv[i]).stem().string() + '-' + std::to_string(count++);
      writeSeed(fs::path(argv[1]) / folder / name, message);
    }
  }
  std::printf("%u seeds\n", count);
  return count > 0 ? 0 : 1;
}
