#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "bsr/host/BsrInstance.h"
#include "config/entities/ConfigEntities.h"
#include "config/judge/PermittedLists.h"
#include "platform/pim/PimInstance.h"
#include "sim/core/Duties.h"
#include "sim/core/Packet.h"
#include "sim/core/Random.h"
#include "sim/core/Topology.h"
#include "sim/core/UnicastRoutes.h"

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
  /// What the configuration and the addresses make of it.
  const Duties& duties() const { return duties_; }
  /// What another configuration would make of it; it must speak of the family.
  Duties dutiesBy(const Agent::DaemonConfig& config) const;
  /// Both null unless running.
  Pim::PimInstance* pim() const { return pim_.get(); }
  Pim::Bsr::BsrInstance* bsr() const { return bsr_.get(); }

  /// The instant of the last start; 0 before the first.
  double startedAt() const { return startedAt_; }
  /// Builds the machines over the status as it is.
  void start(const std::shared_ptr<const Pim::AllIntfStatusDir>& dir,
             const Agent::ConfigEntities& entities);
  /// Ends the machines without a word to anybody.
  void halt();
  /// Empties the status.
  void forget();
  /// Follows the configuration of its router in what no entity says: on which interfaces PIM runs
  /// and how, and the limits.
  void handleConfig();

  /// The address of an interface that leads to no network, such as "lo"; unset if it has none.
  IpGenAddr address(const IntfId& intf) const;
  /// Unset takes it away.
  void addressIs(const IntfId& intf, const IpGenAddr& address);
  /// The address of "lo".
  IpGenAddr loopback() const;
  /// The event is over in which the router was touched.
  void settled();
  /// Tells the machines whether a network can be used.
  void networkIs(NetworkId network, bool up);
  void receive(const Packet& packet);
  /// The network that an interface leads to; none for the name of no such interface.
  std::optional<NetworkId> networkOn(const IntfId& intf) const;
  /// Whether the router has an address.
  bool owns(const IpGenAddr& address) const;

  bool send(const Pim::TransmitPacket& packet) override;
  std::vector<Pim::NextHop> nextHops(const IpGenAddr& address) const override;
  void nextHopsInto(const IpGenAddr& address, std::vector<Pim::NextHop>& hops) const override;

 private:
  /// An interface that leads to a network.
  struct Port {
    NetworkId network;
    std::uint32_t hash;  // of the interface's name
    bool pim = false;    // PIM runs on it
  };

  const Agent::FamilySettings& settings() const;
  Pim::Bsr::BsrInputs inputs(const std::shared_ptr<const Pim::AllIntfStatusDir>& dir,
                             const Agent::ConfigEntities& entities);
  void watch();
  void changed();
  void publishAddresses();
  void refreshDuties();
  IpGenAddr globalAddress(NetworkId network) const;
  IpGenAddr gateway(const Hop& hop) const;
  const IntfId& intfOn(NetworkId network) const;
  Port& portOn(NetworkId network);
  void helloConfigIs(const IntfId& intf, const Agent::InterfaceSettings& settings,
                     Agent::PermittedLists& lists);
  void pimIntfIs(NetworkId network, bool up);

  World& world_;
  const RouterId router_;
  const AddressFamily af_;
  std::unique_ptr<Pim::PimInstance> pim_;  // stands here for the sake of packets
  std::vector<Port> ports_;                // in the order in which they were attached
  Random random_;                          // goes on over restarts
  Addresses addresses_;
  Duties duties_;
  std::shared_ptr<Pim::Bsr::Status> status_;
  std::shared_ptr<Pim::RpCandidateStatus> view_;
  std::shared_ptr<Pim::Bsr::PimBsrLimits> limits_;
  std::shared_ptr<Pim::PimUcastRouteStatus> localRoutes_;
  double startedAt_ = 0.0;
  bool ownHellos_ = false;  // some interface was told how its Hellos are
  std::shared_ptr<SourceIntfSm> sources_;
  std::unique_ptr<Pim::Bsr::BsrInstance> bsr_;
  Subscription statusChanges_;  // both to the first change of an event, and none at the very end
  Subscription viewChanges_;
};

}  // namespace Routing::Sim
