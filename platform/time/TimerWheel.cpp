#include "platform/time/TimerWheel.h"

#include <algorithm>

#include "platform/entity/Assertion.h"
#include "platform/entity/FirstError.h"

namespace Routing {
namespace {

constexpr std::size_t arity = 4;
constexpr double ticksInSecond = 1024.0;  // a power of two: instants keep their order
constexpr std::uint64_t lastTick = (std::uint64_t{1} << 48) - 1;

// Instants before the clock's origin, or thousands of years ahead, share a tick.
std::uint64_t tickOf(double instant) {
  const double ticks = instant * ticksInSecond;
  if (!(ticks < static_cast<double>(lastTick))) return lastTick;
  return ticks < 0.0 ? 0 : static_cast<std::uint64_t>(ticks);
}

void close(TimerLink& head) {
  head.next = head.previous = &head;
}

void append(TimerLink& head, TimerLink& link) {
  link.previous = head.previous;
  link.next = &head;
  head.previous->next = &link;
  head.previous = &link;
}

void unlink(TimerLink& link) {
  link.next->previous = link.previous;
  link.previous->next = link.next;
  link.next = nullptr;
}

}  // namespace

/// The timers of a turn that have not fired yet: the wheel holds them no longer.
struct TimerWheel::Due {
  Due() { close(head); }
  Due(const Due&) = delete;
  Due& operator=(const Due&) = delete;
  ~Due() {
    while (!empty()) takeFirst();
  }
  bool empty() const { return head.next == &head; }
  void append(BareTimer& timer) { Routing::append(head, timer); }
  BareTimer& takeFirst() {
    BareTimer& timer = static_cast<BareTimer&>(*head.next);
    unlink(timer);
    timer.expiry_ = never;
    return timer;
  }

  TimerLink head;
};

TimerWheel::TimerWheel(const Clock& clock) : clock_(clock) {
  std::for_each(heads_.begin(), heads_.end(), close);
}

TimerWheel::~TimerWheel() {
  ROUTING_ASSERT(armed_ == 0);
}

std::size_t TimerWheel::fireDue() {
  const double now = clock_.now();
  Due due;
  while (settle() && heap_.front().expiry <= now) {
    BareTimer& timer = *heap_.front().timer;
    takeOut(timer);
    due.append(timer);
  }
  FirstError error;
  std::size_t fired = 0;
  for (; !due.empty(); ++fired) {
    BareTimer& timer = due.takeFirst();
    error.run([&] { timer.wake_(timer); });
  }
  error.rethrow();
  return fired;
}

void TimerWheel::move(BareTimer& timer, double instant) {
  takeOut(timer);
  timer.expiry_ = instant;
  if (instant == never) return;
  timer.serial_ = ++lastSerial_;
  put(timer);
  ++armed_;
}

// From wherever it is: the wheel, a turn that has not fired it yet, or nowhere.
void TimerWheel::takeOut(BareTimer& timer) {
  const bool held = timer.bound_ != never;
  timer.bound_ = never;
  if (timer.next == nullptr) {
    if (held) takeFromHeap(timer.index);
  } else {
    const TimerLink* const next = timer.next;
    unlink(timer);
    if (held && next->next == next) forgetSlot(*next);
  }
  if (held) --armed_;
}

void TimerWheel::put(BareTimer& timer) const {
  timer.bound_ = timer.expiry_;
  const std::uint64_t tick = tickOf(timer.expiry_);
  if (tick <= cursor_) {
    heap_.emplace_back();
    return siftUp(heap_.size() - 1, {timer.expiry_, timer.serial_, &timer});
  }
  const auto level = static_cast<unsigned>(std::bit_width(tick ^ cursor_) - 1) / digitBits;
  const auto slot = static_cast<unsigned>(tick >> digitBits * level) % slots;
  append(heads_[level * slots + slot], timer);
  slotsInUse_[level] |= std::uint64_t{1} << slot;
  levelsInUse_ |= 1U << level;
}

void TimerWheel::forgetSlot(const TimerLink& head) const {
  const auto number = static_cast<unsigned>(&head - heads_.data());
  const unsigned level = number / slots;
  slotsInUse_[level] &= ~(std::uint64_t{1} << number % slots);
  if (slotsInUse_[level] == 0) levelsInUse_ &= ~(1U << level);
}

// Makes the heap's first place exact; false if no timer is armed.
bool TimerWheel::settle() const {
  for (;;) {
    while (!heap_.empty()) {
      BareTimer& timer = *heap_.front().timer;
      if (heap_.front().serial == timer.serial_) return true;
      takeFromHeap(0);
      put(timer);
    }
    if (levelsInUse_ == 0) return false;
    advance();
  }
}

// The next slot's timers move down.
void TimerWheel::advance() const {
  const auto level = static_cast<unsigned>(std::countr_zero(levelsInUse_));
  const auto slot = static_cast<unsigned>(std::countr_zero(slotsInUse_[level]));
  const std::uint64_t above = cursor_ >> digitBits * (level + 1);
  cursor_ = (above << digitBits | slot) << digitBits * level;
  TimerLink& head = heads_[level * slots + slot];
  TimerLink* at = head.next;
  close(head);
  forgetSlot(head);
  while (at != &head) {
    BareTimer& timer = static_cast<BareTimer&>(*at);
    at = std::exchange(timer.next, nullptr);
    put(timer);
  }
}

void TimerWheel::takeFromHeap(std::size_t index) const {
  const Slot last = heap_.back();
  heap_.pop_back();
  if (index == heap_.size()) return;
  if (index > 0 && last.before(heap_[(index - 1) / arity])) {
    siftUp(index, last);
  } else {
    siftDown(index, last);
  }
}

void TimerWheel::fillHeap(std::size_t index, const Slot& slot) const {
  heap_[index] = slot;
  slot.timer->index = index;
}

void TimerWheel::siftUp(std::size_t index, const Slot& slot) const {
  while (index > 0) {
    const std::size_t parent = (index - 1) / arity;
    if (!slot.before(heap_[parent])) break;
    fillHeap(index, heap_[parent]);
    index = parent;
  }
  fillHeap(index, slot);
}

void TimerWheel::siftDown(std::size_t index, const Slot& slot) const {
  for (;;) {
    const std::size_t first = index * arity + 1;
    if (first >= heap_.size()) break;
    std::size_t least = first;
    for (std::size_t i = first + 1; i < std::min(first + arity, heap_.size()); ++i) {
      if (heap_[i].before(heap_[least])) least = i;
    }
    if (!heap_[least].before(slot)) break;
    fillHeap(index, heap_[least]);
    index = least;
  }
  fillHeap(index, slot);
}

}  // namespace Routing
