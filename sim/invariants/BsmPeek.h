#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/net/IpGenPrefix.h"
#include "sim/core/PayloadStore.h"

namespace Routing::Sim {

/// What the octets of a Bootstrap message say, read without the codec that wrote them.
struct BsmPeek {
  struct Group {
    IpGenPrefix range;
    std::uint8_t rpCount = 0;
    std::uint8_t fragRpCount = 0;
    std::vector<IpGenAddr> rps;
  };
  std::uint16_t fragmentTag = 0;
  std::uint8_t hashMaskLen = 0;
  std::uint8_t priority = 0;
  bool forward = true;
  IpGenAddr bsr;
  bool scoped = false;  ///< the first group has the Zone bit: it names the zone
  std::vector<Group> groups;

  /// The global zone unless the message is scoped.
  IpGenPrefix zone() const;
};

/// None if the octets are no whole Bootstrap message (RFC 5059 section 4.1). With `headOnly` no
/// group but the first is read, and no RPs.
std::optional<BsmPeek> peekBsm(std::span<const std::uint8_t> payload, bool headOnly = false);

/// Peeks at the same octets once, however many packets in turn carry them.
class BsmReader {
 public:
  enum class Part : bool { whole, head };

  explicit BsmReader(Part part) : part_(part) {}

  const std::optional<BsmPeek>& read(const Payload& payload) {
    if (payload != last_) {
      last_ = payload;
      bsm_ = peekBsm(*payload, part_ == Part::head);
    }
    return bsm_;
  }

 private:
  const Part part_;
  Payload last_;
  std::optional<BsmPeek> bsm_;
};

}  // namespace Routing::Sim
