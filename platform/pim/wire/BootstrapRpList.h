#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "platform/Export.h"
#include "platform/net/IpGenAddr.h"

namespace Routing::Pim {

/// What a Bootstrap message says of one RP of a group range.
class BootstrapRpData {
 public:
  constexpr BootstrapRpData() = default;
  constexpr BootstrapRpData(std::uint16_t holdtime, std::uint8_t priority)
      : rpHoldtime_(holdtime), rpPriority_(priority) {}

  /// Seconds; 0 withdraws the RP.
  std::uint16_t rpHoldtime() const { return rpHoldtime_; }
  void rpHoldtimeIs(std::uint16_t seconds) { rpHoldtime_ = seconds; }
  /// 0 is the best.
  std::uint8_t rpPriority() const { return rpPriority_; }
  void rpPriorityIs(std::uint8_t priority) { rpPriority_ = priority; }

  friend bool operator==(const BootstrapRpData&, const BootstrapRpData&) = default;

 private:
  std::uint16_t rpHoldtime_ = 0;
  std::uint8_t rpPriority_ = 0;
};

/// An RP of a group range with its data; binds as `const auto& [address, data]`.
struct BootstrapRp {
  [[no_unique_address]] IpGenAddr address;
  BootstrapRpData data;

  friend bool operator==(const BootstrapRp&, const BootstrapRp&) = default;
};

/// The RPs of a group range, keyed by address and iterated in key order: a stretch of a sorted
/// array. Copies, and the lists of one decoded message, share their arrays, as long as nobody
/// changes what it has; so to copy a list costs next to nothing. An array and all lists on it
/// belong to one thread.
///
///   lists of a message     range 1     range 2   a copy of range 1
///                          |     |     |     |
///   array, counted         a b c d e   a c f g   (room)
class ROUTING_API BootstrapRpList {
 public:
  using const_iterator = const BootstrapRp*;

  BootstrapRpList() = default;
  BootstrapRpList(const BootstrapRpList& other) noexcept
      : array_(other.array_), first_(other.first_), size_(other.size_) {
    if (array_ != nullptr) ++array_->holders;
  }
  BootstrapRpList(BootstrapRpList&& other) noexcept { swap(other); }
  BootstrapRpList& operator=(BootstrapRpList other) noexcept {
    swap(other);
    return *this;
  }
  ~BootstrapRpList() {
    if (array_ != nullptr && --array_->holders == 0) free(array_);
  }

  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  const_iterator begin() const { return first_; }
  const_iterator end() const { return first_ + size_; }

  /// The RP's data, null if it is not in the list. The pointer dies with the next change.
  const BootstrapRpData* find(const IpGenAddr& address) const;
  /// Inserts an RP or overwrites its data. Cheap at the end of the key order.
  void rpIs(const IpGenAddr& address, const BootstrapRpData& data);
  /// Removes an RP; an absent one is no error.
  void rpDel(const IpGenAddr& address);
  /// `count` RPs from the one at `index` on, all of them in the list.
  BootstrapRpList part(std::size_t index, std::size_t count) const;

  friend ROUTING_API bool operator==(const BootstrapRpList& a, const BootstrapRpList& b);

 private:
  friend class RpArrays;

  /// Head of an array; its RPs follow it in memory.
  struct alignas(BootstrapRp) Array {
    std::uint32_t capacity;
    std::uint32_t used;  // RPs from the first on that some list holds or held
    std::uint32_t holders;
    BootstrapRp* rps() { return reinterpret_cast<BootstrapRp*>(this + 1); }
  };

  static Array* newArray(std::size_t capacity);
  static void free(Array* array) noexcept;
  void swap(BootstrapRpList& other) noexcept {
    std::swap(array_, other.array_);
    std::swap(first_, other.first_);
    std::swap(size_, other.size_);
  }
  const_iterator place(const IpGenAddr& address) const;
  bool holds(const_iterator at, const IpGenAddr& address) const {
    return at != end() && at->address == address;
  }
  BootstrapRp* own(std::size_t room);

  Array* array_ = nullptr;
  const BootstrapRp* first_ = nullptr;
  std::uint32_t size_ = 0;
};

/// Where the lists of a message are put one after the other as it is read.
class ROUTING_API RpArrays {
 public:
  RpArrays() = default;
  RpArrays(const RpArrays&) = delete;
  RpArrays& operator=(const RpArrays&) = delete;
  ~RpArrays() { countHolders(); }

  /// Room for the `count` RPs of the next list. Where a new array is needed it gets room for
  /// `expected` in all.
  BootstrapRp* room(std::size_t count, std::size_t expected) {
    if (count > free_) renew(count > expected ? count : expected);
    return lists_.array_ == nullptr ? nullptr : lists_.array_->rps() + lists_.array_->used;
  }
  /// Makes an empty list that of the first `count` RPs in that room, in ascending order of their
  /// addresses. This object must die before the list does.
  void fill(BootstrapRpList& list, std::size_t count) {
    if (count == 0) return;
    BootstrapRp* const first = lists_.array_->rps() + lists_.array_->used;
    fill(list, first, count);
    usedUpTo(first + count);
  }
  /// The same from `first` on in that room, which is used once usedUpTo() says so.
  void fill(BootstrapRpList& list, const BootstrapRp* first, std::size_t count) {
    if (count == 0) return;
    ++given_;
    list.array_ = lists_.array_;
    list.first_ = first;
    list.size_ = static_cast<std::uint32_t>(count);
  }
  void usedUpTo(const BootstrapRp* end) {
    BootstrapRpList::Array* const array = lists_.array_;
    if (array == nullptr) return;
    array->used = static_cast<std::uint32_t>(end - array->rps());
    free_ = array->capacity - array->used;
  }

 private:
  void renew(std::size_t capacity);
  // All at once: one after the other each count would wait for the one before.
  void countHolders() {
    if (lists_.array_ != nullptr) lists_.array_->holders += std::exchange(given_, 0);
  }

  BootstrapRpList lists_;    // empty, and holds the array
  std::uint32_t given_ = 0;  // lists on it, to be counted
  std::size_t free_ = 0;     // RPs that it has room for
};

}  // namespace Routing::Pim
