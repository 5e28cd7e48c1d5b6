#pragma once

#include <string_view>
#include <vector>

#include "sim/core/Packet.h"

namespace Routing::Sim {

/// Watches a world. The calls come while events run; an observer changes nothing.
class WorldObserver {
 public:
  virtual ~WorldObserver() = default;
  /// A router has put a packet on a network.
  virtual void transmitted(const Packet& /*packet*/) {}
  /// A router is about to take a packet in, or to pass it on.
  virtual void delivering(const Packet& /*packet*/, RouterId /*to*/) {}
  /// A packet did not make it: "loss", "down", "ttl", "no-route".
  virtual void lost(const Packet& /*packet*/, RouterId /*to*/, std::string_view /*why*/) {}
  /// Something was done to the network or its configuration.
  virtual void disturbed(std::string_view /*what*/) {}
  /// An event is over; the state of these routers was written to.
  virtual void settled(const std::vector<RouterId>& /*touched*/) {}
  /// An event ended with an error that nobody caught.
  virtual void broken(std::string_view /*what*/) {}
};

}  // namespace Routing::Sim
