#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <utility>
#include <vector>

#include "platform/Export.h"
#include "platform/pim/PimMessage.h"

namespace Routing::Pim {

/// The LAN Prune Delay option (RFC 7761 section 4.9.2).
struct LanPruneDelay {
  bool tBit = false;                   ///< the sender can disable join suppression
  std::uint16_t propagationDelay = 0;  ///< milliseconds, 0 to 32767 (the field has 15 bits)
  std::uint16_t overrideInterval = 0;  ///< milliseconds

  friend bool operator==(const LanPruneDelay&, const LanPruneDelay&) = default;
};

/// A PIM Hello (RFC 7761 section 4.9.2). An option that is not set was not in the message and is
/// not sent; what its absence means is the receiver's to decide.
class ROUTING_API HelloMessage : public PimMessage {
 public:
  PimType type() const override { return PimType::hello; }

  /// Seconds; 0 says goodbye, 65535 never expires.
  std::optional<std::uint16_t> holdtime() const { return holdtime_; }
  void holdtimeIs(std::optional<std::uint16_t> seconds) { holdtime_ = seconds; }
  const std::optional<LanPruneDelay>& lanPruneDelay() const { return lanPruneDelay_; }
  void lanPruneDelayIs(std::optional<LanPruneDelay> delay) { lanPruneDelay_ = delay; }
  std::optional<std::uint32_t> drPriority() const { return drPriority_; }
  void drPriorityIs(std::optional<std::uint32_t> priority) { drPriority_ = priority; }
  std::optional<std::uint32_t> generationId() const { return generationId_; }
  void generationIdIs(std::optional<std::uint32_t> id) { generationId_ = id; }
  /// Secondary addresses of the sender; empty stands for no Address List option.
  const std::vector<IpGenAddr>& addressList() const { return addressList_; }
  void addressListIs(std::vector<IpGenAddr> addresses) { addressList_ = std::move(addresses); }

  friend ROUTING_API bool operator==(const HelloMessage& a, const HelloMessage& b);

 private:
  std::optional<std::uint16_t> holdtime_;
  std::optional<LanPruneDelay> lanPruneDelay_;
  std::optional<std::uint32_t> drPriority_;
  std::optional<std::uint32_t> generationId_;
  std::vector<IpGenAddr> addressList_;
};

/// One line for traces: source and the options that are present.
ROUTING_API std::ostream& operator<<(std::ostream& out, const HelloMessage& hello);

}  // namespace Routing::Pim
