#include "tests/support/PimLan.h"

#include <sstream>
#include <stdexcept>
#include <utility>

#include "platform/pim/PimCodec.h"
#include "tests/support/PimInvariants.h"

namespace Routing::TestKit {

void PimLan::carry(const PimRouter* sender, const Pim::TransmitPacket& packet) {
  flights_.push_back({sender, packet.source, packet.destination,
                      Octets(packet.payload.begin(), packet.payload.end())});
  if (!arrivals_.armed()) arrivals_.expiryIs(wheel_.now());
}

void PimLan::deliver() {
  for (auto flights = std::exchange(flights_, {}); const Flight& flight : flights) {
    for (const End& end : std::vector(ends_)) {
      if (end.router == flight.sender) continue;
      end.router->pim.receive({end.intf, flight.source, flight.destination, flight.payload});
    }
  }
}

bool PimRouter::send(const Pim::TransmitPacket& packet) {
  if (mute) return false;
  sent.push_back({wheel_.now(), packet.intf, packet.source, packet.destination,
                  Octets(packet.payload.begin(), packet.payload.end())});
  const auto lan = lans_.find(packet.intf);
  if (lan != lans_.end()) lan->second->carry(this, packet);
  return true;
}

void PimRouter::hear(const std::string& intf, const std::string& source,
                     const Pim::PimMessage& message) {
  const IpGenAddr destination = Pim::allPimRouters(pim.af());
  Octets octets;
  if (!Pim::encode(message, addr(source), destination, octets)) {
    throw std::invalid_argument("message cannot be encoded");
  }
  pim.receive({IntfId(intf), addr(source), destination, octets});
}

std::vector<std::string> PimRouter::sentLines() {
  std::vector<std::string> lines;
  for (const Sent& each : std::exchange(sent, {})) {
    std::ostringstream line;
    line << each.at << ' ' << each.intf << ' ' << each.source << ' '
         << describe(Pim::decode(each.payload, each.source, each.destination));
    lines.push_back(line.str());
  }
  return lines;
}

}  // namespace Routing::TestKit
