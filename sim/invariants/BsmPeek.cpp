#include "sim/invariants/BsmPeek.h"

namespace Routing::Sim {
namespace {

constexpr std::uint8_t bootstrapType = 4;
constexpr std::uint8_t noForward = 0x80;
constexpr std::uint8_t zoneBit = 0x01;

class Octets {
 public:
  explicit Octets(std::span<const std::uint8_t> octets) : left_(octets) {}

  bool good() const { return good_; }
  bool empty() const { return left_.empty(); }
  std::span<const std::uint8_t> take(std::size_t n) {
    if (n > left_.size()) {
      good_ = false;
      left_ = {};
      return {};
    }
    const auto taken = left_.first(n);
    left_ = left_.subspan(n);
    return taken;
  }
  std::uint8_t octet() {
    const auto taken = take(1);
    return taken.empty() ? std::uint8_t{0} : taken[0];
  }
  IpGenAddr address(std::uint8_t family) {
    const auto af = static_cast<AddressFamily>(family);
    if (addressBytes(af) == 0) {
      good_ = false;
      return {};
    }
    const auto taken = take(addressBytes(af));
    return taken.empty() ? IpGenAddr{} : IpGenAddr::fromBytes(af, taken.data());
  }
  IpGenAddr unicast() {
    const std::uint8_t family = octet();
    octet();  // encoding type
    return address(family);
  }

 private:
  std::span<const std::uint8_t> left_;
  bool good_ = true;
};

BsmPeek::Group groupOf(Octets& in, std::uint8_t& flags) {
  const std::uint8_t family = in.octet();
  in.octet();  // encoding type
  flags = in.octet();
  const unsigned length = in.octet();
  BsmPeek::Group group;
  group.range = IpGenPrefix(in.address(family), length);
  group.rpCount = in.octet();
  group.fragRpCount = in.octet();
  in.take(2);
  return group;
}

}  // namespace

IpGenPrefix BsmPeek::zone() const {
  return scoped ? groups.front().range : IpGenPrefix::multicast(bsr.af());
}

std::optional<BsmPeek> peekBsm(std::span<const std::uint8_t> payload, bool headOnly) {
  Octets in(payload);
  if ((in.octet() & 0x0f) != bootstrapType) return std::nullopt;
  BsmPeek bsm;
  bsm.forward = (in.octet() & noForward) == 0;
  in.take(2);  // checksum
  const auto high = in.octet();
  bsm.fragmentTag = static_cast<std::uint16_t>(high << 8 | in.octet());
  bsm.hashMaskLen = in.octet();
  bsm.priority = in.octet();
  bsm.bsr = in.unicast();
  while (in.good() && !in.empty()) {
    std::uint8_t flags = 0;
    bsm.groups.push_back(groupOf(in, flags));
    if (bsm.groups.size() == 1) bsm.scoped = (flags & zoneBit) != 0;
    if (headOnly) break;
    for (unsigned rp = 0; rp < bsm.groups.back().fragRpCount && in.good(); ++rp) {
      bsm.groups.back().rps.push_back(in.unicast());
      in.take(4);  // hold time, priority, reserved
    }
  }
  return in.good() ? std::optional(bsm) : std::nullopt;
}

}  // namespace Routing::Sim
