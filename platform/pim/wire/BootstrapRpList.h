#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/Export.h"
#include "platform/net/IpGenAddr.h"

namespace Routing::Pim {

/// What a Bootstrap message says of one RP of a group range.
class BootstrapRpData {
 public:
  BootstrapRpData() = default;
  BootstrapRpData(std::uint16_t holdtime, std::uint8_t priority)
      : rpHoldtime_(holdtime), rpPriority_(priority) {}

  /// Seconds; 0 withdraws the RP.
  std::uint16_t rpHoldtime() const { return rpHoldtime_; }
  void rpHoldtimeIs(std::uint16_t seconds) { rpHoldtime_ = seconds; }
  /// 0 is the best.
  std::uint8_t rpPriority() const { return rpPriority_; }
  void rpPriorityIs(std::uint8_t priority) { rpPriority_ = priority; }

  friend bool operator==(const BootstrapRpData&, const BootstrapRpData&) = default;

 private:
  std::uint16_t rpHoldtime_ = 0;
  std::uint8_t rpPriority_ = 0;
};

/// An RP of a group range with its data; binds as `const auto& [address, data]`.
struct BootstrapRp {
  IpGenAddr address;
  BootstrapRpData data;

  friend bool operator==(const BootstrapRp&, const BootstrapRp&) = default;
};

/// The RPs of a group range, keyed by address and iterated in key order. A sorted array: a message
/// is built once and read many times, and one allocation holds the whole list.
class ROUTING_API BootstrapRpList {
 public:
  using const_iterator = std::vector<BootstrapRp>::const_iterator;

  BootstrapRpList() = default;
  /// Takes RPs in any order; none if an address occurs twice.
  static std::optional<BootstrapRpList> fromRps(std::vector<BootstrapRp> rps);

  std::size_t size() const { return rps_.size(); }
  bool empty() const { return rps_.empty(); }
  const_iterator begin() const { return rps_.begin(); }
  const_iterator end() const { return rps_.end(); }

  /// The RP's data, null if it is not in the list. The pointer dies with the next change.
  const BootstrapRpData* find(const IpGenAddr& address) const;
  /// Inserts an RP or overwrites its data. Cheap at the end of the key order.
  void rpIs(const IpGenAddr& address, const BootstrapRpData& data);
  /// Removes an RP; an absent one is no error.
  void rpDel(const IpGenAddr& address);

  friend bool operator==(const BootstrapRpList&, const BootstrapRpList&) = default;

 private:
  std::vector<BootstrapRp> rps_;
};

}  // namespace Routing::Pim
