#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "config/file/ConfigFile.h"
#include "config/judge/Forecast.h"

// The files under tests/data/config. A bad one begins with the errors that it must give, one in
// "judged" with the warnings, one in "told" with what else is said of it, each as
// "# expect: LINE: PATH: TEXT"; these and no others.

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

Texts saidOf(const Findings& findings, Severity severity = Severity::error) {
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

/// The findings of one severity that a directory's files announce, and whether they can be used.
struct Kind {
  const char* directory;
  std::size_t files;  // at least
  Severity announced;
  bool usable;
};

TEST(ConfigCorpus, EachFileGivesWhatItAnnounces) {
  for (const Kind& kind :
       {Kind{"bad", 100, Severity::error, false}, Kind{"judged", 12, Severity::warning, true},
        Kind{"told", 2, Severity::information, true}, Kind{"good", 4, Severity::error, true}}) {
    const Files files = filesOf(kind.directory);
    EXPECT_GE(files.size(), kind.files);
    for (const auto& file : files) {
      SCOPED_TRACE(file.filename().string());
      const LoadedConfig loaded = loadConfig(file);
      EXPECT_EQ(loaded.config.has_value(), kind.usable);
      EXPECT_EQ(saidOf(loaded.findings, kind.announced), expectedOf(file));
    }
  }
}

TEST(ThePackagedFile, HasNothingToWarnOf) {
  const LoadedConfig loaded = loadConfig(PIMBSR_SOURCE_DIR "/packaging/pimbsrd.yaml");
  ASSERT_TRUE(loaded.config);
  for (const Finding& finding : loaded.findings) {
    EXPECT_EQ(finding.severity, Severity::information) << findingText(finding);
  }
}

TEST(TheExamples, KeepTheirRpsInAFailover) {
  for (int number = 1; number <= 5; ++number) {
    const std::string file = "/examples/lab/r" + std::to_string(number) + ".yaml";
    const LoadedConfig loaded = loadConfig(PIMBSR_SOURCE_DIR + file);
    ASSERT_TRUE(loaded.config) << file;
    for (const auto& [af, settings] : loaded.config->vrfs.at(VrfName("default"))) {
      EXPECT_EQ(worstForecast(settings, af).withoutRp, 0) << file;
    }
  }
}

TEST(WhatIsNoRegularFile, IsAnErrorAtOnce) {
  const auto said = [](const std::string& file) { return saidOf(loadConfig(file).findings); };
  const Texts irregular{"cannot be read: not a regular file"};
  const std::string directory = testing::TempDir();
  const std::string pipe = directory + "/pimbsr-pipe-" + std::to_string(::getpid());
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(said(pipe), irregular);
  ::unlink(pipe.c_str());
  EXPECT_EQ(said(pipe), Texts{"cannot be read: No such file or directory"});
  EXPECT_EQ(said(directory), irregular);
  EXPECT_EQ(said("/dev/zero"), irregular);
}

}  // namespace
}  // namespace Routing::Agent
