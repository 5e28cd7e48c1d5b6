#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "config/file/Fd.h"
#include "platform/net/IpGenAddr.h"

namespace Routing::Agent {

/// A datagram as a raw socket gives it. The payload lies in the buffer that was read into.
struct RawDatagram {
  std::uint32_t intfIndex = 0;  ///< arrival interface; a slave rather than its VRF
  IpGenAddr source;
  IpGenAddr destination;
  std::span<const std::uint8_t> payload;
};

/// A raw PIM socket of one family.
class RawSocket {
 public:
  enum class Received : std::uint8_t { datagram, useless, nothing, failed };

  RawSocket() = default;

  /// For the link-local multicast of one interface: a member of ALL-PIM-ROUTERS there, sends with
  /// TTL 1 and hears nothing of itself. Raises std::system_error.
  static RawSocket onLink(AddressFamily af, std::uint32_t intfIndex);
  /// For unicast of one VRF (index of its device; 0 for none). Raises std::system_error.
  static RawSocket unicast(AddressFamily af, std::uint32_t vrfIndex);

  int fd() const { return fd_.get(); }

  /// Reads one datagram into `buffer` without waiting. Useless is what is malformed, too large, or
  /// an error of a past transmission.
  Received receive(std::span<std::uint8_t> buffer, RawDatagram& datagram) const;

  /// Sends from a source address and through an interface; unset or 0 leave the choice to the
  /// host's routes. Returns 0 or the error number.
  int send(const IpGenAddr& source, const IpGenAddr& destination, std::uint32_t intfIndex,
           std::span<const std::uint8_t> payload) const;
  /// As send(), with a source of the host's choice and a checksum that fits it.
  int sendFromAny(const IpGenAddr& destination, std::span<const std::uint8_t> payload) const;

 private:
  RawSocket(AddressFamily af, Fd fd) : af_(af), fd_(std::move(fd)) {}

  AddressFamily af_ = AddressFamily::unset;
  Fd fd_;
};

}  // namespace Routing::Agent
