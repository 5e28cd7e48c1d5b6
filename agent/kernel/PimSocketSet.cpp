#include "agent/kernel/PimSocketSet.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "platform/trace/Trace.h"

namespace Routing::Agent {
namespace {

TraceHandle socketTrace("Agent::Socket");

std::string errorText(int error) {
  return std::generic_category().message(error);
}

}  // namespace

PimSocketSet::PimSocketSet(EventLoop& loop, const InterfaceTable& interfaces, const VrfName& vrf,
                           AddressFamily af)
    : loop_(loop),
      interfaces_(interfaces),
      vrf_(vrf),
      af_(af),
      retryTimer_(loop.timerWheel(), [this] { openMissing(); }) {
  openUnicast();
}

std::uint32_t PimSocketSet::vrfIndex() const {
  if (vrf_.text() == VrfName::defaultName) return 0;
  const Interface* device = interfaces_.interface(IntfId(vrf_.text()));
  return device == nullptr ? 0 : device->link.index;
}

void PimSocketSet::openUnicast() {
  unicast_.index = vrfIndex();
  unicast_.socket = RawSocket::unicast(af_, unicast_.index);
  unicast_.watch = loop_.whenReadable(unicast_.socket.fd(), [this] { handleUnicast(); });
}

void PimSocketSet::intfIs(const IntfId& intf, std::uint32_t index) {
  Endpoint& link = links_[intf];
  if (link.open() && link.index == index) return;
  close(link);
  link.index = index;
  openLink(intf, link);
}

void PimSocketSet::intfDel(const IntfId& intf) {
  const auto link = links_.find(intf);
  if (link == links_.end()) return;
  close(link->second);
  links_.erase(link);
}

void PimSocketSet::close(Endpoint& endpoint) {
  pastOverflows_ += endpoint.overflows();
  endpoint = {};
}

void PimSocketSet::openLink(const IntfId& intf, Endpoint& link) try {
  link.socket = RawSocket::onLink(af_, link.index);
  link.watch = loop_.whenReadable(link.socket.fd(), [this, intf] { handleLink(intf); });
  ROUTING_TRACE(socketTrace, 4, vrf_, " Opened the socket of ", intf, " (", link.index, ")");
} catch (const std::system_error& error) {
  ROUTING_TRACE(socketTrace, 1, vrf_, " No socket for ", intf, ": ", error.what());
  retryTimer_.expiryInIs(retryDelay);
}

void PimSocketSet::openMissing() {
  for (auto& [intf, link] : links_) {
    if (!link.open()) openLink(intf, link);
  }
  if (unicast_.open()) return;
  retryTimer_.expiryInIs(retryDelay);  // in case that the next line throws
  openUnicast();
}

void PimSocketSet::closeFailed(Endpoint& endpoint, std::string_view name) {
  ROUTING_TRACE(socketTrace, 1, vrf_, " The socket of ", name, " failed");
  const std::uint32_t index = endpoint.index;
  close(endpoint);
  endpoint.index = index;
  retryTimer_.expiryInIs(retryDelay);
}

void PimSocketSet::handleLink(const IntfId& intf) {
  Endpoint& link = links_.at(intf);
  const auto take = [&](const RawDatagram& datagram) { receiveOnLink(intf, datagram); };
  if (!read(link, take)) closeFailed(link, intf.text());
}

void PimSocketSet::handleUnicast() {
  const auto take = [this](const RawDatagram& datagram) { receiveUnicast(datagram); };
  if (!read(unicast_, take)) closeFailed(unicast_, "unicast");
}

bool PimSocketSet::read(Endpoint& endpoint, const RawSocket::Take& take) {
  for (unsigned read = 0; read < datagramsPerTurn; read += ReceiveBuffers::most) {
    const auto received = endpoint.socket.receive(buffers_, take);
    if (received == RawSocket::Received::nothing) return true;
    if (received == RawSocket::Received::failed) return false;
  }
  return true;
}

std::uint64_t PimSocketSet::overflows() const {
  std::uint64_t sum = pastOverflows_ + unicast_.overflows();
  for (const auto& [intf, link] : links_) sum += link.overflows();
  return sum;
}

// A loopback device brings back what was sent on it. Elsewhere whoever speaks from an address of
// this router is worth a look.
bool PimSocketSet::isOwnEcho(const IntfId& intf, const IpGenAddr& source) const {
  const Interface* device = interfaces_.interface(intf);
  if (device == nullptr || !device->link.loopback) return false;
  return std::any_of(device->addresses.begin(), device->addresses.end(),
                     [&](const LocalAddress& own) { return own.address == source; });
}

void PimSocketSet::receiveOnLink(const IntfId& intf, const RawDatagram& datagram) {
  if (!datagram.destination.isMulticast() || isOwnEcho(intf, datagram.source)) return;
  if (receiver_) receiver_({intf, datagram.source, datagram.destination, datagram.payload});
}

void PimSocketSet::receiveUnicast(const RawDatagram& datagram) {
  if (datagram.destination.isMulticast()) return;
  const IntfId intf = interfaces_.nameOf(datagram.intfIndex);
  const Interface* interface = interfaces_.interface(intf);
  // Depending on the host's settings an unbound socket hears what arrives in VRFs, too.
  if (interface == nullptr || interface->vrf != vrf_) return;
  if (receiver_) receiver_({intf, datagram.source, datagram.destination, datagram.payload});
}

bool PimSocketSet::send(const Pim::TransmitPacket& packet) {
  const int error = packet.destination.isMulticast() ? sendOnLink(packet) : sendUnicast(packet);
  if (error == 0) return true;
  ROUTING_TRACE(socketTrace, 1, vrf_, " TX - Error from ", packet.source, " to ",
                packet.destination, " on ", packet.intf, ": ", errorText(error));
  return false;
}

int PimSocketSet::sendOnLink(const Pim::TransmitPacket& packet) {
  const auto link = links_.find(packet.intf);
  if (link == links_.end() || !link->second.open()) return ENODEV;
  const Endpoint& endpoint = link->second;
  return endpoint.socket.send(packet.source, packet.destination, endpoint.index, packet.payload);
}

int PimSocketSet::sendUnicast(const Pim::TransmitPacket& packet) {
  const auto link = links_.find(packet.intf);
  if (!packet.intf.isUnset() && link == links_.end()) return ENODEV;
  const std::uint32_t index = packet.intf.isUnset() ? 0 : link->second.index;
  const RawSocket& socket = unicast_.socket;
  const int error = socket.send(packet.source, packet.destination, index, packet.payload);
  // The source may just have been taken from this host. A withdrawal is to go out all the same.
  const bool sourceGone = error == EINVAL || error == EADDRNOTAVAIL || error == ENETUNREACH;
  return sourceGone ? socket.sendFromAny(packet.destination, packet.payload) : error;
}

}  // namespace Routing::Agent
