#pragma once

#include <cstdint>

namespace Routing::Sim {

/// A small random generator (xoshiro256**) whose numbers depend on the seed alone: not on the
/// compiler, the standard library or the machine.
class Random {
 public:
  explicit Random(std::uint64_t seed) {
    for (std::uint64_t& word : state_) word = splitMix(seed);
  }

  std::uint64_t next() {
    const std::uint64_t result = rotated(state_[1] * 5, 7) * 9;
    const std::uint64_t shifted = state_[1] << 17;
    state_[2] ^= state_[0];
    state_[3] ^= state_[1];
    state_[1] ^= state_[2];
    state_[0] ^= state_[3];
    state_[2] ^= shifted;
    state_[3] = rotated(state_[3], 45);
    return result;
  }
  /// Evenly spread over [0, 1).
  double uniform() { return static_cast<double>(next() >> 11) * 0x1p-53; }
  double between(double low, double high) { return low + (high - low) * uniform(); }
  /// 0 to `bound` - 1; `bound` is above 0.
  std::uint64_t below(std::uint64_t bound) { return next() % bound; }
  /// True with this probability. Draws nothing where the answer is certain.
  bool chance(double probability) { return probability > 0.0 && uniform() < probability; }

 private:
  static std::uint64_t splitMix(std::uint64_t& seed) {
    std::uint64_t z = seed += 0x9e3779b97f4a7c15;
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
    z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
    return z ^ (z >> 31);
  }
  static constexpr std::uint64_t rotated(std::uint64_t x, unsigned bits) {
    return x << bits | x >> (64 - bits);
  }

  std::uint64_t state_[4];
};

}  // namespace Routing::Sim
