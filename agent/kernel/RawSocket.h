#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>

#include "config/file/Fd.h"
#include "platform/net/IpGenAddr.h"

namespace Routing::Agent {

/// A datagram as a raw socket gives it. The payload lies in the buffers that were read into.
struct RawDatagram {
  std::uint32_t intfIndex = 0;  ///< arrival interface; a slave rather than its VRF
  IpGenAddr source;
  IpGenAddr destination;
  std::span<const std::uint8_t> payload;
};

/// Room for the datagrams that one system call takes in. Only what is filled takes memory.
class ReceiveBuffers {
 public:
  static constexpr unsigned most = 16;  ///< datagrams at once

  ReceiveBuffers();
  ReceiveBuffers(ReceiveBuffers&&) noexcept;
  ReceiveBuffers& operator=(ReceiveBuffers&&) = delete;
  ~ReceiveBuffers();

 private:
  friend class RawSocket;
  struct Slots;
  std::unique_ptr<Slots> slots_;
};

/// A raw PIM socket of one family.
class RawSocket {
 public:
  using Take = std::function<void(const RawDatagram&)>;
  enum class Received : std::uint8_t { some, nothing, failed };

  RawSocket() = default;

  /// For the link-local multicast of one interface: a member of ALL-PIM-ROUTERS there, sends with
  /// TTL 1 and hears nothing of itself. Raises std::system_error.
  static RawSocket onLink(AddressFamily af, std::uint32_t intfIndex);
  /// For unicast of one VRF (index of its device; 0 for none). Raises std::system_error.
  static RawSocket unicast(AddressFamily af, std::uint32_t vrfIndex);

  int fd() const { return fd_.get(); }

  /// Reads without waiting what has arrived, at most ReceiveBuffers::most datagrams, and then gives
  /// each to `take`. Left out is what is malformed or too large, and errors of past transmissions.
  Received receive(ReceiveBuffers& buffers, const Take& take) const;
  /// Datagrams that the kernel has dropped because nobody read them in time.
  std::uint32_t overflows() const;

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
