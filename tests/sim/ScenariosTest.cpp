#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "platform/trace/Trace.h"
#include "sim/scenario/ScenarioParser.h"
#include "sim/scenario/ScenarioRun.h"

namespace Routing::Sim {
namespace {

std::vector<std::string> shippedScenarios() {
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(PIMBSR_SCENARIOS)) {
    files.push_back(entry.path().string());
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::string failuresOf(const ScenarioRun& run) {
  std::string text;
  for (const auto& f : run.disappointments()) {
    text += "at " + std::to_string(f.at) + " expected " + f.expected + ", but " + f.found + "\n";
  }
  for (const auto& v : run.invariants().violations()) {
    text += "at " + std::to_string(v.at) + " " + v.invariant + ": " + v.what + "\n";
  }
  return text;
}

class Shipped : public testing::TestWithParam<std::string> {};

TEST_P(Shipped, PassesWithAFewSeeds) {
  const Scenario scenario = readScenario(GetParam());
  EXPECT_FALSE(scenario.finally.empty());
  for (std::uint64_t seed = 1; seed <= 3; ++seed) {
    ScenarioRun run(scenario, {seed, false, std::nullopt});
    run.run();
    EXPECT_TRUE(run.passed()) << "seed " << seed << "\n" << failuresOf(run);
    EXPECT_EQ(run.judged(), scenario.expectations.size() + scenario.finally.size());
  }
}

TEST_P(Shipped, PassesWithFaults) {
  const Scenario scenario = readScenario(GetParam());
  for (std::uint64_t seed = 1; seed <= 3; ++seed) {
    ScenarioRun run(scenario, {seed, true, std::nullopt});
    run.run();
    EXPECT_TRUE(run.passed()) << "seed " << seed << " with faults\n" << failuresOf(run);
    EXPECT_GT(run.invariants().judgedQuiet(), 0U) << "the network never came to rest";
  }
}

INSTANTIATE_TEST_SUITE_P(Scenarios, Shipped, testing::ValuesIn(shippedScenarios()),
                         [](const auto& info) {
                           auto name = std::filesystem::path(info.param).stem().string();
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

/// Every packet of a run, as octets with their times.
class PacketLog final : public WorldObserver {
 public:
  explicit PacketLog(World& world) { world.observerIs(*this); }
  void transmitted(const Packet& packet) override {
    packets_.emplace_back(packet.sentAt, packet.network, *packet.payload);
  }
  using Entry = std::tuple<double, NetworkId, std::vector<std::uint8_t>>;
  const std::vector<Entry>& packets() const { return packets_; }

 private:
  std::vector<Entry> packets_;
};

/// All that the library traces.
class TraceLog final : public TraceSink {
 public:
  TraceLog() {
    traceThresholdIs("", TraceHandle::maxLevel);
    traceSinkIs(*this);
  }
  TraceLog(const TraceLog&) = delete;
  TraceLog& operator=(const TraceLog&) = delete;
  ~TraceLog() override {
    traceSinkDel(*this);
    traceThresholdIs("", TraceHandle::off);
  }
  void trace(std::string_view facility, int level, std::string_view text) override {
    lines_.push_back(std::string(facility) + std::to_string(level) + std::string(text));
  }
  const std::vector<std::string>& lines() const { return lines_; }

 private:
  std::vector<std::string> lines_;
};

struct Outcome {
  std::vector<PacketLog::Entry> packets;
  std::vector<std::string> traces;
  std::uint64_t digest;
};

Outcome outcome(std::uint64_t seed) {
  const Scenario scenario = readScenario(std::string(PIMBSR_SCENARIOS) + "/cold-start-twenty.yaml");
  ScenarioRun run(scenario, {seed, true, std::nullopt});
  const PacketLog log(run.world());
  const TraceLog traces;
  run.run();
  return {log.packets(), traces.lines(), run.digest()};
}

TEST(Determinism, TheSameSeedGivesTheSamePacketsAndTracesToTheOctet) {
  const Outcome first = outcome(7);
  outcome(8);  // what another run leaves behind in the process does not matter
  const Outcome again = outcome(7);
  EXPECT_GT(first.packets.size(), 1000U);
  EXPECT_TRUE(first.packets == again.packets);
  EXPECT_GT(first.traces.size(), 10'000U);
  EXPECT_TRUE(first.traces == again.traces);
  EXPECT_EQ(first.digest, again.digest);
}

TEST(Determinism, AnotherSeedGivesAnotherRun) {
  EXPECT_NE(outcome(7).digest, outcome(8).digest);
}

TEST(ScenarioRun, ADisappointedExpectationFailsTheRun) {
  Scenario scenario = readScenario(std::string(PIMBSR_SCENARIOS) + "/first-light.yaml");
  scenario.finally = parseScenario(
                         "{name: n, text: t, topology: {line: 3}, run: 900,"
                         " finally: [{bsr: r2}]}",
                         "here")
                         .finally;
  ScenarioRun run(scenario, {1, false, std::nullopt});
  run.run();
  EXPECT_FALSE(run.passed());
  ASSERT_EQ(run.disappointments().size(), 1U);
  EXPECT_EQ(run.disappointments()[0].found, "r1 believes in 10.0.0.1");
}

}  // namespace
}  // namespace Routing::Sim
