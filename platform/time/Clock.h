#pragma once

#include <limits>

namespace Routing {

/// An instant that never comes: the expiry of an idle timer.
constexpr double never = std::numeric_limits<double>::infinity();

/// Where the time comes from. Instants are seconds since an origin of the clock's own; they never
/// go back.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual double now() const = 0;
};

/// A clock that stands still until it is set.
class VirtualClock final : public Clock {
 public:
  explicit VirtualClock(double start = 0.0) : now_(start) {}
  double now() const override { return now_; }
  /// An earlier instant than the present one is ignored.
  void nowIs(double instant) {
    if (instant > now_) now_ = instant;
  }

 private:
  double now_;
};

}  // namespace Routing
