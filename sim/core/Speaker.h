#pragma once

#include <memory>
#include <vector>

#include "bsr/host/BsrInstance.h"
#include "platform/pim/PimInstance.h"
#include "sim/core/Packet.h"
#include "sim/core/Random.h"
#include "sim/core/RouterConfig.h"
#include "sim/core/Topology.h"

namespace Routing::Sim {

class World;

/// PIM and the bootstrap mechanism of one router in one address family, on simulated networks. The
/// machines come and go as the router starts and stops; its status may outlive them.
class Speaker final : public Pim::PacketPort, public Pim::UnicastRouting {
 public:
  Speaker(World& world, RouterId router, AddressFamily af);
  Speaker(const Speaker&) = delete;
  Speaker& operator=(const Speaker&) = delete;
  ~Speaker() override;

  AddressFamily af() const { return af_; }
  bool running() const { return bsr_ != nullptr; }
  const std::shared_ptr<Pim::Bsr::Status>& status() const { return status_; }
  /// PIM's view of the RP set.
  const std::shared_ptr<Pim::RpCandidateStatus>& view() const { return view_; }
  const std::shared_ptr<Pim::Bsr::PimBsrLimits>& limits() const { return limits_; }
  const IpGenAddr& loopback() const { return loopback_; }
  const RouterConfig& config() const { return config_; }
  /// Both null unless running.
  Pim::PimInstance* pim() const { return pim_.get(); }
  Pim::Bsr::BsrInstance* bsr() const { return bsr_.get(); }

  /// The instant of the last start; 0 before the first.
  double startedAt() const { return startedAt_; }
  /// Builds the machines over the status as it is.
  void start(const std::shared_ptr<const Pim::AllIntfStatusDir>& dir);
  /// Ends the machines without a word to anybody.
  void halt();
  /// Empties the status, configuration excepted.
  void forget();
  void configIs(const RouterConfig& config);
  void loopbackIs(const IpGenAddr& address);
  /// Tells PIM whether a network can be used.
  void networkIs(NetworkId network, bool up);
  void receive(const Packet& packet);
  /// Whether the router has an address.
  bool owns(const IpGenAddr& address) const;

  bool send(const Pim::TransmitPacket& packet) override;
  std::vector<Pim::NextHop> nextHops(const IpGenAddr& address) const override;

 private:
  void newStatus();
  void publishAddresses();
  IpGenAddr globalAddress(NetworkId network) const;

  World& world_;
  const RouterId router_;
  const AddressFamily af_;
  Random random_;  // goes on over restarts
  IpGenAddr loopback_;
  RouterConfig config_;
  std::shared_ptr<Pim::Bsr::Status> status_;
  std::shared_ptr<Pim::RpCandidateStatus> view_;
  std::shared_ptr<Pim::Bsr::PimBsrLimits> limits_;
  std::shared_ptr<Pim::PimUcastRouteStatus> localRoutes_;
  Subscription statusChanges_;
  Subscription viewChanges_;
  double startedAt_ = 0.0;
  std::unique_ptr<Pim::PimInstance> pim_;
  std::unique_ptr<Pim::Bsr::BsrInstance> bsr_;
};

}  // namespace Routing::Sim
