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
/// routers pass it on.
class PayloadStore {
 public:
  /// The payload of these octets; mostly, but not always, the same one for equal octets.
  Payload of(std::span<const std::uint8_t> octets) {
    Payload& kept = lately_[octets.size() < headerOctets ? 0 : octets[checksumAt]];
    if (!kept || !std::equal(octets.begin(), octets.end(), kept->begin(), kept->end())) {
      kept = std::make_shared<const std::vector<std::uint8_t>>(octets.begin(), octets.end());
    }
    return kept;
  }

 private:
  static constexpr std::size_t headerOctets = 4;
  static constexpr std::size_t checksumAt = 3;  // its lower half differs for most messages

  std::array<Payload, 256> lately_;
};

}  // namespace Routing::Sim
