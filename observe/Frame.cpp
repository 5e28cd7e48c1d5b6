#include "observe/Frame.h"

#include "platform/pim/PimProtocol.h"

namespace Routing::Observe {
namespace {

using Octets = std::span<const std::uint8_t>;

constexpr unsigned typeIpv4 = 0x0800, typeIpv6 = 0x86dd;
constexpr unsigned typeVlan = 0x8100, typeServiceVlan = 0x88a8;
constexpr std::size_t vlanTag = 4;

/// Where the protocol type and the network layer stand.
struct Layout {
  std::size_t type;
  std::size_t network;
};

std::optional<Layout> layoutOf(int linkType) {
  switch (static_cast<LinkType>(linkType)) {
    case LinkType::ethernet:
      return Layout{12, 14};
    case LinkType::linuxCooked:
      return Layout{14, 16};
    case LinkType::linuxCooked2:
      return Layout{0, 20};
    default:
      return std::nullopt;
  }
}

std::optional<Pim::IpPayload> pimIn(Octets datagram) {
  if (datagram.empty()) return std::nullopt;
  return datagram[0] >> 4 == 4 ? Pim::ipv4Payload(datagram, Pim::ipProtocol)
                               : Pim::ipv6Payload(datagram, Pim::ipProtocol);
}

unsigned wordAt(Octets octets, std::size_t at) {
  return static_cast<unsigned>(octets[at] << 8 | octets[at + 1]);
}

}  // namespace

std::optional<Pim::IpPayload> pimOf(int linkType, Octets frame) {
  if (static_cast<LinkType>(linkType) == LinkType::raw) return pimIn(frame);
  auto layout = layoutOf(linkType);
  if (!layout) return std::nullopt;
  while (frame.size() >= layout->network + vlanTag) {
    const unsigned type = wordAt(frame, layout->type);
    if (type == typeIpv4 || type == typeIpv6) return pimIn(frame.subspan(layout->network));
    if (type != typeVlan && type != typeServiceVlan) return std::nullopt;
    layout = Layout{layout->network + 2, layout->network + vlanTag};
  }
  return std::nullopt;
}

}  // namespace Routing::Observe
