#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "platform/pim/PimCodec.h"
#include "tests/support/Octets.h"
#include "tests/support/Pcap.h"
#include "tests/support/PimInvariants.h"

// Captures as they stand: those in tests/data/pcaps were built octet by octet from the RFC layouts
// without this codec; others, of real routers, are read where they are present.

namespace Routing::Pim {
namespace {

using TestKit::CapturedPim;
using TestKit::Octets;

DecodeResult decodeCaptured(const CapturedPim& m) {
  return decode(m.octets, m.source, m.destination);
}

std::vector<std::string> textsOf(const std::filesystem::path& file) {
  std::vector<std::string> texts;
  for (const auto& message : TestKit::pimIn(file)) {
    texts.push_back(TestKit::describe(decodeCaptured(message)));
  }
  return texts;
}

/// A capture and what its messages say, line by line, in the text of the same name beside it.
struct Capture {
  std::filesystem::path file;
  std::vector<std::string> says;
};

std::vector<Capture> ownCaptures() {
  std::vector<Capture> captures;
  for (const auto& entry : std::filesystem::directory_iterator(TestKit::ownCapture(""))) {
    if (entry.path().extension() != ".txt") continue;
    Capture capture{std::filesystem::path(entry.path()).replace_extension(".pcap"), {}};
    std::ifstream text(entry.path());
    for (std::string line; std::getline(text, line);) capture.says.push_back(line);
    captures.push_back(capture);
  }
  EXPECT_EQ(captures.size(), 14U);
  return captures;
}

// Whatever decodes is written back as the very octets that were captured.
TEST(Capture, OwnCapturesAreReadAndWrittenAsTheyWereMade) {
  unsigned written = 0;
  for (const auto& capture : ownCaptures()) {
    EXPECT_EQ(textsOf(capture.file), capture.says) << capture.file;
    for (const auto& captured : TestKit::pimIn(capture.file)) {
      const auto result = decodeCaptured(captured);
      if (TestKit::messageOf(result) == nullptr) continue;
      Octets octets(77, 0xa5);
      ASSERT_TRUE(encode(*TestKit::messageOf(result), octets)) << capture.file;
      EXPECT_EQ(octets, captured.octets) << capture.file << ' ' << TestKit::describe(result);
      ++written;
    }
  }
  EXPECT_EQ(written, 32U);
}

// What is in captures of other makers' routers, by the first word of its description.
TEST(Capture, ForeignMessagesAreWhatTheyAre) {
  using Counts = std::map<std::string, unsigned>;
  const std::pair<const char*, Counts> captures[] = {
      {"PIMv2_bootstrap.pcap", {{"BSM", 4}, {"C-RP", 4}}},
      {"PIMv2_hellos.pcap", {{"Hello", 6}}},
      {"PIM_register_register-stop.pcap", {{"type", 2}}},
      {"pim_header_asan-2.pcap", {}},
  };
  for (const auto& [name, expected] : captures) {
    const auto file = TestKit::foreignCapture(name);
    if (!file) GTEST_SKIP() << "captures of other makers' routers are not present";
    Counts counts;
    for (const std::string& text : textsOf(*file)) ++counts[text.substr(0, text.find(' '))];
    EXPECT_EQ(counts, expected) << name;
  }
}

}  // namespace
}  // namespace Routing::Pim
