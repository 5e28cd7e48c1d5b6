#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string_view>

#include "agent/kernel/EventLoop.h"
#include "agent/kernel/InterfaceTable.h"
#include "agent/kernel/RawSocket.h"
#include "platform/pim/PamManager.h"

namespace Routing::Agent {

/// The sockets of PIM in one VRF and family: one for the multicast of each interface, one for all
/// unicast. Each kind leaves to the other what is the other's, so that a datagram is taken in once.
/// A socket that cannot be opened, or that fails, is opened again later.
class PimSocketSet final : public Pim::PacketPort {
 public:
  using Receiver = std::function<void(const Pim::ReceivedPacket&)>;

  /// Datagrams that one socket takes in before the others have their turn.
  static constexpr unsigned datagramsPerTurn = 4 * ReceiveBuffers::most;
  static constexpr double retryDelay = 1.0;  ///< seconds

  /// Loop and interfaces must outlive the set. Raises std::system_error if the process must not
  /// open raw sockets.
  PimSocketSet(EventLoop& loop, const InterfaceTable& interfaces, const VrfName& vrf,
               AddressFamily af);

  /// Who takes datagrams in; one receiver.
  void receiverIs(Receiver receiver) { receiver_ = std::move(receiver); }

  /// Opens the socket of an interface, again if it has become another device.
  void intfIs(const IntfId& intf, std::uint32_t index);
  void intfDel(const IntfId& intf);

  bool send(const Pim::TransmitPacket& packet) override;

  /// Datagrams that the kernel has dropped since the set is there, because they came faster than
  /// they were read.
  std::uint64_t overflows() const;

 private:
  struct Endpoint {
    std::uint32_t index = 0;  // of the interface, or of the VRF's device
    RawSocket socket;
    Watch watch;
    bool open() const { return socket.fd() >= 0; }
    std::uint32_t overflows() const { return open() ? socket.overflows() : 0; }
  };

  std::uint32_t vrfIndex() const;
  void openLink(const IntfId& intf, Endpoint& link);
  void openUnicast();
  void openMissing();
  void closeFailed(Endpoint& endpoint, std::string_view name);
  void handleLink(const IntfId& intf);
  void handleUnicast();
  void close(Endpoint& endpoint);
  bool read(Endpoint& endpoint, const RawSocket::Take& take);
  bool isOwnEcho(const IntfId& intf, const IpGenAddr& source) const;
  void receiveOnLink(const IntfId& intf, const RawDatagram& datagram);
  void receiveUnicast(const RawDatagram& datagram);
  int sendOnLink(const Pim::TransmitPacket& packet);
  int sendUnicast(const Pim::TransmitPacket& packet);

  EventLoop& loop_;
  const InterfaceTable& interfaces_;
  const VrfName vrf_;
  const AddressFamily af_;
  Receiver receiver_;
  ReceiveBuffers buffers_;
  Endpoint unicast_;
  std::map<IntfId, Endpoint> links_;
  std::uint64_t pastOverflows_ = 0;  // of sockets that are closed
  Timer retryTimer_;
};

}  // namespace Routing::Agent
