#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "platform/Export.h"
#include "platform/time/Clock.h"
#include "platform/time/TimerCallback.h"

namespace Routing {

class TimerWheel;

/// A place in a ring of timers, or its head; or, without a next one, in the wheel's heap.
struct TimerLink {
  TimerLink* next = nullptr;
  union {
    TimerLink* previous = nullptr;
    std::size_t index;
  };
};

/// A timer as the base of what it wakes, which knows the wheel: for what there are many of. Its
/// owner makes it idle before it dies.
class ROUTING_API BareTimer : private TimerLink {
 public:
  BareTimer(const BareTimer&) = delete;
  BareTimer& operator=(const BareTimer&) = delete;

  double expiry() const { return expiry_; }
  bool armed() const { return expiry() != never; }

 protected:
  /// Is given the timer itself.
  using Wake = void (*)(BareTimer&);

  explicit BareTimer(Wake wake) : wake_(wake) {}
  ~BareTimer() = default;
  void expiryIs(TimerWheel& wheel, double instant);

 private:
  friend class TimerWheel;

  double expiry_ = never;
  double bound_ = never;      // of what its place stands for; `never` if the wheel does not hold it
  std::uint64_t serial_ = 0;  // of the last arming
  const Wake wake_;
};

/// A one-shot timer with an absolute expiry. Idle (expiry() is `never`) when new, after firing and
/// after expiryIs(never). Its destructor cancels it. The callback may arm, cancel or destroy any
/// timer, its own included, and whatever owns it.
class ROUTING_API Timer : private BareTimer {
 public:
  /// The callback takes no argument; it lives as long as the timer, or until it returns.
  template <class Callback>
  Timer(TimerWheel& wheel, Callback&& callback)
      : BareTimer([](BareTimer& timer) { static_cast<Timer&>(timer).callback_(); }),
        wheel_(wheel),
        callback_(std::forward<Callback>(callback)) {}
  ~Timer() { BareTimer::expiryIs(wheel_, never); }

  using BareTimer::armed;
  using BareTimer::expiry;
  /// Arms the timer anew at an instant of the wheel's clock; `never` makes it idle. An instant that
  /// has passed fires in the wheel's next turn, never from inside this call.
  void expiryIs(double instant) { BareTimer::expiryIs(wheel_, instant); }
  /// expiryIs(now + delay), delay in seconds.
  void expiryInIs(double delay);

 private:
  TimerWheel& wheel_;
  const TimerCallback callback_;
};

/// The timers of one event loop, fired when the loop says that time has passed. Equal expiries fire
/// in the order in which they were armed. Arming, extending and cancelling take the same time
/// however many timers are armed.
///
///            cursor, in ticks of 1/1024 s: digits of 6 bits, 0 | 0 | 2 | 61
///
///   level 0   heap      [62]            [63]      slots are rings of timers that differ from the
///             c 1.0 s   a               b         cursor in this digit, but not in a higher one;
///   level 1   [3]       [4] ...  [63]             64 bits a level tell which have any
///             d, e             f
///   level 2   [1] ...
///
/// The first slot of the lowest level that has any comes next. The cursor moves to its first tick
/// and its timers down: to lower levels, or, at the cursor, into a heap in which instant and order
/// of arming say exactly who is first. What is armed before the cursor goes there too.
///
/// A timer that is extended keeps its place, in a ring or in the heap, until that place comes up.
class ROUTING_API TimerWheel {
 public:
  /// The clock must outlive the wheel, and the wheel its timers.
  explicit TimerWheel(const Clock& clock);
  TimerWheel(const TimerWheel&) = delete;
  TimerWheel& operator=(const TimerWheel&) = delete;
  ~TimerWheel();

  double now() const { return clock_.now(); }
  /// Earliest expiry of all timers; `never` if none is armed.
  double nextExpiry() const { return settle() ? heap_.front().expiry : never; }
  std::size_t armed() const { return armed_; }
  /// One turn: fires what was due when the turn began. A timer armed during the turn fires in a
  /// later one, even if it is due already. If callbacks throw, the turn is finished and the first
  /// error rethrown. Returns the number of timers fired.
  std::size_t fireDue();

 private:
  friend class BareTimer;
  struct Due;
  struct Slot {
    double expiry;
    std::uint64_t serial;
    BareTimer* timer;
    bool before(const Slot& other) const {
      return expiry < other.expiry || (expiry == other.expiry && serial < other.serial);
    }
  };

  static constexpr unsigned digitBits = 6;
  static constexpr unsigned levels = 8;
  static constexpr unsigned slots = 1U << digitBits;

  bool settle() const;
  void advance() const;
  void move(BareTimer& timer, double instant);
  void put(BareTimer& timer) const;
  void takeOut(BareTimer& timer);
  void forgetSlot(const TimerLink& head) const;
  void fillHeap(std::size_t index, const Slot& slot) const;
  void siftUp(std::size_t index, const Slot& slot) const;
  void siftDown(std::size_t index, const Slot& slot) const;
  void takeFromHeap(std::size_t index) const;

  const Clock& clock_;
  std::uint64_t lastSerial_ = 0;
  std::size_t armed_ = 0;
  // To look settles: what comes next moves to where it can be told exactly.
  mutable std::uint64_t cursor_ = 0;
  mutable std::vector<Slot> heap_;  // four children a node: shallow, and they share a line
  mutable std::uint32_t levelsInUse_ = 0;
  mutable std::array<std::uint64_t, levels> slotsInUse_{};
  mutable std::array<TimerLink, levels * slots> heads_;
};

inline void BareTimer::expiryIs(TimerWheel& wheel, double instant) {
  if (instant >= bound_ && instant != never) {
    expiry_ = instant;
    serial_ = ++wheel.lastSerial_;
  } else {
    wheel.move(*this, instant);
  }
}

inline void Timer::expiryInIs(double delay) {
  expiryIs(wheel_.now() + delay);
}

}  // namespace Routing
