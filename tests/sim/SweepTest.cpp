#include <gtest/gtest.h>
#include <unistd.h>

#include "sim/sweep/Sweep.h"

namespace Routing::Sim {
namespace {

TEST(Sweep, ARunThatDiesIsKnownByItsSeedAndTheOthersAreRun) {
  testing::internal::CaptureStdout();
  const auto results = eachSeed({5, 14}, 3, [](std::uint64_t seed, std::ostream& out) -> RunResult {
    if (seed == 8) ::_exit(3);
    out << seed << ".";
    return {seed, seed != 6, false, seed * 100, 1, 0, std::vector<double>(seed * 1000, 0.5)};
  });
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "5.6.7.9.10.11.12.13.14.");
  ASSERT_EQ(results.size(), 10U);
  for (const RunResult& result : results) {
    const auto seed = static_cast<std::uint64_t>(5 + (&result - results.data()));
    EXPECT_EQ(result.seed, seed);
    EXPECT_EQ(result.died, seed == 8);
    EXPECT_EQ(result.passed, seed != 6 && seed != 8);
    EXPECT_EQ(result.digest, seed == 8 ? 0 : seed * 100);
    EXPECT_EQ(result.figures, std::vector<double>(seed == 8 ? 0 : seed * 1000, 0.5));
  }
}

}  // namespace
}  // namespace Routing::Sim
