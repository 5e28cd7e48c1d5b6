#pragma once

#include <cstddef>

#include "platform/Export.h"

namespace Routing::Pim {

/// Memory for what lives as long as a message: its object, its group ranges, its RPs. A block that
/// is given back is kept for the next message of this thread, a few of each size, so that messages
/// that come and go take nothing from the heap.
///
///   octets      1..256   257..512   ...   up to largestBlock     larger ones: the heap
///   kept        [x][x]   [x]              [x][x][x]
struct ROUTING_API BlockPool {
  static constexpr std::size_t granule = 256;        ///< octets between two sizes
  static constexpr std::size_t largestBlock = 8192;  ///< octets
  static constexpr std::size_t keptOfASize = 8;

  /// So many octets, aligned for every type; raises std::bad_alloc.
  static void* take(std::size_t octets);
  /// Gives back what was taken with the same number of octets; by any thread.
  static void give(void* block, std::size_t octets) noexcept;
};

/// A standard allocator that takes its memory from the pool.
template <class T>
struct PoolAllocator {
  using value_type = T;

  PoolAllocator() = default;
  template <class Other>
  PoolAllocator(const PoolAllocator<Other>&) {}  // NOLINT(google-explicit-constructor)

  T* allocate(std::size_t count) { return static_cast<T*>(BlockPool::take(count * sizeof(T))); }
  void deallocate(T* block, std::size_t count) noexcept {
    BlockPool::give(block, count * sizeof(T));
  }
  friend bool operator==(const PoolAllocator&, const PoolAllocator&) { return true; }
};

}  // namespace Routing::Pim
