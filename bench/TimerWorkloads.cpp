#include <memory>

#include "bench/Baselines.h"
#include "bench/Workloads.h"
#include "platform/time/TimerWheel.h"

namespace Routing::Bench {
namespace {

constexpr std::uint64_t longest = 150000;  // milliseconds

/// So many armed timers, beside as many in a plain wheel. The clock stands still.
struct Armed {
  explicit Armed(std::uint32_t count) : plain(count) {
    for (std::uint32_t i = 0; i < count; ++i) {
      timers.push_back(std::make_unique<Timer>(wheel, [] {}));
      timers.back()->expiryInIs(delay());
      plain.arm(i, 1 + numbers.below(longest));
    }
  }
  double delay() { return 0.001 * static_cast<double>(1 + numbers.below(longest)); }

  VirtualClock clock;
  TimerWheel wheel{clock};
  std::vector<std::unique_ptr<Timer>> timers;
  PlainWheel plain;
  Numbers numbers;
  double later = 0.0;
  std::uint64_t tick = 0;
};

Workload atRandom(const std::shared_ptr<Armed>& armed, const std::string& size) {
  const auto arm = [armed](std::uint64_t turns) {
    while (turns-- > 0) {
      armed->timers[armed->numbers.below(armed->timers.size())]->expiryInIs(armed->delay());
    }
  };
  const auto plainly = [armed](std::uint64_t turns) {
    while (turns-- > 0) {
      const auto timer = static_cast<std::uint32_t>(armed->numbers.below(armed->timers.size()));
      armed->plain.arm(timer, 1 + armed->numbers.below(longest));
    }
  };
  return {"arm a timer anew at random", size, arm, "the same in a bare 4 x 256 wheel", plainly};
}

// What a refresh does.
Workload inOrder(const std::shared_ptr<Armed>& armed, const std::string& size) {
  const auto extend = [armed](std::uint64_t turns) {
    for (std::uint64_t i = 0; i < turns; ++i) {
      armed->later += 1e-6;
      armed->timers[i % armed->timers.size()]->expiryIs(armed->later + 150.0);
    }
  };
  const auto plainly = [armed](std::uint64_t turns) {
    for (std::uint64_t i = 0; i < turns; ++i) {
      armed->plain.arm(static_cast<std::uint32_t>(i % armed->timers.size()),
                       longest + (++armed->tick & 0x3ff));
    }
  };
  return {"extend the timers in order", size, extend, "the same in a bare 4 x 256 wheel", plainly};
}

}  // namespace

std::vector<Workload> timerWorkloads(Sizes sizes) {
  std::vector<Workload> made;
  for (const std::uint32_t count : chosen<std::uint32_t>(sizes, {1000, 10000, 100000})) {
    const std::string size = std::to_string(count) + " armed";
    made.push_back(atRandom(std::make_shared<Armed>(count), size));
    made.push_back(inOrder(std::make_shared<Armed>(count), size));
  }
  return made;
}

}  // namespace Routing::Bench
