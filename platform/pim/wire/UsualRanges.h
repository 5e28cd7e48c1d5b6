#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <utility>

#include "platform/Export.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/pim/wire/BlockPool.h"
#include "platform/pim/wire/BootstrapGroupData.h"

namespace Routing::Pim {

/// The group ranges of an IPv4 message as they came, for as long as nobody has asked for them, and
/// what can be said of them meanwhile. So are kept those that most routers send: ranges and their
/// RPs in ascending order, with nothing at fault. Many messages are refused without a look at them.
class ROUTING_API UsualRanges {
 public:
  /// The prefix and the flags of a range.
  struct Head {
    IpGenPrefix prefix;
    std::uint8_t flags;
  };

  UsualRanges() = default;
  UsualRanges(const UsualRanges& other)
      : UsualRanges(other.octets(), other.ranges_, other.entries_) {}
  UsualRanges(UsualRanges&& other) noexcept { swap(other); }
  UsualRanges& operator=(UsualRanges other) noexcept {
    swap(other);
    return *this;
  }
  ~UsualRanges() {
    if (block_ != nullptr) BlockPool::give(block_, size_);
  }

  /// A copy of all octets behind the fields of the BSR; empty if they are not as usual, or none.
  static UsualRanges of(std::span<const std::uint8_t> octets);

  bool empty() const { return block_ == nullptr; }
  std::size_t ranges() const { return ranges_; }
  /// Ranges and RPs together.
  std::size_t entries() const { return entries_; }
  /// Of the first range; there must be one.
  Head first() const;
  BootstrapGroups groups() const;

 private:
  std::span<const std::uint8_t> octets() const { return {block_, size_}; }
  UsualRanges(std::span<const std::uint8_t> octets, std::uint32_t ranges, std::uint32_t entries)
      : size_(octets.size()), ranges_(ranges), entries_(entries) {
    if (size_ == 0) return;
    block_ = static_cast<std::uint8_t*>(BlockPool::take(size_));
    std::memcpy(block_, octets.data(), size_);
  }
  void swap(UsualRanges& other) noexcept {
    std::swap(block_, other.block_);
    std::swap(size_, other.size_);
    std::swap(ranges_, other.ranges_);
    std::swap(entries_, other.entries_);
  }

  std::uint8_t* block_ = nullptr;
  std::size_t size_ = 0;
  std::uint32_t ranges_ = 0;
  std::uint32_t entries_ = 0;
};

}  // namespace Routing::Pim
