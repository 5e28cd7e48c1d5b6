#include "platform/pim/wire/BlockPool.h"

#include <array>
#include <new>

namespace Routing::Pim {
namespace {

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ROUTING_NO_BLOCKS_KEPT 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(ROUTING_NO_BLOCKS_KEPT)
constexpr std::size_t kept = 0;  // a block that is used again would hide who uses it too long
#else
constexpr std::size_t kept = BlockPool::keptOfASize;
#endif

struct FreeBlock {
  FreeBlock* next;
};

struct BlockSize {
  FreeBlock* first = nullptr;
  std::size_t count = 0;
};

/// Has no destructor, so that messages of static objects may still come back at a thread's end.
struct KeptBlocks {
  std::array<BlockSize, BlockPool::largestBlock / BlockPool::granule> sizes{};
  bool closed = false;
};

constinit thread_local KeptBlocks blocks;

struct BlocksEnd {
  ~BlocksEnd() {
    blocks.closed = true;
    for (BlockSize& size : blocks.sizes) {
      while (size.first != nullptr) {
        FreeBlock* const block = size.first;
        size.first = block->next;
        ::operator delete(block);
      }
    }
  }
};

constexpr std::size_t sizeIndex(std::size_t octets) {
  return (octets - 1) / BlockPool::granule;
}

constexpr bool pooled(std::size_t octets) {
  return octets - 1 < BlockPool::largestBlock;  // 0 is none either
}

}  // namespace

void* BlockPool::take(std::size_t octets) {
  if (!pooled(octets)) return ::operator new(octets);
  BlockSize& size = blocks.sizes[sizeIndex(octets)];
  FreeBlock* const block = size.first;
  if (block == nullptr) return ::operator new((sizeIndex(octets) + 1) * granule);
  size.first = block->next;
  --size.count;
  return block;
}

void BlockPool::give(void* block, std::size_t octets) noexcept {
  if (!pooled(octets)) return ::operator delete(block);
  BlockSize& size = blocks.sizes[sizeIndex(octets)];
  if (size.count >= kept || blocks.closed) return ::operator delete(block);
  static thread_local const BlocksEnd end;  // from the first block that is kept
  size.first = new (block) FreeBlock{size.first};
  ++size.count;
}

}  // namespace Routing::Pim
