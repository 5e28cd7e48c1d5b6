#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>

#include "platform/Export.h"
#include "platform/entity/ValueText.h"
#include "platform/net/IntfId.h"
#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/pim/DropReason.h"

namespace Routing::Pim {

/// Why a received message was not taken.
enum class DropCode : std::uint8_t {
  malformed,         ///< its octets are at fault: see Drop::fault
  noPimInterface,    ///< PIM does not run on the arrival interface
  ownPacket,         ///< from this router itself
  notNeighbor,       ///< from no PIM neighbour (RFC 5059 section 3.1.3)
  interfaceDown,     ///< a Hello on an interface on which PIM is down
  tooManyNeighbors,  ///< a Hello from one neighbour more than there is room for
  neighborFilter,    ///< a Hello from an address that the neighbour filter does not permit
  noRpfNeighbor,     ///< no route to the BSR leads over a PIM neighbour
  wrongRpfNeighbor,  ///< not from the neighbour that leads to the BSR
  noForward,         ///< No-Forward, and this router needs no priming
  unicast,           ///< a Bootstrap message to one router
  badDestination,    ///< a Bootstrap message to another group than ALL-PIM-ROUTERS
  border,            ///< on a border of its zone
  filtered,  ///< an advertisement from a source that the candidate-RP filter does not permit
  notBsr,    ///< an advertisement of ranges of which this router is not the BSR
};

/// A message that was not taken. What its code does not need is unset.
struct Drop {
  DropCode code = DropCode::malformed;
  DropReason fault = DropReason::shortHeader;
  IntfId intf = {};
  IpGenAddr source = {};
  IpGenAddr subject = {};           ///< the BSR or RP that it speaks of
  IpGenPrefix zone = {};            ///< of a Bootstrap message
  std::uint16_t tag = 0;            ///< likewise
  IpGenAddr expectedNeighbor = {};  ///< that leads to the BSR
  IntfId expectedIntf = {};         ///< on which it stands
  double time = 0.0;                ///< of the last one, on the log's clock
  std::uint32_t count = 1;          ///< alike but for tag and time
};

/// Whether a neighbour's copy of a known message may have been dropped so.
ROUTING_API bool mayBeEcho(const Drop& drop);

/// The last messages that were not taken in one VRF and address family, beside the counters. Those
/// that are alike are one entry, so that a stream of them does not push others out.
///
/// A neighbour's copy of a message that this router sent or has accepted is an echo: with several
/// ways between routers each hears its own messages again. Echoes are counted here and are no drop;
/// a copy that comes before the message becomes one when the message is accepted.
class ROUTING_API DropLog {
 public:
  static constexpr std::size_t kept = 20;

  /// Echoes by the check that they did not pass.
  struct Echoes {
    std::uint32_t rpf = 0;
    std::uint32_t noForward = 0;
  };

  /// Instants are 0 until there is a clock.
  void clockIs(std::function<double()> clock) { clock_ = std::move(clock); }
  void add(Drop drop);
  /// A dropped message was an echo.
  void echo(const Drop& drop);
  /// A Bootstrap message was sent or accepted: earlier copies of it were echoes.
  void known(const IpGenAddr& bsr, std::uint16_t tag);
  void clear();

  /// The oldest first.
  const std::deque<Drop>& last() const { return last_; }
  const Echoes& echoes() const { return echoes_; }
  const std::map<IntfId, std::uint32_t>& echoesByIntf() const { return echoesByIntf_; }

 private:
  void countEcho(const Drop& drop, std::uint32_t count);

  std::function<double()> clock_;
  std::deque<Drop> last_;
  Echoes echoes_;
  std::map<IntfId, std::uint32_t> echoesByIntf_;
};

}  // namespace Routing::Pim

template <>
struct Routing::EnumText<Routing::Pim::DropCode> {
  static constexpr std::array names{"malformed",       "no-pim-interface", "own-packet",
                                    "not-a-neighbor",  "interface-down",   "too-many-neighbors",
                                    "neighbor-filter", "no-rpf-neighbor",  "wrong-rpf-neighbor",
                                    "no-forward",      "unicast",          "bad-destination",
                                    "border",          "filtered",         "not-the-bsr"};
  static_assert(names.size() == static_cast<std::size_t>(Routing::Pim::DropCode::notBsr) + 1);
};
