#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "platform/time/Clock.h"
#include "platform/time/TimerWheel.h"

namespace asio {
class io_context;
}

namespace Routing::Agent {

/// CLOCK_MONOTONIC in seconds. It is read once in each turn of the event loop, so that everything
/// that happens in one turn happens at the same instant.
class MonotonicClock final : public Clock {
 public:
  double now() const override;
  /// Makes the next reading a fresh one.
  void release() { reading_.reset(); }

 private:
  mutable std::optional<double> reading_;
};

/// Something that the event loop watches; stops when it goes, also from inside its own callback.
class Watch {
 public:
  struct State;
  Watch();
  explicit Watch(std::shared_ptr<State> state);
  Watch(Watch&&) noexcept;
  Watch& operator=(Watch&&) noexcept;
  ~Watch();

 private:
  std::shared_ptr<State> state_;
};

/// The main thread of the daemon: file descriptors, signals and the timer wheel. A turn handles one
/// event and then fires the timers that are due, so that no flood of events holds timers up.
/// What a handler throws is logged, and the loop goes on.
class EventLoop {
 public:
  EventLoop();
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;
  ~EventLoop();

  MonotonicClock& clock() { return clock_; }
  TimerWheel& timerWheel() { return timerWheel_; }
  /// For those that bring their own Asio objects; their handlers are events like all others.
  asio::io_context& io();

  /// Runs `ready` again and again while there is something to read. The descriptor stays the
  /// caller's and must outlive the watch. Who reads takes a bounded portion each time.
  [[nodiscard]] Watch whenReadable(int fd, std::function<void()> ready);
  /// Runs `handler` whenever the signal arrives.
  void onSignal(int signal, std::function<void()> handler);

  /// Runs `handler` at the end of every turn, the last one included. One at most.
  void onTurnEnd(std::function<void()> handler) { turnEnd_ = std::move(handler); }

  /// Turns until stop() is called.
  void run();
  void stop() { stopped_ = true; }

 private:
  struct Asio;

  void turn();
  void armTimer();

  MonotonicClock clock_;
  TimerWheel timerWheel_;
  std::unique_ptr<Asio> asio_;
  std::function<void()> turnEnd_ = [] {};
  double armedFor_ = never;
  bool stopped_ = false;
};

}  // namespace Routing::Agent
