#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "platform/time/TimerWheel.h"
#include "tests/support/VirtualTime.h"

namespace Routing {
namespace {

struct World {
  VirtualClock clock;
  TimerWheel wheel{clock};
  std::string log;
};

TEST(Timer, ArmedInsideATurnFiresInALaterOne) {
  World w;
  Timer again(w.wheel, [&] {
    w.log += 'x';
    if (w.log.size() < 3) again.expiryIs(0.0);  // already past
  });
  again.expiryIs(0.0);
  EXPECT_TRUE(w.log.empty()) << "never from inside the arming call";
  EXPECT_EQ(w.wheel.fireDue(), 1U);
  EXPECT_EQ(w.log, "x");
  TestKit::runUntil(w.clock, w.wheel, 0.0);
  EXPECT_EQ(w.log, "xxx");
}

TEST(Timer, CallbacksMayCancelMoveAndDestroyWhatIsDueWithThem) {
  World w;
  std::unique_ptr<Timer> self;
  auto doomed = std::make_unique<Timer>(w.wheel, [&] { w.log += 'd'; });
  Timer cancelled(w.wheel, [&] { w.log += 'c'; });
  Timer moved(w.wheel, [&] { w.log += 'm'; });
  self = std::make_unique<Timer>(w.wheel, [&] {
    w.log += 's';
    doomed.reset();
    EXPECT_EQ(cancelled.expiry(), 1.0) << "due, not fired yet";
    cancelled.expiryIs(never);
    moved.expiryIs(2.0);
    self.reset();
  });
  for (Timer* timer : {self.get(), doomed.get(), &cancelled, &moved}) timer->expiryIs(1.0);
  TestKit::runUntil(w.clock, w.wheel, 1.5);
  EXPECT_EQ(w.log, "s");
  TestKit::runUntil(w.clock, w.wheel, 2.0);
  EXPECT_EQ(w.log, "sm");
}

TEST(Timer, AThrowingCallbackDoesNotStopTheTurn) {
  World w;
  Timer bad(w.wheel, [] { throw std::runtime_error("bad"); });
  Timer good(w.wheel, [&] { w.log += 'g'; });
  bad.expiryIs(0.0);
  good.expiryIs(0.0);
  EXPECT_THROW(w.wheel.fireDue(), std::runtime_error);
  EXPECT_EQ(w.log, "g");
  EXPECT_EQ(w.wheel.armed(), 0U);
}

TEST(TimerWheel, AgreesWithASortedList) {
  EXPECT_TRUE(rc::check([] {
    World w;
    // From many instants in a tick of the wheel to thousands of years.
    const double scale = *rc::gen::elementOf(std::vector<double>{1e-5, 1e-3, 1.0, 1e4, 1e10});
    struct Pending {
      double expiry;
      int serial;
      std::size_t timer;
    };
    std::vector<Pending> oracle;
    std::vector<std::size_t> fired;
    std::vector<std::unique_ptr<Timer>> timers;
    for (std::size_t i = 0; i < 30; ++i) {
      timers.push_back(std::make_unique<Timer>(w.wheel, [&fired, i] { fired.push_back(i); }));
    }
    for (int step = 0; step < 200; ++step) {
      const auto i = *rc::gen::inRange<std::size_t>(0, timers.size());
      std::erase_if(oracle, [i](const Pending& p) { return p.timer == i; });
      if (*rc::gen::inRange(0, 4) == 0) {
        timers[i]->expiryIs(never);
      } else {
        const double expiry = w.clock.now() + scale * *rc::gen::inRange(-3, 20);
        timers[i]->expiryIs(expiry);
        oracle.push_back({expiry, step, i});
      }
      if (*rc::gen::inRange(0, 8) != 0) continue;
      w.clock.nowIs(w.clock.now() + scale * *rc::gen::inRange(0, 10));
      std::sort(oracle.begin(), oracle.end(), [](const Pending& a, const Pending& b) {
        return std::tie(a.expiry, a.serial) < std::tie(b.expiry, b.serial);
      });
      std::vector<std::size_t> expected;
      while (!oracle.empty() && oracle.front().expiry <= w.clock.now()) {
        expected.push_back(oracle.front().timer);
        oracle.erase(oracle.begin());
      }
      fired.clear();
      w.wheel.fireDue();
      RC_ASSERT(fired == expected);
      RC_ASSERT(w.wheel.armed() == oracle.size());
      RC_ASSERT(w.wheel.nextExpiry() == (oracle.empty() ? never : oracle.front().expiry));
    }
  }));
}

}  // namespace
}  // namespace Routing
