#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "agent/kernel/NetlinkMessages.h"
#include "agent/kernel/NetlinkSocket.h"

namespace Routing::Agent {

/// Where answers to route look-ups come from.
class RouteSource {
 public:
  virtual ~RouteSource() = default;
  /// The next hops that the host's routes give for an address, in the VRF of device `vrfIndex`
  /// (0: outside of VRFs); empty if it is not forwarded to. None if there was no answer.
  virtual std::optional<std::vector<RouteHop>> hops(const IpGenAddr& address,
                                                    std::uint32_t vrfIndex) = 0;
};

/// Asks the kernel, and waits for the answer, which it gives without delay.
class RouteQuery final : public RouteSource {
 public:
  std::optional<std::vector<RouteHop>> hops(const IpGenAddr& address,
                                            std::uint32_t vrfIndex) override;

 private:
  struct Answer {
    bool received = false;
    std::optional<std::vector<RouteHop>> hops;
  };

  Answer ask(const IpGenAddr& address, std::uint32_t vrfIndex, unsigned flags);

  NetlinkSocket socket_;
};

}  // namespace Routing::Agent
