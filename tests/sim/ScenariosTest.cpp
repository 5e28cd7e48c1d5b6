#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "sim/scenario/FailoverMeter.h"
#include "sim/scenario/ScenarioParser.h"
#include "sim/scenario/ScenarioRun.h"
#include "tests/support/TraceRecorder.h"

namespace Routing::Sim {
namespace {

std::vector<std::string> shippedScenarios() {
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(PIMBSR_SCENARIOS)) {
    if (entry.path().extension() == ".yaml") files.push_back(entry.path().string());
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

bool isOfContinuity(const std::filesystem::path& file) {
  return file.parent_path().stem() == "continuity";
}

class Shipped : public testing::TestWithParam<std::string> {};

TEST_P(Shipped, PassesWithAFewSeedsAndFaults) {
  const Scenario scenario = readScenario(GetParam());
  EXPECT_FALSE(scenario.finally.empty());
  const bool few = PIMBSR_ONE_IN > 1;
  const std::uint64_t seeds = few || isOfContinuity(GetParam()) ? 1 : 3;  // those are long
  for (const bool faults : {false, true}) {
    if (few && !faults) continue;
    for (std::uint64_t seed = 1; seed <= seeds; ++seed) {
      ScenarioRun run(scenario, {seed, faults, std::nullopt});
      run.run();
      EXPECT_TRUE(run.passed()) << "seed " << seed << (faults ? " with faults\n" : "\n")
                                << failuresOf(run);
      EXPECT_EQ(run.judged(),
                (faults ? 0 : scenario.expectations.size()) + scenario.finally.size());
      EXPECT_TRUE(!faults || run.invariants().judgedQuiet() > 0U)
          << "the network never came to rest";
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Scenarios, Shipped, testing::ValuesIn(shippedScenarios()),
                         [](const auto& info) {
                           const std::filesystem::path file(info.param);
                           auto name =
                               (isOfContinuity(file) ? "continuity_" : "") + file.stem().string();
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

/// The digest of every packet with its time, and all that the library traces.
std::pair<std::uint64_t, std::string> outcome(std::uint64_t seed) {
  const Scenario scenario = readScenario(std::string(PIMBSR_SCENARIOS) + "/cold-start-twenty.yaml");
  ScenarioRun run(scenario, {seed, true, std::nullopt});
  const TestKit::TraceRecorder traces("");
  run.run();
  EXPECT_GT(traces.lines().size(), 10'000U);
  return {run.digest(), traces.text()};
}

TEST(Determinism, TheSameSeedGivesTheSamePacketsAndTracesAndAnotherSeedDoesNot) {
  const auto first = outcome(7);
  EXPECT_NE(outcome(8).first, first.first);
  // What another run leaves behind in the process does not matter.
  const auto again = outcome(7);
  EXPECT_EQ(first.first, again.first);
  EXPECT_TRUE(first.second == again.second);
}

/// A choice of the policy, and what groups lack in a scenario where it is not made.
struct Missed {
  bool Pim::Bsr::BsrPolicy::*choice;
  const char* scenario;
  Lack lack;
  double seconds;  // at the least, in some seed of three
};

// With all of them no scenario breaks a promise (Shipped).
TEST(Continuity, EachChoiceOfThePolicyIsMissed) {
  using Pim::Bsr::BsrPolicy;
  const Missed cases[] = {{&BsrPolicy::expiry, "silent-death", Lack::agreement, 60},
                          {&BsrPolicy::earlyView, "take-over", Lack::start, 9},
                          {&BsrPolicy::handOver, "drain", Lack::rp, 9},
                          {&BsrPolicy::announcedView, "drain", Lack::agreement, 9},
                          {&BsrPolicy::lapsingOffice, "take-over", Lack::rp, 5}};
  for (const Missed& missed : cases) {
    Scenario scenario =
        readScenario(std::string(PIMBSR_SCENARIOS) + "/continuity/" + missed.scenario + ".yaml");
    scenario.policy.*missed.choice = false;
    double longest = 0.0;
    for (std::uint64_t seed = 1; seed <= 3; ++seed) {
      ScenarioRun run(scenario, {seed, false, std::nullopt});
      run.run();
      for (const auto& meter : run.invariants().continuity()) {
        for (RouterId id = 0; id < scenario.topology.routers().size(); ++id) {
          longest = std::max(longest, meter->longest(missed.lack, id).value_or(0.0));
        }
      }
    }
    EXPECT_GE(longest, missed.seconds) << missed.scenario << ": " << nameOf(missed.lack);
  }
}

TEST(FailoverMeter, CountsDeathsAndNoHandBack) {
  const Scenario scenario = parseScenario(R"(
name: n
text: t
topology: {line: 4}
configuration:
  - {router: r1, bsr-candidate: {priority: 200}}
  - {router: r4, bsr-candidate: {priority: 100}}
run: 900
script: [{at: 200, crash: r1}, {at: 500, start: r1}]
)",
                                          "here");
  ScenarioRun run(scenario, {1, false, std::nullopt});
  const FailoverMeter meter(run.world(), run.beliefs(),
                            IpGenPrefix::multicast(AddressFamily::ipv4));
  run.run();
  EXPECT_TRUE(run.passed()) << failuresOf(run);
  EXPECT_FALSE(meter.pending());
  ASSERT_EQ(meter.durations().size(), 1U);
  EXPECT_GT(meter.durations()[0], 70.0);
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
