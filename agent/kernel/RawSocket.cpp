#include "agent/kernel/RawSocket.h"

#include <linux/filter.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <system_error>

#include "platform/pim/PimProtocol.h"
#include "platform/pim/wire/IpDatagram.h"

namespace Routing::Agent {
namespace {

constexpr int on = 1;
constexpr int off = 0;
constexpr int pimBuffer = 8 << 20;  // octets, doubled by the kernel: 5,000 large fragments
constexpr std::size_t largestDatagram = 65535;
constexpr int internetworkControl = 0xc0;  // DSCP CS6 (RFC 2474 section 4.2.2)
constexpr int pimChecksumOffset = 2;

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

template <class Value>
void set(int fd, int level, int option, const Value& value, const char* name) {
  if (setsockopt(fd, level, option, &value, sizeof value) != 0) fail(name);
}

void setReceiveBuffer(int fd) {
  if (setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &pimBuffer, sizeof pimBuffer) != 0) {
    set(fd, SOL_SOCKET, SO_RCVBUF, pimBuffer, "SO_RCVBUF");
  }
}

/// What both kinds of sockets have. A large message is left to IP fragmentation, and only groups
/// that the socket itself has joined are heard.
Fd openSocket(AddressFamily af, std::uint32_t boundTo) {
  const bool v4 = af == AddressFamily::ipv4;
  Fd fd(socket(v4 ? AF_INET : AF_INET6, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, Pim::ipProtocol));
  if (!fd) fail("raw PIM socket");
  if (boundTo != 0) set(fd.get(), SOL_SOCKET, SO_BINDTOIFINDEX, boundTo, "SO_BINDTOIFINDEX");
  setReceiveBuffer(fd.get());
  if (v4) {
    set(fd.get(), IPPROTO_IP, IP_PKTINFO, on, "IP_PKTINFO");
    set(fd.get(), IPPROTO_IP, IP_MULTICAST_ALL, off, "IP_MULTICAST_ALL");
    set(fd.get(), IPPROTO_IP, IP_MTU_DISCOVER, IP_PMTUDISC_DONT, "IP_MTU_DISCOVER");
    set(fd.get(), IPPROTO_IP, IP_TOS, internetworkControl, "IP_TOS");
  } else {
    set(fd.get(), IPPROTO_IPV6, IPV6_RECVPKTINFO, on, "IPV6_RECVPKTINFO");
    set(fd.get(), IPPROTO_IPV6, IPV6_MULTICAST_ALL, off, "IPV6_MULTICAST_ALL");
    set(fd.get(), IPPROTO_IPV6, IPV6_MTU_DISCOVER, IPV6_PMTUDISC_DONT, "IPV6_MTU_DISCOVER");
    set(fd.get(), IPPROTO_IPV6, IPV6_TCLASS, internetworkControl, "IPV6_TCLASS");
  }
  return fd;
}

void joinV4(int fd, std::uint32_t intfIndex) {
  ip_mreqn request{};
  request.imr_ifindex = static_cast<int>(intfIndex);
  set(fd, IPPROTO_IP, IP_MULTICAST_IF, request, "IP_MULTICAST_IF");
  request.imr_multiaddr.s_addr = htonl(Pim::allPimRouters(AddressFamily::ipv4).v4Value());
  set(fd, IPPROTO_IP, IP_ADD_MEMBERSHIP, request, "IP_ADD_MEMBERSHIP");
  set(fd, IPPROTO_IP, IP_MULTICAST_LOOP, off, "IP_MULTICAST_LOOP");
  set(fd, IPPROTO_IP, IP_MULTICAST_TTL, on, "IP_MULTICAST_TTL");
}

void joinV6(int fd, std::uint32_t intfIndex) {
  ipv6_mreq request{};
  request.ipv6mr_interface = intfIndex;
  Pim::allPimRouters(AddressFamily::ipv6).toBytes(request.ipv6mr_multiaddr.s6_addr);
  const int index = static_cast<int>(intfIndex);
  set(fd, IPPROTO_IPV6, IPV6_MULTICAST_IF, index, "IPV6_MULTICAST_IF");
  set(fd, IPPROTO_IPV6, IPV6_JOIN_GROUP, request, "IPV6_JOIN_GROUP");
  set(fd, IPPROTO_IPV6, IPV6_MULTICAST_LOOP, off, "IPV6_MULTICAST_LOOP");
  set(fd, IPPROTO_IPV6, IPV6_MULTICAST_HOPS, on, "IPV6_MULTICAST_HOPS");
}

/// Multicast is for the sockets of the links, and the buffer of unicast is not to fill with it.
void refuseMulticast(int fd, AddressFamily af) {
  const bool v4 = af == AddressFamily::ipv4;
  const std::uint32_t firstOctet = static_cast<std::uint32_t>(SKF_NET_OFF) + (v4 ? 16 : 24);
  const std::uint32_t mask = v4 ? 0xf0 : 0xff;
  const std::uint32_t multicast = v4 ? 0xe0 : 0xff;
  std::array<sock_filter, 5> steps{
      {BPF_STMT(BPF_LD | BPF_B | BPF_ABS, firstOctet), BPF_STMT(BPF_ALU | BPF_AND | BPF_K, mask),
       BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, multicast, 0, 1), BPF_STMT(BPF_RET | BPF_K, 0),
       BPF_STMT(BPF_RET | BPF_K, UINT32_MAX)}};
  const sock_fprog program{steps.size(), steps.data()};
  set(fd, SOL_SOCKET, SO_ATTACH_FILTER, program, "SO_ATTACH_FILTER");
}

IpGenAddr addressOf(const in6_addr& address) {
  return IpGenAddr::fromBytes(AddressFamily::ipv6, address.s6_addr);
}

/// Room for one IP_PKTINFO or IPV6_PKTINFO, of which the latter is the larger.
struct alignas(cmsghdr) ControlBuffer {
  std::array<char, CMSG_SPACE(sizeof(in6_pktinfo))> octets{};
};

/// A message with one piece of payload and a place for packet information.
struct Envelope {
  Envelope() = default;
  Envelope(void* data, std::size_t size) { open(data, size); }
  Envelope(const Envelope&) = delete;
  Envelope& operator=(const Envelope&) = delete;

  void open(void* data, std::size_t size) {
    piece = {data, size};
    header.msg_name = &peer;
    header.msg_namelen = sizeof peer;
    header.msg_iov = &piece;
    header.msg_iovlen = 1;
    header.msg_control = control.octets.data();
    header.msg_controllen = control.octets.size();
  }

  template <class Info>
  const Info* infoOf(int level, int type) {
    for (cmsghdr* c = CMSG_FIRSTHDR(&header); c != nullptr; c = CMSG_NXTHDR(&header, c)) {
      if (c->cmsg_level == level && c->cmsg_type == type && c->cmsg_len >= CMSG_LEN(sizeof(Info))) {
        return reinterpret_cast<const Info*>(CMSG_DATA(c));
      }
    }
    return nullptr;
  }
  template <class Info>
  void infoIs(int level, int type, const Info& info) {
    header.msg_controllen = CMSG_SPACE(sizeof(Info));
    cmsghdr* c = CMSG_FIRSTHDR(&header);
    c->cmsg_level = level;
    c->cmsg_type = type;
    c->cmsg_len = CMSG_LEN(sizeof(Info));
    std::memcpy(CMSG_DATA(c), &info, sizeof info);
  }

  sockaddr_storage peer{};
  iovec piece{};
  ControlBuffer control;
  msghdr header{};
};

bool readV4(Envelope& envelope, std::span<const std::uint8_t> octets, RawDatagram& datagram) {
  const auto* info = envelope.infoOf<in_pktinfo>(IPPROTO_IP, IP_PKTINFO);
  const auto payload = Pim::ipv4Payload(octets, Pim::ipProtocol);
  if (info == nullptr || !payload) return false;
  datagram = {static_cast<std::uint32_t>(info->ipi_ifindex), payload->source, payload->destination,
              payload->octets};
  return true;
}

bool readV6(Envelope& envelope, std::span<const std::uint8_t> octets, RawDatagram& datagram) {
  const auto* info = envelope.infoOf<in6_pktinfo>(IPPROTO_IPV6, IPV6_PKTINFO);
  const auto& peer = reinterpret_cast<const sockaddr_in6&>(envelope.peer);
  if (info == nullptr || peer.sin6_family != AF_INET6) return false;
  datagram = {info->ipi6_ifindex, addressOf(peer.sin6_addr), addressOf(info->ipi6_addr), octets};
  return true;
}

void addressV4(Envelope& envelope, const IpGenAddr& source, const IpGenAddr& destination,
               std::uint32_t intfIndex) {
  auto& peer = reinterpret_cast<sockaddr_in&>(envelope.peer);
  peer.sin_family = AF_INET;
  peer.sin_addr.s_addr = htonl(destination.v4Value());
  envelope.header.msg_namelen = sizeof peer;
  in_pktinfo info{};
  info.ipi_ifindex = static_cast<int>(intfIndex);
  info.ipi_spec_dst.s_addr = htonl(source.v4Value());
  envelope.infoIs(IPPROTO_IP, IP_PKTINFO, info);
}

void addressV6(Envelope& envelope, const IpGenAddr& source, const IpGenAddr& destination,
               std::uint32_t intfIndex) {
  auto& peer = reinterpret_cast<sockaddr_in6&>(envelope.peer);
  peer.sin6_family = AF_INET6;
  destination.toBytes(peer.sin6_addr.s6_addr);
  peer.sin6_scope_id = intfIndex;
  envelope.header.msg_namelen = sizeof peer;
  in6_pktinfo info{};
  info.ipi6_ifindex = intfIndex;
  if (!source.isUnset()) source.toBytes(info.ipi6_addr.s6_addr);
  envelope.infoIs(IPPROTO_IPV6, IPV6_PKTINFO, info);
}

RawSocket::Received receivedOnError(int error) {
  if (error == EAGAIN || error == EWOULDBLOCK) return RawSocket::Received::nothing;
  const bool passing = error == EINTR || error == ENETDOWN || error == ENOBUFS ||
                       error == EHOSTUNREACH || error == ENETUNREACH || error == ENOMEM;
  return passing ? RawSocket::Received::some : RawSocket::Received::failed;
}

}  // namespace

RawSocket RawSocket::onLink(AddressFamily af, std::uint32_t intfIndex) {
  Fd fd = openSocket(af, intfIndex);
  af == AddressFamily::ipv4 ? joinV4(fd.get(), intfIndex) : joinV6(fd.get(), intfIndex);
  return {af, std::move(fd)};
}

RawSocket RawSocket::unicast(AddressFamily af, std::uint32_t vrfIndex) {
  Fd fd = openSocket(af, vrfIndex);
  refuseMulticast(fd.get(), af);
  return {af, std::move(fd)};
}

struct ReceiveBuffers::Slots {
  struct Slot {
    Envelope envelope;
    std::array<std::uint8_t, largestDatagram> octets;
  };
  std::unique_ptr<Slot[]> slot = std::make_unique_for_overwrite<Slot[]>(most);
  std::array<mmsghdr, most> headers{};
};

ReceiveBuffers::ReceiveBuffers() : slots_(std::make_unique<Slots>()) {}
ReceiveBuffers::ReceiveBuffers(ReceiveBuffers&&) noexcept = default;
ReceiveBuffers::~ReceiveBuffers() = default;

RawSocket::Received RawSocket::receive(ReceiveBuffers& buffers, const Take& take) const {
  ReceiveBuffers::Slots& slots = *buffers.slots_;
  for (unsigned i = 0; i < ReceiveBuffers::most; ++i) {
    auto& [envelope, octets] = slots.slot[i];
    envelope.open(octets.data(), octets.size());
    slots.headers[i].msg_hdr = envelope.header;
  }
  const int count = recvmmsg(fd(), slots.headers.data(), ReceiveBuffers::most, 0, nullptr);
  if (count < 0) return receivedOnError(errno);
  const auto read = af_ == AddressFamily::ipv4 ? readV4 : readV6;
  for (int i = 0; i < count; ++i) {
    auto& [envelope, octets] = slots.slot[i];
    envelope.header = slots.headers[i].msg_hdr;
    RawDatagram datagram;
    if ((envelope.header.msg_flags & MSG_TRUNC) == 0 &&
        read(envelope, std::span(octets).first(slots.headers[i].msg_len), datagram)) {
      take(datagram);
    }
  }
  return Received::some;
}

std::uint32_t RawSocket::overflows() const {
  std::array<std::uint32_t, SK_MEMINFO_VARS> info{};
  socklen_t size = sizeof info;
  if (getsockopt(fd(), SOL_SOCKET, SO_MEMINFO, info.data(), &size) != 0) return 0;
  return info[SK_MEMINFO_DROPS];
}

int RawSocket::send(const IpGenAddr& source, const IpGenAddr& destination, std::uint32_t intfIndex,
                    std::span<const std::uint8_t> payload) const {
  Envelope envelope(const_cast<std::uint8_t*>(payload.data()), payload.size());
  af_ == AddressFamily::ipv4 ? addressV4(envelope, source, destination, intfIndex)
                             : addressV6(envelope, source, destination, intfIndex);
  ssize_t sent = 0;
  do {
    sent = sendmsg(fd(), &envelope.header, MSG_NOSIGNAL);
  } while (sent < 0 && errno == EINTR);
  return sent < 0 ? errno : 0;
}

int RawSocket::sendFromAny(const IpGenAddr& destination,
                           std::span<const std::uint8_t> payload) const {
  if (af_ == AddressFamily::ipv4) return send({}, destination, 0, payload);
  // The checksum covers the source, which the kernel is about to choose: it has to write it.
  constexpr int none = -1;
  setsockopt(fd(), IPPROTO_IPV6, IPV6_CHECKSUM, &pimChecksumOffset, sizeof pimChecksumOffset);
  const int error = send({}, destination, 0, payload);
  setsockopt(fd(), IPPROTO_IPV6, IPV6_CHECKSUM, &none, sizeof none);
  return error;
}

}  // namespace Routing::Agent
