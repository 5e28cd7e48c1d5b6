#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <utility>
#include <vector>

#include "platform/Export.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/pim/PimMessage.h"
#include "platform/pim/wire/BlockPool.h"
#include "platform/pim/wire/BootstrapRpList.h"
#include "platform/pim/wire/GroupFlags.h"

namespace Routing::Pim {

/// One group range of a Bootstrap message with the RPs that this message carries for it.
class BootstrapGroupData {
 public:
  static constexpr std::uint8_t bidirFlag = GroupFlags::bidirFlag;
  static constexpr std::uint8_t zoneFlag = GroupFlags::zoneFlag;

  BootstrapGroupData() = default;
  explicit BootstrapGroupData(const IpGenPrefix& prefix, std::uint8_t groupFlags = 0)
      : prefix_(prefix), groupFlags_(groupFlags) {}
  BootstrapGroupData(const IpGenAddr& address, unsigned length, std::uint8_t groupFlags)
      : prefix_(address, length), groupFlags_(groupFlags) {}

  const IpGenPrefix& prefix() const { return prefix_; }
  void prefixIs(const IpGenPrefix& prefix) { prefix_ = prefix; }
  /// All eight bits as on the wire; the reserved ones are passed through.
  std::uint8_t groupFlags() const { return groupFlags_; }
  void groupFlagsIs(std::uint8_t flags) { groupFlags_ = flags; }
  bool bidir() const { return GroupFlags(groupFlags_).bidir(); }
  /// The Z bit. It means something on the first range of a message only (RFC 5059 section 3.3);
  /// later ranges keep it as received, because a message is forwarded unchanged. See zoneOf().
  bool zone() const { return GroupFlags(groupFlags_).zone(); }

  /// RPs of the range in the whole Bootstrap message, over all its fragments.
  std::uint8_t rpCount() const { return rpCount_; }
  void rpCountIs(std::uint8_t count) { rpCount_ = count; }
  /// RPs of the range in this fragment. In a decoded message it equals rpList().size(); on encoding
  /// the size of the list is what counts.
  std::uint8_t fragRpCount() const { return fragRpCount_; }
  void fragRpCountIs(std::uint8_t count) { fragRpCount_ = count; }

  const BootstrapRpList& rpList() const { return rpList_; }
  BootstrapRpList& rpList() { return rpList_; }
  void rpListIs(BootstrapRpList rps) { rpList_ = std::move(rps); }

  friend bool operator==(const BootstrapGroupData&, const BootstrapGroupData&) = default;

 private:
  [[no_unique_address]] IpGenPrefix prefix_;
  std::uint8_t groupFlags_ = 0;
  std::uint8_t rpCount_ = 0;
  std::uint8_t fragRpCount_ = 0;
  BootstrapRpList rpList_;
};

/// The group ranges of a message.
using BootstrapGroups = std::vector<BootstrapGroupData, PoolAllocator<BootstrapGroupData>>;

/// A Bootstrap message or one of its fragments (RFC 5059 section 4.1).
class ROUTING_API BootstrapMessage : public PimMessage {
 public:
  PimType type() const override { return PimType::bootstrap; }

  const IpGenAddr& bsrAddress() const { return bsrAddress_; }
  void bsrAddressIs(const IpGenAddr& address) { bsrAddress_ = address; }
  /// The highest wins the election.
  std::uint8_t bsrPriority() const { return bsrPriority_; }
  void bsrPriorityIs(std::uint8_t priority) { bsrPriority_ = priority; }
  /// 0 to 32 (IPv4) or 128 (IPv6).
  std::uint8_t hashMaskLen() const { return hashMaskLen_; }
  void hashMaskLenIs(std::uint8_t bits) { hashMaskLen_ = bits; }
  /// Random per message, equal in all its fragments.
  std::uint16_t fragmentTag() const { return fragmentTag_; }
  void fragmentTagIs(std::uint16_t tag) { fragmentTag_ = tag; }
  /// False stands for the No-Forward bit on the wire (RFC 5059 section 3.5.1).
  bool forward() const { return forward_; }
  void forwardIs(bool forward) { forward_ = forward; }

  /// The group ranges in the order of the message; the first one names the zone.
  const BootstrapGroups& groupRpData() const { return groupRpData_; }
  BootstrapGroups& groupRpData() { return groupRpData_; }
  void groupRpDataIs(BootstrapGroups groups) { groupRpData_ = std::move(groups); }
  /// Appends a range and returns it; the reference dies with the next append.
  BootstrapGroupData& groupRpDataAppend(BootstrapGroupData group) {
    return groupRpData_.emplace_back(std::move(group));
  }

  friend ROUTING_API bool operator==(const BootstrapMessage& a, const BootstrapMessage& b);

 private:
  IpGenAddr bsrAddress_;
  std::uint16_t fragmentTag_ = 0;
  std::uint8_t bsrPriority_ = 0;
  std::uint8_t hashMaskLen_ = 0;
  bool forward_ = true;
  BootstrapGroups groupRpData_;
};

/// The message with its No-Forward bit as asked for: itself, or a copy where it has the other one,
/// because whoever else holds it must not see it change.
ROUTING_API std::shared_ptr<BootstrapMessage> withForward(
    const std::shared_ptr<BootstrapMessage>& bsm, bool forward);

/// The group ranges of a message and the RPs in them, counted together: what it takes to keep it.
ROUTING_API std::size_t entriesOf(const BootstrapMessage& bsm);

/// The zone of a Bootstrap message: the prefix of its first group range if that has the Z bit, else
/// (also without any range) `globalZone` (RFC 5059 section 3.1).
ROUTING_API IpGenPrefix zoneOf(const BootstrapMessage& bsm, const IpGenPrefix& globalZone);

/// One line for traces: BSR, priority, tag and the number of ranges.
ROUTING_API std::ostream& operator<<(std::ostream& out, const BootstrapMessage& bsm);

}  // namespace Routing::Pim
