#pragma once

#include "platform/entity/Schema.h"
#include "platform/net/IntfId.h"
#include "platform/net/IpGenAddr.h"
#include "platform/net/VrfName.h"

namespace Routing::Pim {

/// A neighbour on an interface, keyed by the source address of its Hellos (RFC 7761 section 4.3).
/// `expiryTime` is absolute seconds, infinite for a hold time of 65535. `drPriorityPresent` and
/// `generationIdPresent` tell whether the option was in its last Hello.
#define ROUTING_PIM_NEIGHBOR(ATTR)                \
  ATTR(VALUE, setupTime, double, 0.0)             \
  ATTR(VALUE, expiryTime, double, 0.0)            \
  ATTR(VALUE, holdtime, std::uint16_t, 0)         \
  ATTR(VALUE, drPriority, std::uint32_t, 1)       \
  ATTR(VALUE, drPriorityPresent, bool, false)     \
  ATTR(VALUE, generationId, std::uint32_t, 0)     \
  ATTR(VALUE, generationIdPresent, bool, false)   \
  ATTR(VALUE, lanPruneDelayPresent, bool, false)  \
  ATTR(VALUE, tBit, bool, false)                  \
  ATTR(VALUE, propagationDelay, std::uint16_t, 0) \
  ATTR(VALUE, overrideInterval, std::uint16_t, 0) \
  ATTR(SET, secondaryAddress, IpGenAddr)

class ROUTING_API PimNeighbor : public Entity {
  ROUTING_KEY(PimNeighbor, IpGenAddr, address)
  ROUTING_ENTITY(PimNeighbor, ROUTING_PIM_NEIGHBOR)
};

/// An interface on which PIM runs, for one address family. `address` is the source of this router's
/// Hellos (IPv6: link-local), `usedDr` the address of the designated router in force and `isDr`
/// whether that is this router. `triggeredHelloDue` holds from when a neighbour appeared or
/// restarted until the Hello that answers it was sent or the interface stopped; then it falls, and
/// `triggeredHelloSent` rises by one if the Hello was sent. Where `helloPassive` holds, another
/// program of this router sends the Hellos: its triggered one is taken as sent after the longest
/// delay, and `drPriority` and `generationId` are what it announces, once it is heard.
#define ROUTING_PIM_INTERFACE(ATTR)           \
  ATTR(VALUE, up, bool, false)                \
  ATTR(VALUE, address, IpGenAddr, {})         \
  ATTR(SET, secondaryAddress, IpGenAddr)      \
  ATTR(VALUE, drPriority, std::uint32_t, 1)   \
  ATTR(VALUE, generationId, std::uint32_t, 0) \
  ATTR(VALUE, helloPassive, bool, false)      \
  ATTR(VALUE, usedDr, IpGenAddr, {})          \
  ATTR(VALUE, isDr, bool, false)              \
  ATTR(VALUE, triggeredHelloDue, bool, false) \
  ATTR(COUNTER, triggeredHelloSent)           \
  ATTR(COLLECTION, neighbor, Neighbor, IpGenAddr, PimNeighbor)

class ROUTING_API PimInterface : public Entity {
  ROUTING_KEY(PimInterface, IntfId, intfId)
  ROUTING_ENTITY(PimInterface, ROUTING_PIM_INTERFACE)

 public:
  /// The neighbour that has this address, as primary or by its address list; null if none has.
  std::shared_ptr<PimNeighbor> neighborOf(const IpGenAddr& address) const;
  /// Whether PIM runs on it: it is up and has an address.
  bool running() const { return up() && !address().isUnset(); }
  /// Whether this router has the address on this interface, as primary or secondary.
  bool hasAddress(const IpGenAddr& other) const {
    return other == address() || secondaryAddress(other);
  }
  /// Writes `usedDr` and `isDr` as one change: reactors of either, first those of `usedDr`, find
  /// both new values.
  void drIs(const IpGenAddr& dr, bool own);
};

/// The PIM agent's status in one VRF and address family.
#define ROUTING_PIM_STATUS(ATTR) ATTR(COLLECTION, pimIntf, PimIntf, IntfId, PimInterface)

class ROUTING_API PimStatus : public Entity {
  ROUTING_KEY(PimStatus, VrfName, vrfName)
  ROUTING_ENTITY(PimStatus, ROUTING_PIM_STATUS)
};

}  // namespace Routing::Pim
