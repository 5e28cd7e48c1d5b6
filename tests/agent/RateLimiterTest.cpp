#include <gtest/gtest.h>

#include "agent/RateLimiter.h"

namespace Routing::Agent {
namespace {

unsigned admittedOf(RateLimiter& limiter, std::string_view subject, unsigned lines) {
  unsigned admitted = 0;
  for (unsigned i = 0; i < lines; ++i) {
    if (limiter.admit(subject).admitted) ++admitted;
  }
  return admitted;
}

TEST(RateLimiter, AdmitsABurstThenARateAndCountsTheRest) {
  VirtualClock clock(100);
  RateLimiter limiter(clock, 10, 50);
  EXPECT_EQ(admittedOf(limiter, "a", 1000), 50U);
  clock.nowIs(100.5);
  const auto first = limiter.admit("a");
  EXPECT_TRUE(first.admitted);
  EXPECT_EQ(first.suppressed, 950U);
  EXPECT_EQ(limiter.admit("a").suppressed, 0U);
  EXPECT_EQ(admittedOf(limiter, "a", 1000), 3U);
}

TEST(RateLimiter, SavesNoMoreThanABurst) {
  VirtualClock clock;
  RateLimiter limiter(clock, 10, 50);
  admittedOf(limiter, "a", 60);
  clock.nowIs(1e6);
  EXPECT_EQ(admittedOf(limiter, "a", 1000), 50U);
}

}  // namespace
}  // namespace Routing::Agent
