#pragma once

#include <cstdint>
#include <iosfwd>
#include <utility>
#include <vector>

#include "platform/Export.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/pim/PimMessage.h"
#include "platform/pim/wire/GroupFlags.h"

namespace Routing::Pim {

/// One group range of a candidate-RP advertisement.
class CrpGroupInfo {
 public:
  CrpGroupInfo() = default;
  explicit CrpGroupInfo(const IpGenPrefix& prefix, GroupFlags flags = {})
      : groupInfo_(prefix), groupFlags_(flags) {}

  const IpGenPrefix& groupInfo() const { return groupInfo_; }
  void groupInfoIs(const IpGenPrefix& prefix) { groupInfo_ = prefix; }
  GroupFlags groupFlags() const { return groupFlags_; }
  void groupFlagsIs(GroupFlags flags) { groupFlags_ = flags; }

  friend bool operator==(const CrpGroupInfo&, const CrpGroupInfo&) = default;

 private:
  IpGenPrefix groupInfo_;
  GroupFlags groupFlags_;
};

/// The group ranges of an advertisement in message order.
using CrpGroupData = std::vector<CrpGroupInfo>;

/// A candidate-RP advertisement (RFC 5059 section 4.2). Its destination is the BSR.
class ROUTING_API CrpAdvMessage : public PimMessage {
 public:
  PimType type() const override { return PimType::crpAdv; }

  /// Ranges announced in the header; 0 stands for the whole multicast range. A decoded message
  /// holds exactly as many ranges; on encoding the smaller of this and groupData().size() is sent.
  std::uint8_t prefixCount() const { return prefixCount_; }
  void prefixCountIs(std::uint8_t count) { prefixCount_ = count; }
  /// 0 is the best.
  std::uint8_t priority() const { return priority_; }
  void priorityIs(std::uint8_t priority) { priority_ = priority; }
  /// Seconds; 0 withdraws the RP.
  std::uint16_t holdtime() const { return holdtime_; }
  void holdtimeIs(std::uint16_t seconds) { holdtime_ = seconds; }
  const IpGenAddr& rpAddress() const { return rpAddress_; }
  void rpAddressIs(const IpGenAddr& address) { rpAddress_ = address; }

  const CrpGroupData& groupData() const { return groupData_; }
  CrpGroupData& groupData() { return groupData_; }
  void groupDataIs(CrpGroupData groups) { groupData_ = std::move(groups); }

  friend ROUTING_API bool operator==(const CrpAdvMessage& a, const CrpAdvMessage& b);

 private:
  IpGenAddr rpAddress_;
  std::uint16_t holdtime_ = 0;
  std::uint8_t prefixCount_ = 0;
  std::uint8_t priority_ = 0;
  CrpGroupData groupData_;
};

/// The range and, if set, its bits: "239.1.0.0/16 bidir zone".
ROUTING_API std::ostream& operator<<(std::ostream& out, const CrpGroupInfo& group);
/// One line for traces: RP, priority, holdtime and the number of ranges.
ROUTING_API std::ostream& operator<<(std::ostream& out, const CrpAdvMessage& adv);

}  // namespace Routing::Pim
