#pragma once

#include "platform/Export.h"
#include "platform/net/IpGenAddr.h"
#include "platform/pim/PimProtocol.h"

namespace Routing::Pim {

/// What every PIM message has: the addresses of the IP datagram that carries it. Messages are plain
/// copyable values; they are handed on by shared pointer, and whoever changes one that others hold
/// copies it first.
class ROUTING_API PimMessage {
 public:
  virtual ~PimMessage() = default;

  virtual PimType type() const = 0;
  const IpGenAddr& source() const { return source_; }
  void sourceIs(const IpGenAddr& source) { source_ = source; }
  const IpGenAddr& destination() const { return destination_; }
  void destinationIs(const IpGenAddr& destination) { destination_ = destination; }

 protected:
  PimMessage() = default;
  PimMessage(const PimMessage&) = default;
  PimMessage& operator=(const PimMessage&) = default;
  bool sameAddresses(const PimMessage& other) const {
    return source_ == other.source_ && destination_ == other.destination_;
  }

 private:
  IpGenAddr source_;
  IpGenAddr destination_;
};

}  // namespace Routing::Pim
