#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "platform/Export.h"
#include "platform/time/Clock.h"

namespace Routing {

class TimerWheel;

/// A one-shot timer with an absolute expiry. Idle (expiry() is `never`) when new, after firing and
/// after expiryIs(never). Its destructor cancels it. The callback may arm, cancel or destroy any
/// timer, its own included, and whatever owns it.
class ROUTING_API Timer {
 public:
  Timer(TimerWheel& wheel, std::function<void()> callback);
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;
  ~Timer();

  double expiry() const;
  bool armed() const { return expiry() != never; }
  /// Arms the timer anew at an instant of the wheel's clock; `never` makes it idle. An instant that
  /// has passed fires in the wheel's next turn, never from inside this call.
  void expiryIs(double instant);
  /// expiryIs(now + delay), delay in seconds.
  void expiryInIs(double delay);

 private:
  friend class TimerWheel;
  struct Entry;

  TimerWheel& wheel_;
  Entry* entry_;
};

/// The timers of one event loop, fired when the loop says that time has passed. Equal expiries fire
/// in the order in which they were armed. Arming and cancelling are O(log n) in the armed timers,
/// to extend an armed one is O(1).
///
///             3.0 a              a heap of instants, four children a node. A timer that is
///             extended
///      /    /     \    \         keeps its place: the instant there is a lower bound of its
///      expiry.
///    5.0b 4.0c  7.0d  3.5e       Only what comes to the top is put where it belongs, so that the
///    ^                           first instant is exact whenever somebody asks for it.
///    b expires at 155.0
class ROUTING_API TimerWheel {
 public:
  /// The clock must outlive the wheel, and the wheel its timers.
  explicit TimerWheel(const Clock& clock) : clock_(clock) {}
  TimerWheel(const TimerWheel&) = delete;
  TimerWheel& operator=(const TimerWheel&) = delete;
  ~TimerWheel();

  double now() const { return clock_.now(); }
  /// Earliest expiry of all timers; `never` if none is armed.
  double nextExpiry() const { return settle() ? heap_.front().expiry : never; }
  std::size_t armed() const { return heap_.size(); }
  /// One turn: fires what was due when the turn began. A timer armed during the turn fires in a
  /// later one, even if it is due already. If callbacks throw, the turn is finished and the first
  /// error rethrown. Returns the number of timers fired.
  std::size_t fireDue();

 private:
  friend class Timer;
  struct Slot {
    double expiry;
    std::uint64_t serial;
    Timer::Entry* entry;
    bool before(const Slot& other) const {
      return expiry < other.expiry || (expiry == other.expiry && serial < other.serial);
    }
  };

  /// Makes the first place exact; false if no timer is armed.
  bool settle() const {
    while (!heap_.empty() && stale(heap_.front())) settleFirst();
    return !heap_.empty();
  }
  static bool stale(const Slot& slot);
  void settleFirst() const;
  void arm(Timer::Entry& entry, double instant);
  void disarm(Timer::Entry& entry);
  void takeOut(std::size_t index);
  static void release(Timer::Entry* entry);
  void place(std::size_t index, const Slot& slot) const;
  void siftUp(std::size_t index, const Slot& slot) const;
  void siftDown(std::size_t index, const Slot& slot) const;

  const Clock& clock_;
  // Four children a node: shallow, and a node's children share a line. To look settles it.
  mutable std::vector<Slot> heap_;
  std::uint64_t lastSerial_ = 0;
};

}  // namespace Routing
