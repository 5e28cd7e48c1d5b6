#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "platform/pim/wire/BlockPool.h"

namespace Routing::Pim::Bsr {

/// The room that is left in each of a row of boxes, and the first box that has enough of it, found
/// in O(log n).
///
///            9               each node knows the most room of the boxes below it: from the top,
///        9       4           the way to the first box with 5 octets goes left wherever the left
///      0   9   4   2         side has so many
class FirstFit {
 public:
  using Room = std::uint32_t;
  static constexpr std::size_t none = ~std::size_t{0};

  std::size_t size() const { return size_; }
  Room room(std::size_t box) const { return most_[leaves_ + box]; }

  void append(Room room) {
    if (size_ == leaves_) grow();
    roomIs(size_++, room);
  }
  void roomIs(std::size_t box, Room room) {
    std::size_t node = leaves_ + box;
    most_[node] = room;
    while (node > 1) {
      node /= 2;
      most_[node] = std::max(most_[2 * node], most_[2 * node + 1]);
    }
  }
  /// The first box from which `need`, at least 1, can be taken; none if there is no such box.
  std::size_t first(Room need) const {
    if (size_ == 0 || most_[1] < need) return none;
    std::size_t node = 1;
    while (node < leaves_) node = 2 * node + (most_[2 * node] < need ? 1 : 0);
    return node - leaves_;
  }

 private:
  using Rooms = std::vector<Room, PoolAllocator<Room>>;

  void grow() {
    const std::size_t leaves = leaves_ == 0 ? 1 : 2 * leaves_;
    Rooms most(2 * leaves);
    std::copy_n(most_.begin() + static_cast<std::ptrdiff_t>(leaves_), size_,
                most.begin() + static_cast<std::ptrdiff_t>(leaves));
    most_ = std::move(most);
    leaves_ = leaves;
    for (std::size_t node = leaves - 1; node > 0; --node) {
      most_[node] = std::max(most_[2 * node], most_[2 * node + 1]);
    }
  }

  Rooms most_;  // node 1 is the top, the boxes begin at leaves_
  std::size_t leaves_ = 0;
  std::size_t size_ = 0;
};

}  // namespace Routing::Pim::Bsr
