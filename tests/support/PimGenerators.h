#pragma once

#include <rapidcheck.h>

#include <map>
#include <utility>
#include <vector>

#include "platform/pim/PimCodec.h"
#include "tests/support/Octets.h"

// RapidCheck generators of PIM messages that are valid in every respect, of either family.

namespace Routing::TestKit {

inline rc::Gen<AddressFamily> genFamily() {
  return rc::gen::element(AddressFamily::ipv4, AddressFamily::ipv6);
}

/// Any address of the family, all of them equally likely.
inline rc::Gen<IpGenAddr> genAddress(AddressFamily af) {
  const auto half = rc::gen::resize(rc::kNominalSize, rc::gen::arbitrary<std::uint64_t>());
  return rc::gen::apply(
      [af](std::uint64_t upper, std::uint64_t lower) {
        return af == AddressFamily::ipv4 ? IpGenAddr::v4(static_cast<std::uint32_t>(upper))
                                         : IpGenAddr::v6(upper, lower);
      },
      half, half);
}

/// An address that a BSR, an RP or a neighbour can have.
inline rc::Gen<IpGenAddr> genUnicast(AddressFamily af) {
  const IpGenAddr plain = af == AddressFamily::ipv4 ? addr("192.0.2.1") : addr("2001:db8::1");
  return rc::gen::map(genAddress(af), [plain](const IpGenAddr& any) {
    const auto top = static_cast<unsigned>(any.upper() >> 56);
    const bool usable = top != 0 && top != 127 && top < 0xe0 && top != 169;
    return usable ? any : plain;
  });
}

/// A group range of at least `shortest` bits.
inline rc::Gen<IpGenPrefix> genRange(AddressFamily af, unsigned shortest) {
  return rc::gen::apply(
      [](const IpGenAddr& any, unsigned length) {
        const std::uint64_t upper = any.upper();
        return any.af() == AddressFamily::ipv4
                   ? IpGenPrefix(IpGenAddr::v4(0xe0000000 | (any.v4Value() & 0x0fffffff)), length)
                   : IpGenPrefix(IpGenAddr::v6(std::uint64_t{0xff} << 56 | upper >> 8, any.lower()),
                                 length);
      },
      genAddress(af), rc::gen::inRange(shortest, addressBits(af) + 1));
}

inline rc::Gen<Pim::BootstrapRpData> genRpData() {
  return rc::gen::construct<Pim::BootstrapRpData>(rc::gen::arbitrary<std::uint16_t>(),
                                                  rc::gen::arbitrary<std::uint8_t>());
}

/// A group block; of a range that may be a zone it is at least `shortest` bits long.
inline rc::Gen<Pim::BootstrapGroupData> genGroup(AddressFamily af, unsigned shortest) {
  return rc::gen::exec([af, shortest] {
    Pim::BootstrapGroupData group(*genRange(af, shortest), *rc::gen::arbitrary<std::uint8_t>());
    const auto rps =
        *rc::gen::container<std::map<IpGenAddr, Pim::BootstrapRpData>>(genUnicast(af), genRpData());
    for (const auto& [address, rp] : rps) {
      if (group.rpList().size() < 255) group.rpList().rpIs(address, rp);
    }
    const auto carried = static_cast<unsigned>(group.rpList().size());
    group.fragRpCountIs(static_cast<std::uint8_t>(carried));
    group.rpCountIs(static_cast<std::uint8_t>(*rc::gen::inRange(carried, 256U)));
    return group;
  });
}

/// Sets the addresses of a datagram; `to` as the destination.
inline void addressesIs(Pim::PimMessage& message, AddressFamily af, const IpGenAddr& to) {
  message.sourceIs(*genUnicast(af));
  message.destinationIs(to);
}

/// A Bootstrap message whose ranges are all different.
inline rc::Gen<Pim::BootstrapMessage> genBsm() {
  return rc::gen::exec([] {
    const AddressFamily af = *genFamily();
    Pim::BootstrapMessage bsm;
    addressesIs(bsm, af, *rc::gen::element(Pim::allPimRouters(af), *genUnicast(af)));
    bsm.bsrAddressIs(*genUnicast(af));
    bsm.bsrPriorityIs(*rc::gen::arbitrary<std::uint8_t>());
    bsm.hashMaskLenIs(static_cast<std::uint8_t>(*rc::gen::inRange(0U, addressBits(af) + 1)));
    bsm.fragmentTagIs(*rc::gen::arbitrary<std::uint16_t>());
    bsm.forwardIs(*rc::gen::arbitrary<bool>());
    const auto groups = *rc::gen::container<std::vector<Pim::BootstrapGroupData>>(
        *rc::gen::inRange<std::size_t>(0, 9), genGroup(af, af == AddressFamily::ipv4 ? 4 : 16));
    std::map<IpGenPrefix, int> seen;
    for (const auto& group : groups) {
      if (seen.emplace(group.prefix(), 0).second) bsm.groupRpDataAppend(group);
    }
    return bsm;
  });
}

inline rc::Gen<Pim::CrpAdvMessage> genCrpAdv() {
  return rc::gen::exec([] {
    const AddressFamily af = *genFamily();
    Pim::CrpAdvMessage adv;
    addressesIs(adv, af, *genUnicast(af));
    adv.rpAddressIs(*genUnicast(af));
    adv.priorityIs(*rc::gen::arbitrary<std::uint8_t>());
    adv.holdtimeIs(*rc::gen::arbitrary<std::uint16_t>());
    const auto flags = rc::gen::map(rc::gen::arbitrary<std::uint8_t>(),
                                    [](std::uint8_t octet) { return Pim::GroupFlags(octet); });
    auto groups = *rc::gen::container<Pim::CrpGroupData>(rc::gen::construct<Pim::CrpGroupInfo>(
        genRange(af, af == AddressFamily::ipv4 ? 4 : 8), flags));
    if (groups.size() > 255) groups.resize(255);
    adv.prefixCountIs(static_cast<std::uint8_t>(groups.size()));
    adv.groupDataIs(std::move(groups));
    return adv;
  });
}

inline rc::Gen<Pim::HelloMessage> genHello() {
  return rc::gen::exec([] {
    const AddressFamily af = *genFamily();
    Pim::HelloMessage hello;
    addressesIs(hello, af, Pim::allPimRouters(af));
    const auto maybe = [] { return *rc::gen::arbitrary<bool>(); };
    if (maybe()) hello.holdtimeIs(*rc::gen::arbitrary<std::uint16_t>());
    if (maybe()) {
      const auto delay = static_cast<std::uint16_t>(*rc::gen::inRange(0, 0x8000));
      hello.lanPruneDelayIs(
          Pim::LanPruneDelay{maybe(), delay, *rc::gen::arbitrary<std::uint16_t>()});
    }
    if (maybe()) hello.drPriorityIs(*rc::gen::arbitrary<std::uint32_t>());
    if (maybe()) hello.generationIdIs(*rc::gen::arbitrary<std::uint32_t>());
    hello.addressListIs(*rc::gen::container<std::vector<IpGenAddr>>(genUnicast(af)));
    return hello;
  });
}

}  // namespace Routing::TestKit

namespace rc {
template <>
struct Arbitrary<Routing::Pim::BootstrapMessage> {
  static auto arbitrary() { return Routing::TestKit::genBsm(); }
};
template <>
struct Arbitrary<Routing::Pim::CrpAdvMessage> {
  static auto arbitrary() { return Routing::TestKit::genCrpAdv(); }
};
template <>
struct Arbitrary<Routing::Pim::HelloMessage> {
  static auto arbitrary() { return Routing::TestKit::genHello(); }
};
}  // namespace rc
