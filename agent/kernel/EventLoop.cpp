#include "agent/kernel/EventLoop.h"

#include <spdlog/spdlog.h>

#include <algorithm>
#include <asio.hpp>
#include <chrono>
#include <cmath>
#include <exception>
#include <list>
#include <utility>

namespace Routing::Agent {
namespace {

using Seconds = std::chrono::duration<double>;

/// The first instant of the steady clock that is not before `instant`: a timer that wakes early
/// would find nothing due.
std::chrono::steady_clock::time_point steadyInstant(double instant) {
  constexpr double farthest = 9e9;  // of a count of nanoseconds in 64 bits
  const auto nanoseconds = std::ceil(std::clamp(instant, 0.0, farthest) * 1e9);
  return std::chrono::steady_clock::time_point(
      std::chrono::nanoseconds(static_cast<std::int64_t>(nanoseconds)));
}

void logged(const std::function<void()>& event) {
  try {
    event();
  } catch (const std::exception& error) {
    spdlog::error("error in an event handler: {}", error.what());
  } catch (...) {
    spdlog::error("unknown error in an event handler");
  }
}

}  // namespace

double MonotonicClock::now() const {
  if (!reading_) reading_ = Seconds(std::chrono::steady_clock::now().time_since_epoch()).count();
  return *reading_;
}

struct Watch::State : std::enable_shared_from_this<Watch::State> {
  State(asio::io_context& io, int fd, std::function<void()> callback)
      : descriptor(io, fd), ready(std::move(callback)) {}

  void arm() {
    descriptor.async_wait(asio::posix::descriptor_base::wait_read,
                          [self = shared_from_this()](const asio::error_code& error) {
                            if (!error && self->active) self->run();
                          });
  }
  void run() {
    std::exception_ptr error;
    try {
      ready();
    } catch (...) {
      error = std::current_exception();
    }
    if (active) arm();
    if (error) std::rethrow_exception(error);
  }

  asio::posix::stream_descriptor descriptor;
  std::function<void()> ready;
  bool active = true;
};

Watch::Watch() = default;
Watch::Watch(std::shared_ptr<State> state) : state_(std::move(state)) {
  state_->arm();
}
Watch::Watch(Watch&&) noexcept = default;

Watch& Watch::operator=(Watch&& other) noexcept {
  std::swap(state_, other.state_);
  return *this;
}

Watch::~Watch() {
  if (!state_) return;
  state_->active = false;
  state_->descriptor.release();
}

struct EventLoop::Asio {
  asio::io_context io{1};
  asio::steady_timer timer{io};
  std::list<asio::signal_set> signals;
};

EventLoop::EventLoop() : timerWheel_(clock_), asio_(std::make_unique<Asio>()) {}

EventLoop::~EventLoop() = default;

asio::io_context& EventLoop::io() {
  return asio_->io;
}

Watch EventLoop::whenReadable(int fd, std::function<void()> ready) {
  return Watch(std::make_shared<Watch::State>(asio_->io, fd, std::move(ready)));
}

void EventLoop::onSignal(int signal, std::function<void()> handler) {
  asio::signal_set& set = asio_->signals.emplace_back(asio_->io, signal);
  // The set owns what waits on it, so the waiting function keeps itself alive without a cycle.
  struct Waiter {
    asio::signal_set& set;
    std::function<void()> handler;
    void operator()(const asio::error_code& error, int) const {
      if (error) return;
      set.async_wait(*this);
      handler();
    }
  };
  set.async_wait(Waiter{set, std::move(handler)});
}

void EventLoop::run() {
  const auto work = asio::make_work_guard(asio_->io);
  while (!stopped_) turn();
  stopped_ = false;
}

void EventLoop::turn() {
  armTimer();
  clock_.release();
  logged([this] { asio_->io.run_one(); });
  logged([this] { timerWheel_.fireDue(); });
  logged(turnEnd_);
}

void EventLoop::armTimer() {
  const double next = timerWheel_.nextExpiry();
  if (next == armedFor_) return;
  armedFor_ = next;
  if (next == never) {
    asio_->timer.cancel();
    return;
  }
  asio_->timer.expires_at(steadyInstant(next));
  asio_->timer.async_wait([this](const asio::error_code& error) {
    if (!error) armedFor_ = never;  // whether or not something was due, it is to be armed again
  });
}

}  // namespace Routing::Agent
