#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

namespace Routing {

/// Things in the order of their keys. They stand in blocks of at most 64: as flat as a sorted list,
/// and an insertion moves no more than one block of them. A first one as large as a pointer stands
/// in the pointer's place until there are two.
///
///   the first  alone_    [ a ]
///   up to 64   one_      [ . ] -> [ size 3, capacity 4 | a b c . ]
///   more       blocks_   [ . | . | . ]           in order, none of them empty
///                          |   |   `-> [ 9, 16 | r ... z ]
///
/// `KeyOf()(thing)` is the key of a thing; no two are equal. A position is good until something is
/// inserted or taken out.
template <class T, class KeyOf>
class SortedBlocks {
 public:
  struct Position {
    std::uint32_t block = 0;
    std::uint32_t index = 0;
    friend bool operator==(const Position&, const Position&) = default;
  };

  SortedBlocks() {}  // so that there are constants with one inside
  SortedBlocks(const SortedBlocks&) = delete;
  SortedBlocks& operator=(const SortedBlocks&) = delete;
  ~SortedBlocks() {
    if (alone()) std::destroy_at(aloneThing());
    for (std::uint32_t i = 0; i < count_; ++i) destroy(block(i));
    if (count_ > 1) delete[] blocks_;
  }

  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  Position begin() const { return {}; }
  Position end() const { return {alone() ? 1 : count_, 0}; }
  /// True if something stands at a position, which may be any.
  bool holds(Position at) const { return look(at) != nullptr; }
  /// What stands there, if anything does.
  const T* look(Position at) const {
    if (at.block >= count_) return alone() && at == begin() ? aloneThing() : nullptr;
    const Block* const in = block(at.block);
    return at.index < in->size ? in->things() + at.index : nullptr;
  }
  T& operator[](Position at) { return const_cast<T&>(std::as_const(*this)[at]); }
  const T& operator[](Position at) const {
    return count_ == 0 ? *aloneThing() : block(at.block)->things()[at.index];
  }
  Position next(Position at) const {
    return at.index + 1 < sizeOf(at.block) ? Position{at.block, at.index + 1}
                                           : Position{at.block + 1, 0};
  }
  /// Moves a position, which may be any, on to what comes next, behind the last to the first. Null
  /// if there is nothing at all.
  const T* step(Position& at) const {
    if (at.block >= count_ || ++at.index >= block(at.block)->size) [[unlikely]] {
      at = at.block + 1 < count_ ? Position{at.block + 1, 0} : begin();
      return look(at);
    }
    return block(at.block)->things() + at.index;
  }
  Position previous(Position at) const {
    return at.index > 0 ? Position{at.block, at.index - 1}
                        : Position{at.block - 1, sizeOf(at.block - 1) - 1};
  }

  /// The first whose key is not less; end() if there is none.
  template <class Key>
  Position lowerBound(const Key& key) const {
    if (alone()) return KeyOf()(*aloneThing()) < key ? end() : begin();
    std::uint32_t low = 0;
    for (std::uint32_t high = count_; low < high;) {
      const std::uint32_t middle = (low + high) / 2;
      const Block* const at = block(middle);
      if (KeyOf()(at->things()[at->size - 1]) < key) {
        low = middle + 1;
      } else {
        high = middle;
      }
    }
    if (low == count_) return end();
    const T* const things = block(low)->things();
    const T* const found =
        std::lower_bound(things, things + block(low)->size, key,
                         [](const T& thing, const Key& k) { return KeyOf()(thing) < k; });
    return {low, static_cast<std::uint32_t>(found - things)};
  }
  /// end() if there is none.
  template <class Key>
  Position find(const Key& key) const {
    const Position at = lowerBound(key);
    return at == end() || key < KeyOf()((*this)[at]) ? end() : at;
  }

  /// Inserts before a position, which must be the lower bound of the thing's key.
  void insert(Position at, T thing) {
    if (empty() && inPlace) return stand(std::move(thing));
    if (alone()) unfold();
    if (at.block == count_) at = count_ == 0 ? newBlock(0, 2) : afterLast();
    if (block(at.block)->size == maxSize) at = split(at);
    Block& into = withRoom(at.block);
    T* const place = into.things() + at.index;
    std::move_backward(place, into.things() + into.size, into.things() + into.size + 1);
    *place = std::move(thing);
    ++into.size;
    ++size_;
  }
  T take(Position at) {
    if (alone()) return takeAlone();
    Block& from = *block(at.block);
    T* const place = from.things() + at.index;
    T thing = std::move(*place);
    std::move(place + 1, from.things() + from.size, place);
    --from.size;
    --size_;
    if (from.size == 0) {
      removeBlock(at.block);
    } else if (at.block + 1 < count_ && from.size + block(at.block + 1)->size <= maxSize / 2) {
      joinNext(at.block);
    }
    return thing;
  }

 private:
  static constexpr std::uint32_t maxSize = 64;
  static constexpr bool inPlace = sizeof(T) == sizeof(void*) && alignof(T) <= alignof(void*);

  struct alignas(T) Block {
    std::uint32_t size = 0;
    std::uint32_t capacity = 0;
    T* things() { return reinterpret_cast<T*>(this + 1); }
    const T* things() const { return reinterpret_cast<const T*>(this + 1); }
  };

  static Block* create(std::uint32_t capacity) {
    auto* made = new (::operator new(sizeof(Block) + capacity * sizeof(T))) Block;
    made->capacity = capacity;
    std::uninitialized_value_construct_n(made->things(), capacity);
    return made;
  }
  static void destroy(Block* gone) {
    std::destroy_n(gone->things(), gone->capacity);
    ::operator delete(gone);
  }

  Block*& block(std::uint32_t index) { return count_ > 1 ? blocks_[index] : one_; }
  const Block* block(std::uint32_t index) const { return count_ > 1 ? blocks_[index] : one_; }
  Position afterLast() const { return {count_ - 1, block(count_ - 1)->size}; }

  std::uint32_t sizeOf(std::uint32_t index) const { return count_ == 0 ? 1 : block(index)->size; }

  bool alone() const { return inPlace && count_ == 0 && size_ == 1; }
  T* aloneThing() { return std::launder(reinterpret_cast<T*>(alone_)); }
  const T* aloneThing() const { return std::launder(reinterpret_cast<const T*>(alone_)); }
  void stand(T thing) {
    new (alone_) T(std::move(thing));
    size_ = 1;
  }
  T takeAlone() {
    T thing = std::move(*aloneThing());
    std::destroy_at(aloneThing());
    size_ = 0;
    return thing;
  }
  void unfold() {
    T thing = takeAlone();
    newBlock(0, 2);
    one_->things()[one_->size++] = std::move(thing);
    size_ = 1;
  }

  /// The block, grown if it is full.
  Block& withRoom(std::uint32_t index) {
    Block*& at = block(index);
    if (at->size == at->capacity) {
      Block* const grown =
          create(std::min(maxSize, at->capacity + std::max(2U, at->capacity / 8 * 2)));
      std::move(at->things(), at->things() + at->size, grown->things());
      grown->size = at->size;
      destroy(std::exchange(at, grown));
    }
    return *at;
  }
  /// Makes room in a full block: what comes last begins the next one, else half of it moves there.
  Position split(Position at) {
    if (at.index == maxSize) return newBlock(at.block + 1, 2);
    newBlock(at.block + 1, maxSize);
    Block& lower = *block(at.block);
    Block& upper = *block(at.block + 1);
    constexpr std::uint32_t half = maxSize / 2;
    std::move(lower.things() + half, lower.things() + maxSize, upper.things());
    lower.size = upper.size = half;
    return at.index <= half ? at : Position{at.block + 1, at.index - half};
  }
  void joinNext(std::uint32_t index) {
    Block& next = *block(index + 1);
    for (std::uint32_t i = 0; i < next.size; ++i) {
      Block& into = withRoom(index);
      into.things()[into.size++] = std::move(next.things()[i]);
    }
    removeBlock(index + 1);
  }
  Position newBlock(std::uint32_t index, std::uint32_t capacity) {
    Block* const made = create(capacity);
    if (count_ == 0) {
      one_ = made;
    } else {
      makeRoomInList();
      std::move_backward(blocks_ + index, blocks_ + count_, blocks_ + count_ + 1);
      blocks_[index] = made;
    }
    ++count_;
    return {index, 0};
  }
  void removeBlock(std::uint32_t index) {
    destroy(block(index));
    if (--count_ == 0) return;
    std::move(blocks_ + index + 1, blocks_ + count_ + 1, blocks_ + index);
    if (count_ == 1) {
      Block** const list = blocks_;
      one_ = list[0];
      delete[] list;
    }
  }
  /// The list has places for the next power of two, none for a single block.
  void makeRoomInList() {
    if (!std::has_single_bit(count_)) return;
    auto** const grown = new Block*[2 * std::size_t{count_}];
    std::copy_n(count_ > 1 ? blocks_ : &one_, count_, grown);
    if (count_ > 1) delete[] blocks_;
    blocks_ = grown;
  }

  std::uint32_t size_ = 0;
  std::uint32_t count_ = 0;
  union {
    Block* one_ = nullptr;
    Block** blocks_;
    alignas(void*) std::byte alone_[sizeof(void*)];
  };
};

}  // namespace Routing
