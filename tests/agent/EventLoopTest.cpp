#include <gtest/gtest.h>
#include <signal.h>
#include <sys/eventfd.h>

#include <optional>
#include <regex>
#include <stdexcept>
#include <string>
#include <vector>

#include "agent/kernel/EventLoop.h"
#include "config/file/Fd.h"

namespace Routing::Agent {
namespace {

Fd readyForReading() {
  return Fd(eventfd(1, EFD_CLOEXEC | EFD_NONBLOCK));
}

TEST(EventLoop, StandsStillForATurnAndThenMovesOn) {
  EventLoop loop;
  const Fd fd = readyForReading();
  std::vector<double> turns;
  const Watch watch = loop.whenReadable(fd.get(), [&] {
    const double before = loop.clock().now();
    for (int i = 0; i < 1000; ++i) ASSERT_EQ(loop.clock().now(), before);
    turns.push_back(before);
    if (turns.size() == 3) loop.stop();
  });
  loop.run();
  ASSERT_EQ(turns.size(), 3U);
  EXPECT_LT(turns[0], turns[1]);
  EXPECT_LT(turns[1], turns[2]);
}

TEST(EventLoop, DoesNotLetAFloodHoldTimersOrOtherEventsUp) {
  EventLoop loop;
  const Fd flooded = readyForReading();
  const Fd other = readyForReading();
  unsigned floods = 0;
  unsigned others = 0;
  const Watch a = loop.whenReadable(flooded.get(), [&] { ++floods; });
  const Watch b = loop.whenReadable(other.get(), [&] { ++others; });
  double lateness = never;
  const double due = loop.clock().now() + 0.05;
  Timer timer(loop.timerWheel(), [&] {
    lateness = loop.clock().now() - due;
    loop.stop();
  });
  timer.expiryIs(due);
  loop.run();
  EXPECT_LT(lateness, 2);
  EXPECT_GT(floods, 10U);
  EXPECT_NEAR(others, floods, 2 + floods / 10.0);
}

TEST(EventLoop, EndsEveryTurnAndTheLastOneToo) {
  EventLoop loop;
  const Fd fd = readyForReading();
  std::string events;
  Timer timer(loop.timerWheel(), [&] { events += 't'; });
  timer.expiryInIs(0);
  const Watch watch = loop.whenReadable(fd.get(), [&] {
    events += 'r';
    if (events.size() > 6) loop.stop();
  });
  loop.onTurnEnd([&] { events += '.'; });
  loop.run();
  EXPECT_TRUE(std::regex_match(events, std::regex("(r?t?\\.)+"))) << events;
}

TEST(EventLoop, GoesOnAfterAnErrorInAHandler) {
  EventLoop loop;
  const Fd fd = readyForReading();
  int reads = 0;
  const Watch watch = loop.whenReadable(fd.get(), [&] {
    if (++reads < 3) throw std::runtime_error("of a reader");
  });
  Timer end(loop.timerWheel(), [&] { loop.stop(); });
  Timer failing(loop.timerWheel(), [&] {
    end.expiryInIs(0.01);
    throw 42;
  });
  failing.expiryInIs(0);
  loop.run();
  EXPECT_GE(reads, 3);
}

TEST(EventLoop, LetsAWatchEndInItsOwnCallback) {
  EventLoop loop;
  std::optional<Fd> fd = readyForReading();
  int reads = 0;
  Watch watch = loop.whenReadable(fd->get(), [&] {
    ++reads;
    watch = {};
    fd.reset();
  });
  Timer end(loop.timerWheel(), [&] { loop.stop(); });
  end.expiryInIs(0.02);
  loop.run();
  EXPECT_EQ(reads, 1);
}

TEST(EventLoop, HearsSignalsMoreThanOnce) {
  EventLoop loop;
  int heard = 0;
  loop.onSignal(SIGUSR1, [&] {
    if (++heard == 2) return loop.stop();
    raise(SIGUSR1);
  });
  raise(SIGUSR1);
  loop.run();
  EXPECT_EQ(heard, 2);
}

}  // namespace
}  // namespace Routing::Agent
