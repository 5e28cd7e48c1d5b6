#pragma once

#include <map>
#include <memory>
#include <set>
#include <vector>

#include "bsr/host/BsrInstance.h"
#include "platform/pim/PimInstance.h"
#include "platform/pim/wire/IpDatagram.h"

namespace Routing::Sim {

/// A router in one family that stands on a link of which somebody else has made a capture: it hears
/// what was heard there, and what it says itself nobody hears. It has the neighbours that speak of
/// BSRs, whether their Hellos are in the capture or not, and the way to a BSR leads over the one
/// that spoke of it first.
class ReplayRouter final : private Pim::PacketPort, private Pim::UnicastRouting {
 public:
  /// The wheel must outlive the router.
  ReplayRouter(AddressFamily af, TimerWheel& wheel);

  AddressFamily af() const { return pim_.af(); }
  /// Takes in what was heard, whatever its octets are.
  void hear(const Pim::IpPayload& packet);

  std::uint64_t heard() const { return heard_; }
  const Pim::Bsr::Status& status() const { return *bsr_.inputs().status; }
  const Pim::RpCandidateStatus& rpSet() const { return *bsr_.inputs().rpCandidateStatus; }
  const Pim::PimMessageCounters& messages() const { return *pim_.pamManager()->counters(); }

 private:
  bool send(const Pim::TransmitPacket&) override { return true; }
  std::vector<Pim::NextHop> nextHops(const IpGenAddr& address) const override;

  Pim::Bsr::BsrInputs inputs(TimerWheel& wheel) const;
  void learn(const Pim::IpPayload& packet);
  void greet(const IpGenAddr& neighbor);

  std::map<IpGenAddr, IpGenAddr> wayTo_;  // neighbours by BSR
  std::uint64_t heard_ = 0;
  Pim::PimInstance pim_;
  Pim::Bsr::BsrInstance bsr_;
};

}  // namespace Routing::Sim
