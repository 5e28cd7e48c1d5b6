#pragma once

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/pim/PimInstance.h"
#include "tests/support/Octets.h"
#include "tests/support/VirtualTime.h"

// A small network in virtual time: routers that each run a PimInstance, on links that carry every
// datagram to all others on the link, at the same instant but never inside the send.

namespace Routing::TestKit {

class PimRouter;

/// One link. What is sent on it arrives in the wheel's next turn.
class PimLan {
 public:
  explicit PimLan(TimerWheel& wheel) : arrivals_(wheel, [this] { deliver(); }), wheel_(wheel) {}

  void attach(PimRouter& router, const IntfId& intf) { ends_.push_back({&router, intf}); }
  void detach(const PimRouter& router) {
    std::erase_if(ends_, [&](const End& end) { return end.router == &router; });
  }
  void carry(const PimRouter* sender, const Pim::TransmitPacket& packet);

 private:
  struct End {
    PimRouter* router;
    IntfId intf;
  };
  struct Flight {
    const PimRouter* sender;
    IpGenAddr source;
    IpGenAddr destination;
    Octets payload;
  };
  void deliver();

  Timer arrivals_;
  TimerWheel& wheel_;
  std::vector<End> ends_;
  std::deque<Flight> flights_;
};

/// A router: its PIM, the port under it, and the unicast routes that the test gives it.
class PimRouter : public Pim::PacketPort, public Pim::UnicastRouting {
 public:
  struct Sent {
    double at;
    IntfId intf;
    IpGenAddr source;
    IpGenAddr destination;
    Octets payload;
  };

  /// All its random numbers are `random`.
  PimRouter(AddressFamily af, TimerWheel& wheel, double random = 0.5,
            const Pim::HelloConfig& config = {})
      : draw(random),
        pim(
            VrfName("default"), af, *this, *this, wheel, [this] { return draw; }, config),
        wheel_(wheel) {}

  void connect(const std::string& intf, PimLan& lan) {
    lans_[IntfId(intf)] = &lan;
    lan.attach(*this, IntfId(intf));
  }
  void intfIs(const std::string& intf, const std::string& address,
              const std::set<IpGenAddr>& secondaries = {}, bool up = true) {
    pim.intfIs(IntfId(intf), addr(address), secondaries, up);
  }
  const Pim::PimInterface& intf(const std::string& name) const {
    return *pim.pimStatus()->pimIntf(IntfId(name));
  }
  /// Lets octets arrive without a link.
  void hear(const std::string& intf, const std::string& source, const std::string& destination,
            const Octets& payload) {
    pim.receive({IntfId(intf), addr(source), addr(destination), payload});
  }
  /// Encodes a message and lets it arrive; its destination is ALL-PIM-ROUTERS.
  void hear(const std::string& intf, const std::string& source, const Pim::PimMessage& message);
  std::uint32_t dropped(const std::string& reason) const {
    const auto* count = pim.pamManager()->counters()->rxDropped(reason);
    return count == nullptr ? 0 : *count;
  }
  /// All that was sent since the last call, one line each: "TIME INTF SOURCE MESSAGE".
  std::vector<std::string> sentLines();

  bool send(const Pim::TransmitPacket& packet) override;
  std::vector<Pim::NextHop> nextHops(const IpGenAddr& address) const override {
    const auto it = routes.find(address);
    return it == routes.end() ? std::vector<Pim::NextHop>{} : it->second;
  }

  double draw;        ///< what the random source gives
  bool mute = false;  ///< sending fails
  std::vector<Sent> sent;
  std::map<IpGenAddr, std::vector<Pim::NextHop>> routes;
  Pim::PimInstance pim;

 private:
  TimerWheel& wheel_;
  std::map<IntfId, PimLan*> lans_;
};

/// Clock and wheel of a test, in the order in which they must die.
struct VirtualWorld {
  VirtualClock clock;
  TimerWheel wheel{clock};
  void runUntil(double instant) { TestKit::runUntil(clock, wheel, instant); }
};

}  // namespace Routing::TestKit
