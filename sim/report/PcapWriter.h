#pragma once

#include <fstream>
#include <string>

#include "sim/core/World.h"

namespace Routing::Sim {

/// Writes every packet as it is put on a network: a classic pcap with Ethernet frames. The first
/// octets of a MAC address are 02:00, the last four the router's number.
class PcapWriter final : public WorldObserver {
 public:
  /// Starts to observe the world.
  PcapWriter(World& world, const std::string& file);

  /// False if something could not be written.
  bool good();
  void transmitted(const Packet& packet) override;

 private:
  std::ofstream out_;
};

}  // namespace Routing::Sim
