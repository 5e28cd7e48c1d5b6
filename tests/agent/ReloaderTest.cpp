#include <gtest/gtest.h>
#include <unistd.h>

#include <asio.hpp>
#include <filesystem>
#include <fstream>
#include <optional>

#include "agent/daemon/Reloader.h"

namespace Routing::Agent {
namespace {

class ReloaderTest : public testing::Test {
 protected:
  ReloaderTest() { options_.configFile = file_; }
  ~ReloaderTest() override { std::filesystem::remove(file_); }

  void write(const std::string& level) {
    std::ofstream(file_) << "vrf: []\nlog-level: " << level << "\n";
  }
  void start() {
    reloader_.emplace(
        loop_, ConfigSource(options_), [] { return AddressedInterfaces{}; },
        [this](const LoadedConfig& loaded) {
          applied_.push_back(loaded.config ? loaded.config->logLevel : "refused");
          return ReloadOutcome{.file = std::to_string(applied_.size())};
        });
  }
  void ask() {
    reloader_->reload([this](const ReloadOutcome& outcome) { told_.push_back(outcome.file); });
  }
  void runUntilTold(std::size_t count) {
    while (told_.size() < count) ASSERT_EQ(loop_.run_one_for(std::chrono::seconds(30)), 1U);
  }

  using Texts = std::vector<std::string>;
  const std::string file_ =
      testing::TempDir() + "/pimbsr-reload-" + std::to_string(::getpid()) + ".yaml";
  Options options_;
  asio::io_context loop_{1};
  const asio::executor_work_guard<asio::io_context::executor_type> work_{loop_.get_executor()};
  Texts applied_;  // the log levels of the configurations
  Texts told_;     // after which reading
  std::optional<Reloader> reloader_;
};

TEST_F(ReloaderTest, ReadsBesideTheLoopAndAgainForThoseWhoAskMeanwhile) {
  write("debug");
  start();
  ask();
  EXPECT_EQ(told_, Texts{});
  ask();
  ask();
  write("error");  // whether the first reading sees it, and how much of it, is open
  runUntilTold(3);
  EXPECT_EQ(told_, (Texts{"1", "2", "2"}));
  ASSERT_EQ(applied_.size(), 2U);
  EXPECT_EQ(applied_.back(), "error");

  std::filesystem::remove(file_);
  ask();
  runUntilTold(4);
  EXPECT_EQ(applied_.back(), "refused");
}

TEST_F(ReloaderTest, MayGoDuringAReading) {
  write("debug");
  start();
  ask();
  ask();
  reloader_.reset();
  EXPECT_EQ(told_.size() + applied_.size(), 0U);
}

}  // namespace
}  // namespace Routing::Agent
