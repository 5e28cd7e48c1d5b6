// Arming, cancelling and firing one timer among 1 000 to 1 000 000 pending ones.

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "platform/time/TimerWheel.h"

namespace Routing {
namespace {

class Pending {
 public:
  explicit Pending(std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      timers_.push_back(std::make_unique<Timer>(wheel, [] {}));
      timers_.back()->expiryIs(instant());
    }
  }
  // Spread over 1000 seconds, in no order.
  double instant() {
    state_ = state_ * 6364136223846793005U + 1442695040888963407U;
    return clock.now() + 1.0 + static_cast<double>(state_ >> 34) * 1e-6;
  }
  Timer& any() {
    state_ = state_ * 6364136223846793005U + 1442695040888963407U;
    return *timers_[(state_ >> 33) % timers_.size()];
  }

  VirtualClock clock;
  TimerWheel wheel{clock};

 private:
  std::uint64_t state_ = 1;
  std::vector<std::unique_ptr<Timer>> timers_;
};

void arm(benchmark::State& state) {
  Pending pending(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) pending.any().expiryIs(pending.instant());
}
BENCHMARK(arm)->RangeMultiplier(10)->Range(1'000, 1'000'000);

void cancelAndArm(benchmark::State& state) {
  Pending pending(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    Timer& timer = pending.any();
    timer.expiryIs(never);
    timer.expiryIs(pending.instant());
  }
}
BENCHMARK(cancelAndArm)->RangeMultiplier(10)->Range(1'000, 1'000'000);

void expireAndArm(benchmark::State& state) {
  Pending pending(static_cast<std::size_t>(state.range(0)));
  std::unique_ptr<Timer> timer;
  timer = std::make_unique<Timer>(pending.wheel, [] {});
  for (auto _ : state) {
    timer->expiryIs(pending.clock.now());
    pending.wheel.fireDue();
  }
}
BENCHMARK(expireAndArm)->RangeMultiplier(10)->Range(1'000, 1'000'000);

}  // namespace
}  // namespace Routing

BENCHMARK_MAIN();
