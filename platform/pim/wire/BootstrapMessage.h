#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <optional>
#include <utility>

#include "platform/Export.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/pim/PimMessage.h"
#include "platform/pim/wire/BootstrapGroupData.h"
#include "platform/pim/wire/UsualRanges.h"

namespace Routing::Pim {

/// The number of an object's content, given when it is asked for; a copy has another one.
class ROUTING_API ContentNumber {
 public:
  ContentNumber() = default;
  ContentNumber(const ContentNumber&) noexcept {}
  ContentNumber(ContentNumber&& other) noexcept { other.changed(); }
  ContentNumber& operator=(const ContentNumber&) noexcept {
    changed();
    return *this;
  }
  ContentNumber& operator=(ContentNumber&& other) noexcept {
    other.changed();
    changed();
    return *this;
  }
  ~ContentNumber() = default;

  void changed() { number_ = 0; }
  std::uint64_t number() const {
    if (number_ == 0) number_ = next();
    return number_;
  }

 private:
  static std::uint64_t next();

  mutable std::uint64_t number_ = 0;  // 0: to be given
};

/// A Bootstrap message or one of its fragments (RFC 5059 section 4.1).
class ROUTING_API BootstrapMessage : public PimMessage {
 public:
  PimType type() const override { return PimType::bootstrap; }

  const IpGenAddr& bsrAddress() const { return bsrAddress_; }
  void bsrAddressIs(const IpGenAddr& address) {
    content_.changed();
    bsrAddress_ = address;
  }
  /// The highest wins the election.
  std::uint8_t bsrPriority() const { return bsrPriority_; }
  void bsrPriorityIs(std::uint8_t priority) {
    content_.changed();
    bsrPriority_ = priority;
  }
  /// 0 to 32 (IPv4) or 128 (IPv6).
  std::uint8_t hashMaskLen() const { return hashMaskLen_; }
  void hashMaskLenIs(std::uint8_t bits) {
    content_.changed();
    hashMaskLen_ = bits;
  }
  /// Random per message, equal in all its fragments.
  std::uint16_t fragmentTag() const { return fragmentTag_; }
  void fragmentTagIs(std::uint16_t tag) {
    content_.changed();
    fragmentTag_ = tag;
  }
  /// False stands for the No-Forward bit on the wire (RFC 5059 section 3.5.1).
  bool forward() const { return forward_; }
  void forwardIs(bool forward) {
    content_.changed();
    forward_ = forward;
  }

  /// The group ranges in the order of the message; the first one names the zone. Those of a decoded
  /// message are made when they are asked for, unless there was something unusual about them.
  const BootstrapGroups& groupRpData() const {
    if (!asTheyCame_.empty()) unfold();
    return groupRpData_;
  }
  /// To change them; not any more once the message has been sent.
  BootstrapGroups& groupRpData() {
    content_.changed();
    return const_cast<BootstrapGroups&>(std::as_const(*this).groupRpData());
  }
  void groupRpDataIs(BootstrapGroups groups) {
    content_.changed();
    groupRpData_ = std::move(groups);
    asTheyCame_ = {};
  }
  /// In place of all there are.
  void usualRangesIs(UsualRanges asTheyCame) {
    content_.changed();
    groupRpData_.clear();
    asTheyCame_ = std::move(asTheyCame);
  }
  /// Appends a range and returns it; the reference dies with the next append.
  BootstrapGroupData& groupRpDataAppend(BootstrapGroupData group) {
    return groupRpData().emplace_back(std::move(group));
  }

  /// What can be said without making the ranges: how many there are, how many with their RPs, and
  /// the head of the first one, if there is any.
  std::size_t ranges() const {
    return asTheyCame_.empty() ? groupRpData_.size() : asTheyCame_.ranges();
  }
  std::size_t entries() const;
  std::optional<UsualRanges::Head> firstRange() const;

  /// A number that no other content of any message has, but for the addresses: who has encoded a
  /// message need not do so again for the next interface.
  std::uint64_t content() const { return content_.number(); }

  friend ROUTING_API bool operator==(const BootstrapMessage& a, const BootstrapMessage& b);

 private:
  void unfold() const;

  IpGenAddr bsrAddress_;
  std::uint16_t fragmentTag_ = 0;
  std::uint8_t bsrPriority_ = 0;
  std::uint8_t hashMaskLen_ = 0;
  bool forward_ = true;
  mutable BootstrapGroups groupRpData_;
  mutable UsualRanges asTheyCame_;  // what groupRpData_ is to be made of; empty once it is
  ContentNumber content_;
};

/// The message with its No-Forward bit as asked for: itself, or a copy where it has the other one,
/// because whoever else holds it must not see it change.
ROUTING_API std::shared_ptr<BootstrapMessage> withForward(
    const std::shared_ptr<BootstrapMessage>& bsm, bool forward);

/// A message like this one, without its group ranges.
ROUTING_API std::shared_ptr<BootstrapMessage> headOf(const BootstrapMessage& bsm);

/// The group ranges of a message and the RPs in them, counted together: what it takes to keep it.
inline std::size_t entriesOf(const BootstrapMessage& bsm) {
  return bsm.entries();
}

/// The zone of a Bootstrap message: the prefix of its first group range if that has the Z bit, else
/// (also without any range) `globalZone` (RFC 5059 section 3.1).
ROUTING_API IpGenPrefix zoneOf(const BootstrapMessage& bsm, const IpGenPrefix& globalZone);

/// One line for traces: BSR, priority, tag and the number of ranges.
ROUTING_API std::ostream& operator<<(std::ostream& out, const BootstrapMessage& bsm);

}  // namespace Routing::Pim
