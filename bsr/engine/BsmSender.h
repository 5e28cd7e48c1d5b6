#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "bsr/engine/Turn.h"
#include "bsr/engine/TxFragments.h"
#include "bsr/types/MessageStatus.h"
#include "bsr/types/Status.h"
#include "platform/Export.h"
#include "platform/pim/AllIntfStatusDir.h"
#include "platform/pim/PimStatus.h"
#include "platform/pim/wire/BootstrapMessage.h"
#include "platform/time/TimerWheel.h"

namespace Routing::Pim::Bsr {

/// Builds, sizes and fragments Bootstrap messages and writes them out interface by interface
/// (RFC 5059 sections 3.4 and 4.1.1). Lengths are in octets and reckoned with the same sizes for
/// both families.
class ROUTING_API BsmSender {
 public:
  static constexpr std::uint32_t fixedLength = 36;    ///< headers and BSR fields
  static constexpr std::uint32_t groupLength = 12;    ///< a group entry without its RPs
  static constexpr std::uint32_t rpLength = 12;       ///< an RP entry
  static constexpr std::uint32_t minSplitSpace = 25;  ///< free space that may take a split group

  /// `sentOn` is told of each interface that a forwarded message is about to be sent on.
  BsmSender(std::shared_ptr<const Status> bsrStatus, std::shared_ptr<const PimStatus> pimStatus,
            std::shared_ptr<PimBsmStatus> bsmStatus,
            std::shared_ptr<const AllIntfStatusDir> allIntfStatusDir,
            std::function<void(const IntfId&)> sentOn);

  /// Appends the elected BSR's entry of a group range to its own message. Without an RP set the
  /// entry is empty. An RP that was withdrawn is announced with hold time 0 for this last time:
  /// its expiry becomes `now`; but for one that `again`, if there is one, wants to announce once
  /// more. At most 255 RPs are announced; false if more wait to be.
  using Again = std::function<bool(const RpEntry& rp)>;
  bool doAddGroupData(BootstrapMessage& bsm, const RpCandidateSet* rpSet,
                      const IpGenPrefix& groupPrefix, std::uint8_t flags, double now,
                      const Again& again = {});

  std::uint32_t doComputeBsmLength(const BootstrapMessage& bsm) const;

  /// Sends on every PIM interface that is up and has a neighbour, the arrival interface included,
  /// borders of the zone excluded; in fragments where the message exceeds the interface's MTU.
  /// Stops before the next interface if `turn` is there and was overtaken. True if it went
  /// out anywhere.
  bool forwardBsm(const IpGenPrefix& zone, const std::shared_ptr<BootstrapMessage>& bsm,
                  const Turn* turn = nullptr);

  /// Sends on one interface, unless it is a border of the zone, with the forward bit as given.
  void doSendTriggeredBsm(const IpGenPrefix& zone, bool forward, const IntfId& oif,
                          const std::shared_ptr<BootstrapMessage>& bsm);

  /// The fragments of a message for an MTU; empty if the MTU is too small to make any.
  PimBsrTxFragments fragmentBsm(const IpGenPrefix& zone, std::uint32_t mtu,
                                std::uint32_t totalBsmLength, const BootstrapMessage& bsm);

  /// Nothing more is sent, not even what is being sent.
  void end() { ended_ = true; }

 private:
  struct Placement;
  /// Fragments are made once for each distinct MTU of a pass.
  using Pass = std::map<std::uint32_t, PimBsrTxFragments, std::less<>,
                        PoolAllocator<std::pair<const std::uint32_t, PimBsrTxFragments>>>;

  void fragmentAndSendBsm(const IpGenPrefix& zone, std::uint32_t mtu, std::uint32_t totalBsmLength,
                          const IntfId& oif, const std::shared_ptr<BootstrapMessage>& bsm,
                          Pass& bsmFragments);
  void write(const IntfId& oif, const std::shared_ptr<BootstrapMessage>& bsm);
  std::uint32_t mtuOf(const IntfId& intf) const;
  bool eligible(const IpGenPrefix& zone, const IntfId& intf) const;
  bool scoped(const IpGenPrefix& zone) const { return zone != globalZone_; }

  std::uint32_t estimate(const IpGenPrefix& zone, std::uint32_t mtu, std::uint32_t total) const;
  static PimBsrTxFragment newFragment(const Placement& at);
  int doAddGroupData(Placement& at, const BootstrapGroupData& group, bool split);
  int placeWhole(Placement& at, const BootstrapGroupData& group);
  int placeSplit(Placement& at, const BootstrapGroupData& group);
  void traceFull(const Placement& at, const BootstrapGroupData& group, std::size_t from,
                 std::size_t to) const;
  bool needsZoneEntry(const Placement& at, const PimBsrTxFragment& fragment,
                      const BootstrapGroupData& group) const;
  void addZoneEntry(const Placement& at, std::size_t index);
  void append(const Placement& at, const PimBsrTxFragment& fragment,
              const BootstrapGroupData& group) const;
  const VrfName& vrfName() const { return bsrStatus_->vrfName(); }

  std::shared_ptr<const Status> bsrStatus_;
  std::shared_ptr<const PimStatus> pimStatus_;
  std::shared_ptr<PimBsmStatus> bsmStatus_;
  std::shared_ptr<const AllIntfStatusDir> allIntfStatusDir_;
  std::function<void(const IntfId&)> sentOn_;
  IpGenPrefix globalZone_;
  bool ended_ = false;
};

}  // namespace Routing::Pim::Bsr
