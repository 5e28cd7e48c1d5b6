#include "platform/time/TimerWheel.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "platform/entity/Assertion.h"

namespace Routing {
namespace {
constexpr std::size_t arity = 4;
constexpr std::size_t notInHeap = ~std::size_t{0};
}  // namespace

struct Timer::Entry {
  std::function<void()> callback;
  double expiry = never;
  std::uint64_t serial = 0;  // of the last arming
  std::size_t position = notInHeap;
  bool due = false;           // taken out by the turn under way and not fired yet
  std::uint32_t holders = 1;  // the timer, and a turn that is about to fire it
};

Timer::Timer(TimerWheel& wheel, std::function<void()> callback) : wheel_(wheel), entry_(new Entry) {
  entry_->callback = std::move(callback);
}

Timer::~Timer() {
  wheel_.disarm(*entry_);
  TimerWheel::release(entry_);
}

double Timer::expiry() const {
  return entry_->expiry;
}

void Timer::expiryIs(double instant) {
  instant == never ? wheel_.disarm(*entry_) : wheel_.arm(*entry_, instant);
}

void Timer::expiryInIs(double delay) {
  expiryIs(wheel_.now() + delay);
}

TimerWheel::~TimerWheel() {
  ROUTING_ASSERT(heap_.empty());
}

std::size_t TimerWheel::fireDue() {
  const double now = clock_.now();
  std::vector<Timer::Entry*> batch;
  while (settle() && heap_.front().expiry <= now) {
    Timer::Entry* entry = heap_.front().entry;
    takeOut(0);
    entry->due = true;
    ++entry->holders;
    batch.push_back(entry);
  }
  std::exception_ptr firstError;
  std::size_t fired = 0;
  for (Timer::Entry* entry : batch) {
    if (std::exchange(entry->due, false)) {
      ++fired;
      entry->expiry = never;
      try {
        entry->callback();
      } catch (...) {
        if (!firstError) firstError = std::current_exception();
      }
    }
    release(entry);
  }
  if (firstError) std::rethrow_exception(firstError);
  return fired;
}

void TimerWheel::arm(Timer::Entry& entry, double instant) {
  entry.due = false;
  entry.expiry = instant;
  entry.serial = ++lastSerial_;
  const Slot slot{instant, entry.serial, &entry};
  if (entry.position == notInHeap) {
    heap_.emplace_back();
    siftUp(heap_.size() - 1, slot);
  } else if (slot.before(heap_[entry.position])) {
    siftUp(entry.position, slot);
  }
}

bool TimerWheel::stale(const Slot& slot) {
  return slot.serial != slot.entry->serial;
}

void TimerWheel::settleFirst() const {
  Timer::Entry* const entry = heap_.front().entry;
  siftDown(0, {entry->expiry, entry->serial, entry});
}

void TimerWheel::disarm(Timer::Entry& entry) {
  entry.due = false;
  entry.expiry = never;
  if (entry.position != notInHeap) takeOut(entry.position);
}

void TimerWheel::takeOut(std::size_t index) {
  heap_[index].entry->position = notInHeap;
  const Slot last = heap_.back();
  heap_.pop_back();
  if (index == heap_.size()) return;
  if (index > 0 && last.before(heap_[(index - 1) / arity])) {
    siftUp(index, last);
  } else {
    siftDown(index, last);
  }
}

void TimerWheel::place(std::size_t index, const Slot& slot) const {
  heap_[index] = slot;
  slot.entry->position = index;
}

void TimerWheel::siftUp(std::size_t index, const Slot& slot) const {
  while (index > 0) {
    const std::size_t parent = (index - 1) / arity;
    if (!slot.before(heap_[parent])) break;
    place(index, heap_[parent]);
    index = parent;
  }
  place(index, slot);
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
    place(index, heap_[least]);
    index = least;
  }
  place(index, slot);
}

void TimerWheel::release(Timer::Entry* entry) {
  if (--entry->holders == 0) delete entry;
}

}  // namespace Routing
