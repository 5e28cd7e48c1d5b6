#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "agent/config/ConfigFile.h"

// The files under tests/data/config. A bad one begins with the errors that it must give, one in
// "judged" with the warnings, each as "# expect: LINE: PATH: TEXT"; these and no others.

namespace Routing::Agent {
namespace {

using Files = std::vector<std::filesystem::path>;
using Texts = std::vector<std::string>;

Files filesOf(const std::string& directory) {
  Files files;
  for (const auto& entry : std::filesystem::directory_iterator(
           std::filesystem::path(PIMBSR_SOURCE_DIR) / "tests/data/config" / directory)) {
    files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

Texts textsOf(const Findings& findings, Severity severity = Severity::error) {
  Texts texts;
  for (const Finding& finding : findings) {
    if (finding.severity == severity) texts.push_back(findingText(finding));
  }
  return texts;
}

Texts expectedOf(const std::filesystem::path& file) {
  constexpr std::string_view mark = "# expect: ";
  Texts expected;
  std::ifstream stream(file);
  for (std::string line; std::getline(stream, line) && line.starts_with(mark);) {
    expected.push_back(line.substr(mark.size()));
  }
  return expected;
}

TEST(BadFiles, GiveTheErrorsThatTheyAnnounce) {
  const Files files = filesOf("bad");
  EXPECT_GE(files.size(), 100U);
  for (const auto& file : files) {
    SCOPED_TRACE(file.filename().string());
    const LoadedConfig loaded = loadConfig(file);
    EXPECT_FALSE(loaded.config);
    EXPECT_FALSE(expectedOf(file).empty());
    EXPECT_EQ(textsOf(loaded.findings), expectedOf(file));
  }
}

TEST(JudgedFiles, GiveTheWarningsThatTheyAnnounce) {
  const Files files = filesOf("judged");
  EXPECT_GE(files.size(), 12U);
  for (const auto& file : files) {
    SCOPED_TRACE(file.filename().string());
    const LoadedConfig loaded = loadConfig(file);
    EXPECT_TRUE(loaded.config);
    EXPECT_EQ(textsOf(loaded.findings, Severity::warning), expectedOf(file));
  }
}

TEST(GoodFiles, HaveNoErrors) {
  const Files files = filesOf("good");
  EXPECT_GE(files.size(), 4U);
  for (const auto& file : files) {
    SCOPED_TRACE(file.filename().string());
    const LoadedConfig loaded = loadConfig(file);
    EXPECT_TRUE(loaded.config);
    EXPECT_EQ(textsOf(loaded.findings), Texts());
  }
}

TEST(ThePackagedFile, HasNothingToWarnOf) {
  const LoadedConfig loaded = loadConfig(PIMBSR_SOURCE_DIR "/packaging/pimbsrd.yaml");
  ASSERT_TRUE(loaded.config);
  for (const Finding& finding : loaded.findings) {
    EXPECT_EQ(finding.severity, Severity::information) << findingText(finding);
  }
}

TEST(AFileThatCannotBeRead, IsAnError) {
  const std::string directory = PIMBSR_SOURCE_DIR "/tests/data/config";
  EXPECT_EQ(textsOf(loadConfig(directory + "/absent.yaml").findings),
            (Texts{"cannot be read: No such file or directory"}));
  EXPECT_EQ(textsOf(loadConfig(directory).findings), (Texts{"cannot be read: Is a directory"}));
  EXPECT_EQ(textsOf(loadConfig("/dev/zero").findings), (Texts{"longer than 1048576 octets"}));
}

}  // namespace
}  // namespace Routing::Agent
