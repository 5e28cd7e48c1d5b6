#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "platform/net/IpGenPrefix.h"

namespace Routing {

/// A map from the prefixes of one address family to values, with longest-prefix lookup: a
/// path-compressed binary trie. Every operation on one key follows a single path of at most 129
/// nodes, without recursion. The nodes stand in one vector, which keeps what erased prefixes leave
/// for later keys. A key or query of another family, or none, matches nothing and is not stored.
/// Key order is the order of IpGenPrefix: by address, a prefix before everything inside it. A
/// moved-from trie may only be assigned to or destroyed.
///
/// A trie that has become large knows by a key's first bits where the way of such keys goes on:
///
///   first 12 bits   ...   eee               eef               ef0   ...
///   crossing              [best | node]     [best | none]     [best | node]
///                            |      |
///     the longest prefix  <--'      '-->  the first node on their way
///     shorter than that                   that is no shorter
///
/// A change of a prefix shorter than that changes up to all of them.
template <class Value>
class PrefixTrie {
 public:
  /// A stored prefix and its value, or none and null. The value stays in place until the next
  /// insert, erase or clear.
  struct Match {
    IpGenPrefix prefix;
    const Value* value = nullptr;

    explicit operator bool() const { return value != nullptr; }
  };

  explicit PrefixTrie(AddressFamily af) : af_(af) {}

  AddressFamily af() const { return af_; }
  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  /// Nodes held in memory, those kept for later keys included: fewer than twice the largest size
  /// since the last clear().
  std::size_t nodes() const { return nodes_.size(); }

  /// Stores a prefix. True if it was added; a present prefix keeps its value, a key of another
  /// family is refused.
  bool insert(const IpGenPrefix& prefix, Value value = {});
  /// Removes a prefix; false if it was not stored.
  bool erase(const IpGenPrefix& prefix);
  void clear();

  /// The value stored for exactly this prefix, or null; valid as Match::value is.
  const Value* find(const IpGenPrefix& prefix) const;
  Value* find(const IpGenPrefix& prefix) {
    return const_cast<Value*>(std::as_const(*this).find(prefix));
  }

  /// The longest stored prefix that contains the whole of `query` (`query` itself included).
  Match longestMatch(const IpGenPrefix& query) const {
    return longestWithin(query, addressBits(af_));
  }
  /// The longest stored prefix that strictly contains `prefix`, which need not be stored.
  Match parent(const IpGenPrefix& prefix) const {
    return prefix.length() == 0 ? Match{} : longestWithin(prefix, prefix.length() - 1);
  }

  /// The first stored prefix in key order.
  Match first() const { return match(firstIn(root_)); }
  /// The first stored prefix after `prefix` in key order; `prefix` need not be stored.
  Match next(const IpGenPrefix& prefix) const;

  /// Calls `fn(const IpGenPrefix&, const Value&)` in key order for every stored prefix. `fn` may
  /// change the trie: the walk then goes on at the first prefix after the one just visited.
  template <class Fn>
  void forEach(Fn&& fn) const {
    for (Match at = first(); at; at = next(at.prefix)) fn(std::as_const(at.prefix), *at.value);
  }
  /// The same for every stored prefix inside `prefix`, itself included.
  template <class Fn>
  void forEachInside(const IpGenPrefix& prefix, Fn&& fn) const;

 private:
  using Index = std::uint32_t;
  static constexpr Index nil = std::numeric_limits<Index>::max();
  static constexpr unsigned crossingBits = 12;
  static constexpr std::size_t crossingsFrom = 512;  // stored prefixes

  /// The bits of a prefix, left-aligned; those from `length` on mean nothing.
  struct Key {
    std::uint64_t upper;
    std::uint64_t lower;
    std::uint8_t length;

    explicit Key(const IpGenPrefix& p)
        : upper(p.address().upper()),
          lower(p.address().lower()),
          length(static_cast<std::uint8_t>(p.length())) {}

    /// The first bits of keys, as a number.
    explicit Key(std::size_t firstBits)
        : upper(std::uint64_t{firstBits} << (64 - crossingBits)), lower(0), length(crossingBits) {}

    std::size_t firstBits() const { return upper >> (64 - crossingBits); }
    unsigned bit(unsigned position) const {
      return position < 64 ? upper >> (63 - position) & 1 : lower >> (127 - position) & 1;
    }
    /// Leading bits in common with `other`, at most the shorter length.
    unsigned common(const Key& other) const {
      const std::uint64_t high = upper ^ other.upper;
      const int same =
          high != 0 ? std::countl_zero(high) : 64 + std::countl_zero(lower ^ other.lower);
      return std::min({static_cast<unsigned>(same), unsigned{length}, unsigned{other.length}});
    }
    bool contains(const Key& inner) const {
      const std::uint64_t high = upper ^ inner.upper;
      if (length > inner.length) return false;
      if (length <= 64) return length == 0 || high >> (64 - length) == 0;
      return high == 0 && (lower ^ inner.lower) >> (128 - length) == 0;
    }
  };

  /// A stored prefix, or a fork without value; a fork always has two children. Child b holds what
  /// lies inside the prefix and has bit b after it. A free node's first child is the next free one.
  struct Node {
    [[no_unique_address]] Key key;  // the value moves into its padding
    std::optional<Value> value;
    std::array<Index, 2> child{nil, nil};

    unsigned children() const { return (child[0] != nil) + (child[1] != nil); }
    Index firstChild() const { return child[0] != nil ? child[0] : child[1]; }
  };

  /// The place of an index: a child of a node, or the root. It outlives a growing vector.
  struct Slot {
    Index node = nil;
    unsigned side = 0;
  };

  struct Crossing {
    Index best = nil;  // the longest stored prefix of fewer than so many bits
    Index node = nil;  // the first node below that is no shorter
  };

  Index& at(Slot slot) { return slot.node == nil ? root_ : nodes_[slot.node].child[slot.side]; }
  bool takes(const IpGenPrefix& key) const { return !key.isNone() && key.af() == af_; }
  bool add(const Key& key, Value&& value);
  bool take(const Key& key);
  void cross(const Key& changed);
  Crossing crossing(const Key& firstBits) const;
  Match longestWithin(const IpGenPrefix& query, unsigned maxLength) const;
  Match match(Index node) const;
  Index firstIn(Index node) const;
  Index allocate(const Key& key);
  void release(Index node);
  Index newLeaf(const Key& key, Value value);
  void linkAbove(Slot slot, Index leaf, unsigned common);
  void prune(Slot slot, Slot above);

  std::vector<Node> nodes_;
  std::vector<Crossing> crossings_;  // by first bits; none in a small trie
  std::size_t size_ = 0;
  Index root_ = nil;
  Index free_ = nil;
  AddressFamily af_;
};

template <class Value>
bool PrefixTrie<Value>::insert(const IpGenPrefix& prefix, Value value) {
  const Key key(prefix);
  if (!takes(prefix) || !add(key, std::move(value))) return false;
  cross(key);
  return true;
}

template <class Value>
bool PrefixTrie<Value>::add(const Key& key, Value&& value) {
  Slot slot;
  for (Index index = root_; index != nil; index = at(slot)) {
    Node& node = nodes_[index];
    const unsigned common = node.key.common(key);
    if (common < node.key.length) {
      linkAbove(slot, newLeaf(key, std::move(value)), common);
      return true;
    }
    if (common == key.length) {
      if (node.value) return false;
      node.value.emplace(std::move(value));
      ++size_;
      return true;
    }
    slot = {index, key.bit(common)};
  }
  const Index leaf = newLeaf(key, std::move(value));
  at(slot) = leaf;
  return true;
}

template <class Value>
auto PrefixTrie<Value>::newLeaf(const Key& key, Value value) -> Index {
  const Index leaf = allocate(key);
  nodes_[leaf].value.emplace(std::move(value));
  ++size_;
  return leaf;
}

// The node at the slot and the leaf part after `common` bits, less than the node's length.
template <class Value>
void PrefixTrie<Value>::linkAbove(Slot slot, Index leaf, unsigned common) {
  const Index below = at(slot);
  const unsigned side = nodes_[below].key.bit(common);
  Index upper = leaf;
  if (common < nodes_[leaf].key.length) {
    Key forkKey = nodes_[below].key;
    forkKey.length = static_cast<std::uint8_t>(common);
    upper = allocate(forkKey);
    nodes_[upper].child[1 - side] = leaf;
  }
  nodes_[upper].child[side] = below;
  at(slot) = upper;
}

template <class Value>
bool PrefixTrie<Value>::erase(const IpGenPrefix& prefix) {
  const Key key(prefix);
  if (!takes(prefix) || !take(key)) return false;
  cross(key);
  return true;
}

template <class Value>
bool PrefixTrie<Value>::take(const Key& key) {
  Slot slot;
  Slot above;
  for (Index index = root_; index != nil; index = at(slot)) {
    Node& node = nodes_[index];
    if (!node.key.contains(key)) return false;
    if (node.key.length == key.length) {
      if (!node.value) return false;
      node.value.reset();
      --size_;
      prune(slot, above);
      return true;
    }
    above = std::exchange(slot, Slot{index, key.bit(node.key.length)});
  }
  return false;
}

// Takes the emptied node out unless it forks, and with a leaf the fork above that has become idle.
template <class Value>
void PrefixTrie<Value>::prune(Slot slot, Slot above) {
  const Index index = at(slot);
  const unsigned children = nodes_[index].children();
  if (children == 2) return;
  at(slot) = nodes_[index].firstChild();
  release(index);
  if (children == 1 || slot.node == nil || nodes_[slot.node].value) return;
  at(above) = nodes_[slot.node].firstChild();
  release(slot.node);
}

// Keys with other first bits find the same as before.
template <class Value>
void PrefixTrie<Value>::cross(const Key& changed) {
  std::size_t first = changed.firstBits();
  std::size_t count = std::size_t{1}
                      << (crossingBits - std::min<unsigned>(crossingBits, changed.length));
  if (crossings_.empty()) {
    if (size_ < crossingsFrom) return;
    crossings_.resize(std::size_t{1} << crossingBits);
    first = 0;
    count = crossings_.size();
  }
  for (; count > 0; --count, ++first) crossings_[first] = crossing(Key(first));
}

template <class Value>
auto PrefixTrie<Value>::crossing(const Key& firstBits) const -> Crossing {
  Crossing at{nil, root_};
  while (at.node != nil && nodes_[at.node].key.length < crossingBits) {
    const Node& node = nodes_[at.node];
    if (!node.key.contains(firstBits)) return {at.best, nil};
    if (node.value) at.best = at.node;
    at.node = node.child[firstBits.bit(node.key.length)];
  }
  return at;
}

template <class Value>
void PrefixTrie<Value>::clear() {
  *this = PrefixTrie(af_);
}

template <class Value>
const Value* PrefixTrie<Value>::find(const IpGenPrefix& prefix) const {
  const Match found = longestMatch(prefix);
  return found && found.prefix == prefix ? found.value : nullptr;
}

template <class Value>
auto PrefixTrie<Value>::longestWithin(const IpGenPrefix& query, unsigned maxLength) const -> Match {
  if (!takes(query)) return {};
  const Key key(query);
  const bool crosses =
      !crossings_.empty() && std::min<unsigned>(key.length, maxLength) >= crossingBits;
  auto [best, index] = crosses ? crossings_[key.firstBits()] : Crossing{nil, root_};
  while (index != nil) {
    const Node& node = nodes_[index];
    if (node.key.length > maxLength || !node.key.contains(key)) break;
    if (node.value) best = index;
    if (node.key.length == key.length) break;
    index = node.child[key.bit(node.key.length)];
  }
  return match(best);
}

template <class Value>
auto PrefixTrie<Value>::next(const IpGenPrefix& prefix) const -> Match {
  if (!takes(prefix)) return {};
  const Key key(prefix);
  Index later = nil;  // the nearest subtree passed so far that lies wholly after the key
  for (Index index = root_; index != nil;) {
    const Node& node = nodes_[index];
    const unsigned common = node.key.common(key);
    if (common < node.key.length) {
      const bool after = common == key.length || key.bit(common) == 0;
      return match(firstIn(after ? index : later));
    }
    if (common == key.length) {
      return match(firstIn(node.children() > 0 ? node.firstChild() : later));
    }
    const unsigned side = key.bit(common);
    if (side == 0 && node.child[1] != nil) later = node.child[1];
    index = node.child[side];
  }
  return match(firstIn(later));
}

template <class Value>
template <class Fn>
void PrefixTrie<Value>::forEachInside(const IpGenPrefix& prefix, Fn&& fn) const {
  const IpGenPrefix range = prefix;
  const Value* own = find(range);
  Match at = own != nullptr ? Match{range, own} : next(range);
  for (; at && range.contains(at.prefix); at = next(at.prefix)) {
    fn(std::as_const(at.prefix), *at.value);
  }
}

template <class Value>
auto PrefixTrie<Value>::match(Index index) const -> Match {
  if (index == nil) return {};
  const Node& node = nodes_[index];
  const IpGenAddr address = af_ == AddressFamily::ipv4
                                ? IpGenAddr::v4(static_cast<std::uint32_t>(node.key.upper >> 32))
                                : IpGenAddr::v6(node.key.upper, node.key.lower);
  return {IpGenPrefix(address, node.key.length), &*node.value};
}

// The first stored node of a subtree; only forks, which have a child 0, hold nothing.
template <class Value>
auto PrefixTrie<Value>::firstIn(Index index) const -> Index {
  while (index != nil && !nodes_[index].value) index = nodes_[index].child[0];
  return index;
}

template <class Value>
auto PrefixTrie<Value>::allocate(const Key& key) -> Index {
  if (free_ == nil) {
    nodes_.push_back(Node{key, {}});
    return static_cast<Index>(nodes_.size() - 1);
  }
  const Index index = std::exchange(free_, nodes_[free_].child[0]);
  nodes_[index] = Node{key, {}};
  return index;
}

template <class Value>
void PrefixTrie<Value>::release(Index index) {
  nodes_[index].child = {free_, nil};
  free_ = index;
}

}  // namespace Routing
