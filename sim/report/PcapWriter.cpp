#include "sim/report/PcapWriter.h"

#include <cmath>

#include "platform/pim/PimProtocol.h"

namespace Routing::Sim {
namespace {

using Octets = std::vector<std::uint8_t>;

constexpr std::uint32_t epoch = 946'684'800;  // 2000-01-01, the start of every run
constexpr std::uint8_t internetworkControl = 0xc0;

void put16(Octets& out, std::size_t value) {
  out.push_back(static_cast<std::uint8_t>(value >> 8));
  out.push_back(static_cast<std::uint8_t>(value));
}
void put32(Octets& out, std::uint32_t value) {
  put16(out, value >> 16);
  put16(out, value & 0xffff);
}
void put(Octets& out, const IpGenAddr& address) {
  std::uint8_t octets[16];
  address.toBytes(octets);
  out.insert(out.end(), octets, octets + addressBytes(address.af()));
}
void putMac(Octets& out, RouterId router) {
  put16(out, 0x0200);
  put32(out, router + 1);
}

void putEthernet(Octets& out, const Packet& packet) {
  const bool v4 = packet.af == AddressFamily::ipv4;
  if (packet.nextHop) {
    putMac(out, *packet.nextHop);
  } else if (v4) {
    out.insert(out.end(), {0x01, 0x00, 0x5e, 0x00, 0x00, 0x0d});
  } else {
    out.insert(out.end(), {0x33, 0x33, 0x00, 0x00, 0x00, 0x0d});
  }
  putMac(out, packet.sender);
  put16(out, v4 ? 0x0800 : 0x86dd);
}

void putIpv4(Octets& out, const Packet& packet) {
  Octets header{0x45, internetworkControl};
  put16(header, 20 + packet.payload->size());
  put32(header, static_cast<std::uint32_t>(packet.number << 16));  // identification, no fragment
  header.push_back(packet.ttl);
  header.push_back(Pim::ipProtocol);
  put16(header, 0);
  put(header, packet.source);
  put(header, packet.destination);
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i < header.size(); i += 2) {
    sum += static_cast<std::uint32_t>(header[i] << 8 | header[i + 1]);
  }
  while (sum > 0xffff) sum = (sum & 0xffff) + (sum >> 16);
  header[10] = static_cast<std::uint8_t>(~sum >> 8);
  header[11] = static_cast<std::uint8_t>(~sum);
  out.insert(out.end(), header.begin(), header.end());
}

void putIpv6(Octets& out, const Packet& packet) {
  put32(out, 0x60000000 | std::uint32_t{internetworkControl} << 20);
  put16(out, packet.payload->size());
  out.push_back(Pim::ipProtocol);
  out.push_back(packet.ttl);
  put(out, packet.source);
  put(out, packet.destination);
}

void write(std::ofstream& out, const Octets& octets) {
  out.write(reinterpret_cast<const char*>(octets.data()),
            static_cast<std::streamsize>(octets.size()));
}

}  // namespace

PcapWriter::PcapWriter(World& world, const std::string& file)
    : out_(file, std::ios::binary | std::ios::trunc) {
  Octets header;
  put32(header, 0xa1b2c3d4);
  put32(header, 0x00020004);
  put32(header, 0);
  put32(header, 0);
  put32(header, 0x00040000);  // longest frame
  put32(header, 1);           // Ethernet
  write(out_, header);
  world.observerIs(*this);
}

bool PcapWriter::good() {
  return static_cast<bool>(out_.flush());
}

void PcapWriter::transmitted(const Packet& packet) {
  Octets frame;
  putEthernet(frame, packet);
  packet.af == AddressFamily::ipv4 ? putIpv4(frame, packet) : putIpv6(frame, packet);
  frame.insert(frame.end(), packet.payload->begin(), packet.payload->end());
  const double whole = std::floor(packet.sentAt);
  Octets record;
  put32(record, epoch + static_cast<std::uint32_t>(whole));
  put32(record, static_cast<std::uint32_t>((packet.sentAt - whole) * 1e6));
  put32(record, static_cast<std::uint32_t>(frame.size()));
  put32(record, static_cast<std::uint32_t>(frame.size()));
  write(out_, record);
  write(out_, frame);
}

}  // namespace Routing::Sim
