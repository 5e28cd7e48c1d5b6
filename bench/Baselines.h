// The plainest way of doing what the library does: no safety, no notification, no names. What the
// library costs is told as a multiple of these.

#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "platform/net/IpGenPrefix.h"

namespace Routing::Bench {

/// An observer as a book has it: one virtual call.
class PlainObserver {
 public:
  virtual ~PlainObserver() = default;
  virtual void changed(double value) = 0;
};

/// The Internet checksum's sum (RFC 1071): what it takes to read a message once.
inline std::uint32_t sumOfOctets(std::span<const std::uint8_t> octets) {
  std::uint64_t sum = 0;
  std::size_t i = 0;
  for (; i + 4 <= octets.size(); i += 4) {
    std::uint32_t word;
    std::memcpy(&word, octets.data() + i, 4);
    sum += word;
  }
  for (; i < octets.size(); ++i) sum += octets[i];
  while (sum > 0xffff) sum = (sum & 0xffff) + (sum >> 16);
  return static_cast<std::uint32_t>(sum);
}

/// A hierarchical wheel of four times 256 slots of one tick, doubly linked by numbers. Timers can
/// be armed anew; none ever fires.
class PlainWheel {
 public:
  explicit PlainWheel(std::uint32_t timers) : first_(timers), node_(timers + levels * slots) {
    for (std::uint32_t i = 0; i < node_.size(); ++i) node_[i] = {0, i, i};
  }
  void arm(std::uint32_t timer, std::uint64_t delay) {
    unlink(timer);
    node_[timer].tick = now_ + delay;
    link(timer);
  }

 private:
  static constexpr std::uint32_t levels = 4;
  static constexpr std::uint32_t slots = 256;
  struct Node {
    std::uint64_t tick;
    std::uint32_t next;
    std::uint32_t previous;
  };

  void unlink(std::uint32_t timer) {
    node_[node_[timer].previous].next = node_[timer].next;
    node_[node_[timer].next].previous = node_[timer].previous;
  }
  void link(std::uint32_t timer) {
    const std::uint64_t ahead = node_[timer].tick ^ now_;
    const std::uint32_t level = ahead < 0x100 ? 0 : ahead < 0x10000 ? 1 : ahead < 0x1000000 ? 2 : 3;
    const auto slot = static_cast<std::uint32_t>(node_[timer].tick >> (8 * level) & 0xff);
    const std::uint32_t head = first_ + level * slots + slot;
    const std::uint32_t last = node_[head].previous;
    node_[timer].previous = last;
    node_[timer].next = head;
    node_[last].next = node_[head].previous = timer;
  }

  std::uint32_t first_;
  std::uint64_t now_ = 0;
  std::vector<Node> node_;
};

/// A path-compressed binary trie over left-aligned bits, of the words that a family needs: one for
/// IPv4, two for IPv6. Prefixes map to numbers above 0.
template <std::size_t words>
class PlainTrie {
 public:
  using Bits = std::array<std::uint64_t, words>;

  static Bits bitsOf(const IpGenAddr& address) {
    if constexpr (words == 1) {
      return {address.upper()};
    } else {
      return {address.upper(), address.lower()};
    }
  }
  void insert(const Bits& bits, unsigned length, std::uint32_t value) {
    std::uint32_t at = 0;
    while (node_[at].length != length) {
      const unsigned side = bit(bits, node_[at].length);
      const std::uint32_t child = node_[at].child[side];
      if (child == 0) {
        const std::uint32_t leaf = append({bits, length, value});
        node_[at].child[side] = leaf;
        return;
      }
      const unsigned same = common(bits, node_[child].bits, std::min(length, node_[child].length));
      if (same < node_[child].length) return fork(at, bits, length, value, same);
      at = child;
    }
    node_[at].value = value;
  }
  std::uint32_t longestMatch(const Bits& bits) const {
    std::uint32_t best = node_[0].value;
    for (std::uint32_t at = 0; node_[at].length < 64 * words;) {
      at = node_[at].child[bit(bits, node_[at].length)];
      if (at == 0 || common(bits, node_[at].bits, node_[at].length) < node_[at].length) break;
      if (node_[at].value != 0) best = node_[at].value;
    }
    return best;
  }

 private:
  struct Node {
    Bits bits{};
    unsigned length = 0;
    std::uint32_t value = 0;
    std::array<std::uint32_t, 2> child{};
  };

  static unsigned bit(const Bits& bits, unsigned position) {
    return bits[position / 64] >> (63 - position % 64) & 1;
  }
  static unsigned common(const Bits& a, const Bits& b, unsigned most) {
    unsigned same = 0;
    for (std::size_t i = 0; i < words && same == 64 * i; ++i) {
      same += static_cast<unsigned>(std::countl_zero(a[i] ^ b[i]));
    }
    return std::min(same, most);
  }
  std::uint32_t append(const Node& node) {
    node_.push_back(node);
    return static_cast<std::uint32_t>(node_.size() - 1);
  }
  void fork(std::uint32_t above, const Bits& bits, unsigned length, std::uint32_t value,
            unsigned same) {
    const unsigned side = bit(bits, node_[above].length);
    const std::uint32_t below = node_[above].child[side];
    const std::uint32_t middle = append({bits, same, same == length ? value : 0});
    node_[middle].child[bit(node_[below].bits, same)] = below;
    if (same < length) {
      const std::uint32_t leaf = append({bits, length, value});
      node_[middle].child[bit(bits, same)] = leaf;
    }
    node_[above].child[side] = middle;
  }

  std::vector<Node> node_ = std::vector<Node>(1);
};

}  // namespace Routing::Bench
