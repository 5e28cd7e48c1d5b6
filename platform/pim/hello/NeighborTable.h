#pragma once

#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "platform/pim/PimStatus.h"
#include "platform/pim/hello/HelloConfig.h"
#include "platform/pim/wire/HelloMessage.h"
#include "platform/time/TimerWheel.h"

namespace Routing::Pim {

/// The neighbours on one PIM interface, made and removed by the Hellos that arrive on it (RFC 7761
/// sections 4.3.2 to 4.3.4). It is the only writer of the interface's `neighbor` collection.
class ROUTING_API NeighborTable {
 public:
  /// Hold time of a neighbour that sends none, in seconds (RFC 7761 section 4.11).
  static constexpr std::uint16_t defaultHoldtime = 105;
  /// Seconds of silence after which a neighbour gives way to a new one where there is no room,
  /// whatever hold time it said: three of its Hellos are missing.
  static constexpr double silence = 105.0;
  /// A hold time that never ends.
  static constexpr std::uint16_t holdForever = 0xffff;

  /// What a Hello meant.
  enum class Heard : std::uint8_t {
    refused,    ///< from one neighbour more than the limit; nothing changed
    goodbye,    ///< hold time 0: its sender is no neighbour (any more)
    refreshed,  ///< from a known neighbour
    reranked,   ///< from a known neighbour with another DR priority than before
    appeared,   ///< from a new neighbour
    restarted,  ///< from a known neighbour with another generation ID than before
  };

  /// Is told of a neighbour whose hold time has passed or that has restarted, and removes it.
  using Lost = std::function<void(const IpGenAddr&)>;

  /// VRF, interface and wheel must outlive the table.
  NeighborTable(const VrfName& vrf, PimInterface& intf, const NeighborLimits& limits,
                TimerWheel& wheel, Lost lost);
  NeighborTable(const NeighborTable&) = delete;
  NeighborTable& operator=(const NeighborTable&) = delete;

  /// Takes in a Hello whose source is not this router, while the interface runs. What it says
  /// replaces all that its sender said before; a sender that has restarted is first removed.
  /// Addresses of its list beyond the limit, and those of this router, are left out; one that
  /// another neighbour listed before is taken from that neighbour.
  Heard helloIs(const HelloMessage& hello);
  /// The neighbour with this address, as which it sends; null if there is none.
  const std::shared_ptr<PimNeighbor>& known(const IpGenAddr& neighbor) const;
  /// Removes a neighbour; an absent one is ignored.
  void neighborDel(IpGenAddr address);
  void neighborDelAll();
  /// Every secondary address that a neighbour lists, with that neighbour.
  const std::map<IpGenAddr, IpGenAddr>& listedBy() const;

 private:
  /// A neighbour, when it was heard, and until when that holds.
  struct Liveness {
    Liveness(NeighborTable& owner, const IpGenAddr& key)
        : address(key), table(owner), timer(owner.wheel_, [this] { expired(); }) {}
    void expired() const { table.handleExpiry(IpGenAddr(address)); }  // which may end this

    const IpGenAddr address;
    std::shared_ptr<PimNeighbor> neighbor;
    NeighborTable& table;
    double heard = 0.0;
    Timer timer;
  };
  using Lives = std::vector<std::unique_ptr<Liveness>>;

  Heard judge(const HelloMessage& hello, std::uint16_t holdtime) const;
  bool makeRoom();
  /// Whether the neighbour ranks otherwise now.
  bool store(const std::shared_ptr<PimNeighbor>& neighbor, const HelloMessage& hello,
             std::uint16_t holdtime);
  void holdIs(const std::shared_ptr<PimNeighbor>& neighbor, std::uint16_t holdtime);
  /// Where the neighbour stands, or would.
  Lives::const_iterator placeOf(const IpGenAddr& neighbor) const;
  /// Null if there is none.
  Liveness* find(const IpGenAddr& neighbor) const;
  Liveness& livenessOf(const IpGenAddr& neighbor);
  void secondariesAre(PimNeighbor& neighbor, const std::vector<IpGenAddr>& list);
  void claim(PimNeighbor& neighbor, const IpGenAddr& address);
  void unlist(const IpGenAddr& address);
  void handleExpiry(const IpGenAddr& address);

  const VrfName& vrf_;
  PimInterface& intf_;
  const NeighborLimits limits_;
  TimerWheel& wheel_;
  const Lost lost_;
  Lives lives_;                                               // by neighbour
  std::unique_ptr<std::map<IpGenAddr, IpGenAddr>> listedBy_;  // null until somebody lists any
};

}  // namespace Routing::Pim
