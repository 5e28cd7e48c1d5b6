#pragma once

#include <algorithm>
#include <cstdint>

namespace Routing::Sim {

/// Seeds that follow each other, first to last; none if the first is the greater one.
struct SeedBlock {
  std::uint64_t first = 1;
  std::uint64_t last = 0;

  bool empty() const { return first > last; }
  std::uint64_t size() const { return empty() ? 0 : last - first + 1; }
  /// Takes at most so many seeds off the front.
  SeedBlock take(std::uint64_t most) {
    const SeedBlock taken{first, first + std::min(most, size()) - 1};
    first = taken.last + 1;
    return taken;
  }
};

/// How many seeds a process gets at once: few enough that all end at about the same time, and that
/// little is lost with one of them.
inline std::uint64_t blockSize(const SeedBlock& all, std::uint64_t processes) {
  return std::clamp<std::uint64_t>(all.size() / (4 * processes), 1, 16);
}

}  // namespace Routing::Sim
