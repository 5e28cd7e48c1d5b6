// Four routers in a line, in one process and in virtual time: the smallest host of the library.
//
//     BSR - - host --- r1 --- r2 --- r3 --- r4
//
// Each router gives the library four things: a way out for packets, next hops, its interfaces with
// their MTUs, and a clock. The host at the left replays captured Bootstrap messages that another
// encoder made; the router at the right says what it has learned.

#include <deque>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bsr/host/BsrInstance.h"
#include "platform/pim/PimInstance.h"
#include "platform/pim/rp/RpSetDigest.h"
#include "tests/support/Pcap.h"

namespace Routing {
namespace {

const IntfId left("left");
const IntfId right("right");

/// What the replayed frames and the routers' addresses look like in one family.
struct Family {
  AddressFamily af;
  std::string suffix;  // of the capture files
  IpGenAddr host;      // source of the frames
  IpGenAddr group;

  // The end that looks right is ".2", as the host at the far left is; the other one ".1".
  IpGenAddr onLink(unsigned link, bool looksRight) const {
    const unsigned number = (link << 8) + (looksRight ? 2 : 1);
    return af == AddressFamily::ipv4 ? IpGenAddr::v4(0x0a000000 + number)
                                     : IpGenAddr::v6(0xfe80000000000000, number);
  }
};

/// One router. Packets that it sends wait in the line's queue until the sender has returned.
class Router final : public Pim::PacketPort, public Pim::UnicastRouting {
 public:
  struct Packet {
    Router* from;
    IntfId intf;
    IpGenAddr source;
    IpGenAddr destination;
    std::vector<std::uint8_t> octets;
  };

  Router(const Family& family, unsigned position, TimerWheel& wheel, std::deque<Packet>& queue)
      : queue_(queue),
        towardsBsr_(position == 0 ? family.host : family.onLink(position, true)),
        pim_(vrf_, family.af, *this, *this, wheel, [] { return 0.0; }) {
    interfaceIs(left, family.onLink(position, false));
    interfaceIs(right, family.onLink(position + 1, true));
    inputs_.status = std::make_shared<Pim::Bsr::Status>(vrf_);
    inputs_.status->afIs(family.af);
    inputs_.status->bsTimeoutIs(130);
    inputs_.status->szTimeoutIs(1300);
    inputs_.status->countersIs("counters");
    inputs_.pimStatus = pim_.pimStatus();
    inputs_.pamManager = pim_.pamManager();
    inputs_.ucastRouteStatus = std::make_shared<Pim::PimUcastRouteStatus>(family.af);
    inputs_.allIntfStatusDir = interfaces_;
    inputs_.rpCandidateStatus = std::make_shared<Pim::RpCandidateStatus>(vrf_);
    inputs_.limits = std::make_shared<Pim::Bsr::PimBsrLimits>();
    inputs_.timerWheel = &wheel;
    bsr_ = std::make_unique<Pim::Bsr::BsrInstance>(inputs_);
  }

  void receive(const IntfId& intf, const IpGenAddr& source, const IpGenAddr& destination,
               const std::vector<std::uint8_t>& octets) {
    pim_.receive({intf, source, destination, octets});
  }
  const Pim::Bsr::Status& status() const { return *inputs_.status; }
  const Pim::RpCandidateStatus& rps() const { return *inputs_.rpCandidateStatus; }

  bool send(const Pim::TransmitPacket& packet) override {
    queue_.push_back({this,
                      packet.intf,
                      packet.source,
                      packet.destination,
                      {packet.payload.begin(), packet.payload.end()}});
    return true;
  }
  // Whatever the BSR's address is, it lies at the left end.
  std::vector<Pim::NextHop> nextHops(const IpGenAddr&) const override {
    return {{left, towardsBsr_}};
  }

 private:
  void interfaceIs(const IntfId& intf, const IpGenAddr& address) {
    interfaces_->newIntfStatus(intf)->upIs(true);
    interfaces_->newIntfStatus(intf)->mtuIs(1500);
    pim_.intfIs(intf, address, {}, true);
  }

  const VrfName vrf_{std::string(VrfName::defaultName)};
  std::deque<Packet>& queue_;
  IpGenAddr towardsBsr_;
  std::shared_ptr<Pim::AllIntfStatusDir> interfaces_ = std::make_shared<Pim::AllIntfStatusDir>();
  Pim::PimInstance pim_;
  Pim::Bsr::BsrInputs inputs_;
  std::unique_ptr<Pim::Bsr::BsrInstance> bsr_;
};

/// The routers, the links between them and the time they share.
class Line {
 public:
  Line(const Family& family, unsigned length) {
    for (unsigned i = 0; i < length; ++i) {
      routers_.push_back(std::make_unique<Router>(family, i, wheel_, queue_));
    }
  }

  /// Replays the first frame of a capture into the left end.
  void replay(const std::string& file) {
    const auto frames = TestKit::pimIn(TestKit::ownCapture(file));
    if (frames.empty()) return;
    const auto& frame = frames.front();
    routers_.front()->receive(left, frame.source, frame.destination, frame.octets);
    deliver();
  }
  void runUntil(double instant) {
    while (wheel_.nextExpiry() <= instant) {
      clock_.nowIs(wheel_.nextExpiry());
      wheel_.fireDue();
      deliver();
    }
    clock_.nowIs(instant);
  }
  const Router& last() const { return *routers_.back(); }

 private:
  void deliver() {
    while (!queue_.empty()) {
      const Router::Packet packet = std::move(queue_.front());
      queue_.pop_front();
      for (std::size_t i = 0; i < routers_.size(); ++i) {
        if (routers_[i].get() != packet.from) continue;
        const bool toRight = packet.intf == right;
        if (toRight ? i + 1 == routers_.size() : i == 0) continue;  // the ends are open
        Router& next = *routers_[toRight ? i + 1 : i - 1];
        next.receive(toRight ? left : right, packet.source, packet.destination, packet.octets);
      }
    }
  }

  VirtualClock clock_;
  TimerWheel wheel_{clock_};
  std::deque<Router::Packet> queue_;
  std::vector<std::unique_ptr<Router>> routers_;
};

// False if the far end did not learn what was replayed.
bool show(const Family& family) {
  Line line(family, 4);
  line.replay("hello-" + family.suffix + ".pcap");
  line.runUntil(1.0);  // the routers' own first Hellos
  line.replay("bsm-" + family.suffix + "-global.pcap");

  const Router& far = line.last();
  const auto& bsr = far.status().bootstrapRouter(IpGenPrefix::multicast(family.af));
  const auto all = Pim::rpMappings(far.rps());
  if (!bsr || all.empty()) {
    std::cout << "r4 knows no BSR\n";
    return false;
  }
  std::cout << "r4: BSR " << bsr->ipAddr() << ", priority " << bsr->priority()
            << ", hash mask length " << bsr->hashMaskLen() << '\n';
  for (const auto& mapping : all) {
    std::cout << "r4: " << mapping.groupRange << " -> RP " << mapping.rp << ", priority "
              << mapping.priority << (mapping.mode == 2 ? ", bidirectional" : "") << '\n';
  }
  const Pim::RpChoice choice = Pim::selectRp(family.group, all);
  std::cout << "r4: group " << family.group << " is served by "
            << (choice.rp ? choice.rp->rp.text() : "nobody") << " (" << choice.reason() << ")\n\n";
  return choice.rp.has_value();
}

}  // namespace
}  // namespace Routing

int main() {
  using Routing::AddressFamily;
  using Routing::IpGenAddr;
  std::cout << "    BSR - - host --- r1 --- r2 --- r3 --- r4\n\n";
  const bool v4 = Routing::show(
      {AddressFamily::ipv4, "v4", IpGenAddr::v4(0x0a000002), IpGenAddr::v4(0xef010203)});
  const bool v6 = Routing::show({AddressFamily::ipv6, "v6", IpGenAddr::v6(0xfe80000000000000, 2),
                                 IpGenAddr::v6(0xff05000000000000, 0x10003)});
  if (!v4 || !v6) return 1;
  std::cout << "Bootstrap messages that another program encoded went in at the left end.\n"
               "Four routers checked them, installed the RP set and passed them on, for IPv4 and\n"
               "IPv6; what you see is what the last one knows.\n";
  return 0;
}
