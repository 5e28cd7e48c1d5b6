#pragma once

#include <functional>
#include <map>
#include <memory>
#include <span>
#include <vector>

#include "platform/Export.h"
#include "platform/pim/DropLog.h"
#include "platform/pim/MessageInfo.h"
#include "platform/pim/PimMessageCounters.h"
#include "platform/pim/PimRpfTable.h"
#include "platform/pim/PimStatus.h"
#include "platform/pim/wire/BootstrapMessage.h"
#include "platform/pim/wire/CrpAdvMessage.h"
#include "platform/pim/wire/HelloMessage.h"

namespace Routing::Pim {

/// A received PIM datagram: its payload and where it came from.
struct ReceivedPacket {
  IntfId intf;  ///< arrival interface; empty for unicast that is not tied to one
  IpGenAddr source;
  IpGenAddr destination;
  std::span<const std::uint8_t> payload;
};

/// A PIM datagram to send. An empty interface means that the destination is routed.
struct TransmitPacket {
  IntfId intf;
  IpGenAddr source;
  IpGenAddr destination;
  std::span<const std::uint8_t> payload;
};

/// What crossed one interface.
struct InterfaceTally {
  std::uint32_t rxHello = 0;
  std::uint32_t rxBootstrap = 0;
  std::uint32_t rxCrpAdv = 0;
  std::uint32_t rxDropped = 0;  ///< by the packet layer
  std::uint32_t txHello = 0;
  std::uint32_t txBootstrap = 0;
  std::uint32_t txError = 0;
};

/// The way out of the packet layer: sockets, a simulated link, a test.
class ROUTING_API PacketPort {
 public:
  virtual ~PacketPort() = default;
  /// False if the packet could not be sent. The payload is valid during the call only. What the
  /// packet brings back is for the event loop: PamManager::receive must not be called from here.
  virtual bool send(const TransmitPacket& packet) = 0;
};

/// The PIM packet layer of one VRF and address family: octets on one side, message infos on the
/// other. What is malformed, or a Bootstrap message whose source is no PIM neighbour on the arrival
/// interface (RFC 5059 section 3.1.3), is dropped here, counted by reason and traced under
/// "Pim::Packet".
class ROUTING_API PamManager : public std::enable_shared_from_this<PamManager> {
 public:
  using HelloReceiver = std::function<void(const PimInterface&, const HelloMessage&)>;

  /// `port` must outlive the manager.
  PamManager(AddressFamily af, std::shared_ptr<const PimStatus> pimStatus,
             std::shared_ptr<PimRpfTable> rpfTable, PacketPort& port);
  PamManager(const PamManager&) = delete;
  PamManager& operator=(const PamManager&) = delete;
  /// Whoever still holds a transmit info can send nothing any more.
  ~PamManager();

  const VrfName& vrfName() const { return pimStatus_->vrfName(); }
  const std::shared_ptr<PimRpfTable>& rpfTable() const { return rpfTable_; }
  const std::shared_ptr<MessageInfo>& bsmRxInfo() const { return bsmRxInfo_; }
  const std::shared_ptr<MessageInfo>& bsmTxInfo() const { return bsmTxInfo_; }
  const std::shared_ptr<MessageInfo>& crpRxInfo() const { return crpRxInfo_; }
  const std::shared_ptr<MessageInfo>& crpTxInfo() const { return crpTxInfo_; }
  const std::shared_ptr<PimMessageCounters>& counters() const { return counters_; }
  /// The last messages that were dropped here, or by readers of messages, which add theirs.
  DropLog& drops() { return drops_; }
  const DropLog& drops() const { return drops_; }
  /// Since the last clearTallies(), of interfaces on which PIM ran meanwhile.
  const std::map<IntfId, InterfaceTally>& tallies() const { return tallies_; }
  void clearTallies() {
    counted_.clear();
    tallies_.clear();
  }
  /// Counts and notes a Hello that its receiver did not take.
  void helloRefused(const IntfId& intf, const IpGenAddr& source, DropCode code);

  /// Who takes decoded Hellos; one receiver.
  void helloReceiverIs(HelloReceiver receiver) { helloReceiver_ = std::move(receiver); }

  /// Takes one datagram in; never raises for what the octets say.
  void receive(const ReceivedPacket& packet);
  /// Sends a Hello from the interface's address to ALL-PIM-ROUTERS. False if it could not be sent.
  bool sendHello(const std::shared_ptr<PimInterface>& intf, const HelloMessage& hello);

 private:
  /// Where an interface is counted, found without its name.
  struct Counted {
    std::shared_ptr<PimInterface> intf;
    InterfaceTally* tally;
  };

  void drop(const ReceivedPacket& packet, DropCode code, std::string_view reason,
            DropReason fault = {});
  void drop(const ReceivedPacket& packet, DropReason fault);
  void drop(const ReceivedPacket& packet, DropCode code) { drop(packet, code, enumName(code)); }
  /// Null for an interface without PIM.
  InterfaceTally* tally(const IntfId& intf);
  InterfaceTally& tally(const std::shared_ptr<PimInterface>& intf);
  InterfaceTally& newCounted(const std::shared_ptr<PimInterface>& intf);
  const std::shared_ptr<PimInterface>& current(const std::shared_ptr<PimInterface>& intf) const;
  void deliver(const ReceivedPacket& packet, const std::shared_ptr<HelloMessage>& hello);
  void deliver(const ReceivedPacket& packet, const std::shared_ptr<BootstrapMessage>& bsm);
  void deliver(const ReceivedPacket& packet, const std::shared_ptr<CrpAdvMessage>& adv);
  static void publish(MessageInfo& info, const ReceivedPacket& packet,
                      const std::shared_ptr<PimMessage>& message);
  bool sendBsm(const MessageInfo& info);
  bool sendCrpAdv(const MessageInfo& info);
  bool sendOnLink(const std::shared_ptr<PimInterface>& intf, const PimMessage& message);
  bool send(const IntfId& intf, const PimMessage& message, const IpGenAddr& source,
            const IpGenAddr& destination);
  static std::uint64_t contentOf(const PimMessage& message);

  AddressFamily af_;
  std::shared_ptr<const PimStatus> pimStatus_;
  std::shared_ptr<PimRpfTable> rpfTable_;
  PacketPort& port_;
  std::shared_ptr<PimMessageCounters> counters_;
  std::shared_ptr<MessageInfo> bsmRxInfo_;
  std::shared_ptr<MessageInfo> bsmTxInfo_;
  std::shared_ptr<MessageInfo> crpRxInfo_;
  std::shared_ptr<MessageInfo> crpTxInfo_;
  HelloReceiver helloReceiver_;
  DropLog drops_;
  std::map<IntfId, InterfaceTally> tallies_;
  std::vector<Counted> counted_;      // by the address of the interface
  std::vector<std::uint8_t> octets_;  // the last packet, and room for the next one
  std::uint64_t content_ = 0;         // BootstrapMessage::content() of octets_, else 0
};

}  // namespace Routing::Pim
