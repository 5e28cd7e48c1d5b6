#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "platform/net/IpGenPrefix.h"
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

}  // namespace Routing::Pim
