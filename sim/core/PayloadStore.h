#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace Routing::Sim {

/// The octets of a datagram, shared by those that carry them.
using Payload = std::shared_ptr<const std::vector<std::uint8_t>>;

/// Keeps the payloads that came lately, so that what is flooded is there once, however many
/// routers pass it on. The room of one that nobody carries any more serves the next.
class PayloadStore {
 public:
  /// The payload of these octets; mostly, but not always, the same one for equal octets.
  Payload of(std::span<const std::uint8_t> octets) {
    auto& kept = lately_[octets.size() < headerOctets ? 0 : octets[checksumAt]];
    if (kept && std::ranges::equal(octets, *kept)) return kept;
    if (kept.use_count() == 1) {
      kept->assign(octets.begin(), octets.end());
    } else {
      kept = std::make_shared<std::vector<std::uint8_t>>(octets.begin(), octets.end());
    }
    return kept;
  }

 private:
  static constexpr std::size_t headerOctets = 4;
  static constexpr std::size_t checksumAt = 3;  // its lower half differs for most messages

  std::array<std::shared_ptr<std::vector<std::uint8_t>>, 256> lately_;
};

}  // namespace Routing::Sim
