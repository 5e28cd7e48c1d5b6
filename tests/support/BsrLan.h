#pragma once

#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/BsrRouter.h"

// Routers with the whole mechanism and real Hellos on one link in virtual time.

namespace Routing::TestKit {

class BsrLan;

/// A router on a BsrLan, by its interface eth0. It is reached while it stands on the same island as
/// the sender; islands are the parts that a broken link falls into.
class LanRouter : public BsrRouter {
 public:
  LanRouter(BsrLan& lan, TimerWheel& wheel, std::string address, double random);

  const std::string address;
  int island = 0;

  /// Leaves for an island of its own, without a word.
  void die() { island = -1 - island; }
  bool send(const Pim::TransmitPacket& packet) override;

 private:
  BsrLan& lan_;
};

/// The link. What is sent arrives in the wheel's next turn, never inside the send: multicast at all
/// others, unicast at the router that has the address.
class BsrLan {
 public:
  explicit BsrLan(TimerWheel& wheel) : wheel_(wheel), arrivals_(wheel, [this] { deliver(); }) {}

  /// A router that all others can route to; its first Hello leaves after `random` times 5 s.
  LanRouter& add(const std::string& address, double random = 0.5);
  const std::vector<std::unique_ptr<LanRouter>>& routers() const { return routers_; }
  void carry(const LanRouter& sender, const Pim::TransmitPacket& packet);

 private:
  struct Flight {
    const LanRouter* sender;
    IpGenAddr source;
    IpGenAddr destination;
    Octets payload;
  };
  void deliver();

  TimerWheel& wheel_;
  Timer arrivals_;
  std::vector<std::unique_ptr<LanRouter>> routers_;
  std::deque<Flight> flights_;
};

}  // namespace Routing::TestKit
