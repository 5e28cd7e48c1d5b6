#pragma once

#include <cstddef>
#include <iterator>
#include <map>
#include <memory>
#include <type_traits>
#include <utility>

#include "platform/entity/SortedBlocks.h"

namespace Routing {

template <class K, class E>
class CollectionAttribute;

/// What an entity that has a key is in the collection that holds it, and one of its members: its
/// key and, as long as it is held, a pointer to itself. It reads like the pair that an entry of a
/// std::map is. What the entity has that is small may stand in the octets behind.
template <class K, class E>
struct EntityEntry {
  using first_type = const K;
  using second_type = std::shared_ptr<E>;

  explicit EntityEntry(K key) : first(std::move(key)) {}
  operator std::pair<const K, std::shared_ptr<E>>() const { return {first, second}; }
  friend bool operator==(const EntityEntry&, const EntityEntry&) = default;
  friend bool operator==(const EntityEntry& a, const std::pair<const K, std::shared_ptr<E>>& b) {
    return a.first == b.first && a.second == b.second;
  }
  template <std::size_t index>
  friend const auto& get(const EntityEntry& entry) {
    if constexpr (index == 0) {
      return entry.first;
    } else {
      return entry.second;
    }
  }

  std::shared_ptr<E> second;
  [[no_unique_address]] const K first;
};

/// The entry of an entity.
struct EntryOf {
  template <class E>
  auto& operator()(E& entity) const {
    return entity.entry_;
  }
};

/// Entities by key, in the order of the keys. It reads like a std::map of shared pointers, but an
/// entry stands in its entity, so that an entity is one block of memory:
///
///   blocks   [ . | . | . ]
///              |
///   entity   | pointer to itself, key | attributes |
///
/// An entry stays where it is as long as it is there, and an iterator good as long as its entry,
/// whatever else comes and goes; not copied but by copy(). Whoever looks for keys in their order,
/// as a message does that refreshes what is there, finds each at the first glance, behind the last
/// one or at the beginning.
template <class K, class E>
class EntityCollection {
  struct KeyOf {
    const K& operator()(const E* entity) const { return EntryOf()(*entity).first; }
  };
  using Blocks = SortedBlocks<E*, KeyOf>;

 public:
  using key_type = K;
  using mapped_type = std::shared_ptr<E>;
  using value_type = EntityEntry<K, E>;
  using size_type = std::size_t;

  class const_iterator {
   public:
    using iterator_category = std::bidirectional_iterator_tag;
    using value_type = EntityCollection::value_type;
    using difference_type = std::ptrdiff_t;
    using pointer = const value_type*;
    using reference = const value_type&;

    const_iterator() = default;
    reference operator*() const { return EntryOf()(*entity_); }
    pointer operator->() const { return &**this; }
    const_iterator& operator++() { return *this = entries_->at(entries_->blocks_.next(place())); }
    const_iterator operator++(int) { return std::exchange(*this, std::next(*this)); }
    const_iterator& operator--() {
      return *this = entries_->at(entries_->blocks_.previous(place()));
    }
    const_iterator operator--(int) { return std::exchange(*this, std::prev(*this)); }
    friend bool operator==(const const_iterator& a, const const_iterator& b) {
      return a.entity_ == b.entity_;
    }

   private:
    friend class EntityCollection;
    using Position = typename Blocks::Position;
    const_iterator(const EntityCollection& entries, Position place)
        : entries_(&entries),
          place_(place),
          entity_(entries.blocks_.holds(place) ? entries.blocks_[place] : nullptr) {}
    /// Where the entity stands now.
    Position place() const {
      const auto& blocks = entries_->blocks_;
      if (entity_ == nullptr) return blocks.end();
      return blocks.holds(place_) && blocks[place_] == entity_ ? place_
                                                               : blocks.find((*this)->first);
    }

    const EntityCollection* entries_ = nullptr;
    Position place_;
    const E* entity_ = nullptr;  // null at the end
  };
  using iterator = const_iterator;
  using const_reverse_iterator = std::reverse_iterator<const_iterator>;

  std::size_t size() const { return blocks_.size(); }
  bool empty() const { return blocks_.empty(); }
  const_iterator begin() const { return at(blocks_.begin()); }
  const_iterator end() const { return at(blocks_.end()); }
  const_reverse_iterator rbegin() const { return const_reverse_iterator(end()); }
  const_reverse_iterator rend() const { return const_reverse_iterator(begin()); }
  const_iterator find(const K& key) const { return at(blocks_.find(key)); }
  bool contains(const K& key) const { return blocks_.holds(blocks_.find(key)); }
  std::size_t count(const K& key) const { return contains(key) ? 1 : 0; }
  const_iterator lower_bound(const K& key) const { return at(blocks_.lowerBound(key)); }
  const_iterator upper_bound(const K& key) const {
    const const_iterator found = lower_bound(key);
    return found != end() && !(key < found->first) ? std::next(found) : found;
  }
  /// The entries of now, which stay whatever happens to the collection.
  std::map<K, std::shared_ptr<E>> copy() const { return {begin(), end()}; }
  // Whoever writes the type of a map gets one.
  operator std::map<K, std::shared_ptr<E>>() const { return copy(); }

 private:
  friend class CollectionAttribute<K, E>;

  const_iterator at(typename Blocks::Position place) const { return {*this, place}; }
  const std::shared_ptr<E>& get(const K& key) const {
    auto at = near_;
    E* const* const next = blocks_.step(at);
    if (next == nullptr || !(KeyOf()(*next) == key)) [[unlikely]]
      return search(key);
    near_ = at;
    return EntryOf()(**next).second;
  }
  [[gnu::noinline]] const std::shared_ptr<E>& search(const K& key) const {
    static const std::shared_ptr<E> none;
    E* const* const last = blocks_.look(near_);
    if (last != nullptr && KeyOf()(*last) == key) return EntryOf()(**last).second;
    near_ = blocks_.find(key);
    return blocks_.holds(near_) ? EntryOf()(*blocks_[near_]).second : none;
  }

  Blocks blocks_;
  mutable typename Blocks::Position near_;  // where the last key was found
};

}  // namespace Routing

template <class K, class E>
struct std::tuple_size<Routing::EntityEntry<K, E>> : std::integral_constant<std::size_t, 2> {};
template <std::size_t index, class K, class E>
struct std::tuple_element<index, Routing::EntityEntry<K, E>> {
  using type = std::conditional_t<index == 0, const K, std::shared_ptr<E>>;
};
