#pragma once

#include <map>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "platform/RandomSource.h"
#include "platform/pim/PamManager.h"
#include "platform/pim/PimRpfTable.h"
#include "platform/pim/PimStatus.h"
#include "platform/pim/hello/HelloConfig.h"
#include "platform/pim/hello/HelloSm.h"
#include "platform/time/TimerWheel.h"

namespace Routing::Pim {

/// What a router needs of PIM itself in one VRF and address family: interfaces that send Hellos,
/// neighbours, designated routers, RPF lookup and the packet layer. The host tells it of its
/// interfaces and brings it datagrams; it hands datagrams out through the packet port. Reactors of
/// what it keeps may delete interfaces, and the instance itself.
class ROUTING_API PimInstance {
 public:
  /// `routing`, `port` and `wheel` must outlive the instance; `routing` and `port` also whoever
  /// shares its packet layer or RPF table.
  PimInstance(const VrfName& vrf, AddressFamily af, const UnicastRouting& routing, PacketPort& port,
              TimerWheel& wheel, RandomSource random, const HelloConfig& config = {});
  PimInstance(const PimInstance&) = delete;
  PimInstance& operator=(const PimInstance&) = delete;
  /// Sends nothing and leaves the status as it is.
  ~PimInstance();

  AddressFamily af() const { return af_; }
  const std::shared_ptr<PimStatus>& pimStatus() const { return pimStatus_; }
  const std::shared_ptr<PimRpfTable>& rpfTable() const { return rpfTable_; }
  const std::shared_ptr<PamManager>& pamManager() const { return pamManager_; }

  /// Creates or updates a PIM interface; see HelloSm::intfIs. An address that is not a unicast
  /// address of the instance's family counts as none.
  void intfIs(const IntfId& intf, const IpGenAddr& address, const std::set<IpGenAddr>& secondaries,
              bool up);
  /// Says goodbye on the interface and removes it; an absent one is ignored.
  void intfDel(const IntfId& intf);

  /// Hellos of one interface instead of as configured for all; may be set before the interface
  /// exists and outlives it.
  void helloConfigIs(const IntfId& intf, const HelloConfig& config);
  /// The same for the DR priority alone.
  void drPriorityIs(const IntfId& intf, std::uint32_t priority);
  /// Back to the priority of all interfaces.
  void drPriorityDel(const IntfId& intf);

  /// Forgets all neighbours; see HelloSm::forgetNeighbors().
  void forgetNeighbors();
  /// Forgets the neighbours of this address; see HelloSm::forgetNeighbor(). How many they were: an
  /// IPv6 link-local address may stand on several links.
  std::size_t forgetNeighbor(const IpGenAddr& neighbor);
  /// Takes one datagram in; never raises for what the octets say.
  void receive(const ReceivedPacket& packet) { pamManager_->receive(packet); }
  /// Says goodbye on every interface. An interface then sends no Hello until it stops and starts
  /// again; neighbours stay, so that other messages may still be sent and received.
  void shutdown();

 private:
  /// The Hello machines, by the names of their interfaces, and by where those are in memory: who
  /// has an interface compares no names.
  class Machines {
   public:
    using ByName = std::map<IntfId, std::shared_ptr<HelloSm>>;

    /// Null if there is none.
    std::shared_ptr<HelloSm> of(const IntfId& intf) const;
    std::shared_ptr<HelloSm> of(const PimInterface& intf) const;
    void insert(const std::shared_ptr<HelloSm>& sm);
    void erase(const IntfId& intf);
    const ByName& byName() const { return byName_; }

   private:
    using Place = std::pair<const PimInterface*, std::shared_ptr<HelloSm>>;

    ByName byName_;
    std::vector<Place> byIntf_;
  };

  std::shared_ptr<HelloSm> helloSm(const IntfId& intf);
  const HelloConfig& helloConfig(const IntfId& intf) const;
  void handleHello(const PimInterface& intf, const HelloMessage& hello);

  const AddressFamily af_;
  TimerWheel& wheel_;
  const std::shared_ptr<RandomSource> random_;
  const HelloConfig config_;
  const std::shared_ptr<PimStatus> pimStatus_;
  const std::shared_ptr<PimRpfTable> rpfTable_;
  const std::shared_ptr<PamManager> pamManager_;
  std::map<IntfId, HelloConfig> helloConfig_;  // where it is not that of all interfaces
  const std::shared_ptr<Machines> machines_ = std::make_shared<Machines>();
};

}  // namespace Routing::Pim
