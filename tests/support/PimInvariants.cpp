#include "tests/support/PimInvariants.h"

#include <map>
#include <set>
#include <sstream>

#include "tests/support/Octets.h"

namespace Routing::TestKit {
namespace {

using namespace Pim;

// Upper octets of what no BSR and no RP can be reached by.
bool domainWide(const IpGenAddr& a) {
  const auto top = static_cast<unsigned>(a.upper() >> 56);
  if (a.af() == AddressFamily::ipv4) {
    const std::uint32_t value = a.v4Value();
    return value != 0 && value != 0xffffffff && top != 127 && (top & 0xf0) != 0xe0 &&
           value >> 16 != 0xa9fe;
  }
  const bool smallest = a.upper() == 0 && a.lower() <= 1;
  return a.af() == AddressFamily::ipv6 && !smallest && top != 0xff && a.upper() >> 54 != 0x3fa;
}

bool multicastRange(const IpGenPrefix& p) {
  const auto top = static_cast<unsigned>(p.address().upper() >> 56);
  if (p.af() == AddressFamily::ipv4) return (top & 0xf0) == 0xe0 && p.length() >= 4;
  return p.af() == AddressFamily::ipv6 && top == 0xff && p.length() >= 8;
}

bool hostBitsClear(const IpGenPrefix& p) {
  for (unsigned i = p.length(); i < addressBits(p.af()); ++i) {
    if (p.address().bit(i)) return false;
  }
  return p.length() <= addressBits(p.af());
}

std::string rangeViolation(const IpGenPrefix& range, AddressFamily af) {
  if (range.af() != af) return "range of another family";
  if (!multicastRange(range)) return "range not multicast: " + range.text();
  if (!hostBitsClear(range)) return "host bits in " + range.text();
  return {};
}

std::string headerViolation(const PimMessage& message) {
  if (message.source().af() == AddressFamily::unset) return "no family";
  if (message.source().af() != message.destination().af()) return "families of the datagram";
  if (message.source().isMulticast() || message.source().isUnset()) return "source";
  return {};
}

std::string groupViolation(const BootstrapGroupData& group, AddressFamily af) {
  if (const auto wrong = rangeViolation(group.prefix(), af); !wrong.empty()) return wrong;
  if (group.fragRpCount() > group.rpCount()) return "more RPs than announced";
  if (group.fragRpCount() != group.rpList().size()) return "list differs from Frag RP Cnt";
  std::set<IpGenAddr> seen;
  for (const auto& [address, rp] : group.rpList()) {
    if (address.af() != af || !domainWide(address)) return "RP " + address.text();
    if (!seen.empty() && address < *seen.rbegin()) return "RPs out of order";
    if (!seen.insert(address).second) return "RP twice";
  }
  return {};
}

std::string repetitionViolation(const BootstrapMessage& bsm) {
  std::map<IpGenPrefix, std::pair<unsigned, unsigned>> announcedAndCarried;
  for (const auto& group : bsm.groupRpData()) {
    auto& [announced, carried] =
        announcedAndCarried.try_emplace(group.prefix(), group.rpCount(), 0).first->second;
    carried += group.fragRpCount();
    if (announced != group.rpCount()) return "RP Counts of one range differ";
    if (carried > announced) return "more RPs in one range than announced";
  }
  return {};
}

std::string seconds(std::uint16_t holdtime) {
  return std::to_string(holdtime) + "s";
}

}  // namespace

std::string violation(const BootstrapMessage& bsm) {
  if (const auto wrong = headerViolation(bsm); !wrong.empty()) return wrong;
  const AddressFamily af = bsm.source().af();
  if (bsm.bsrAddress().af() != af || !domainWide(bsm.bsrAddress())) return "BSR address";
  if (bsm.hashMaskLen() > addressBits(af)) return "hash mask length";
  for (const auto& group : bsm.groupRpData()) {
    if (const auto wrong = groupViolation(group, af); !wrong.empty()) return wrong;
  }
  if (af == AddressFamily::ipv6 && !bsm.groupRpData().empty()) {
    const auto& first = bsm.groupRpData().front();
    if ((first.groupFlags() & 1) != 0 && first.prefix().length() < 16) return "short scope mask";
  }
  return repetitionViolation(bsm);
}

std::string violation(const CrpAdvMessage& adv) {
  if (const auto wrong = headerViolation(adv); !wrong.empty()) return wrong;
  const AddressFamily af = adv.source().af();
  if (adv.destination().isMulticast()) return "multicast destination";
  if (adv.rpAddress().af() != af || !domainWide(adv.rpAddress())) return "RP address";
  if (adv.prefixCount() != adv.groupData().size()) return "prefix count";
  for (const auto& group : adv.groupData()) {
    if (const auto wrong = rangeViolation(group.groupInfo(), af); !wrong.empty()) return wrong;
  }
  return {};
}

std::string violation(const HelloMessage& hello) {
  if (const auto wrong = headerViolation(hello); !wrong.empty()) return wrong;
  if (hello.destination() != addr("224.0.0.13") && hello.destination() != addr("ff02::d")) {
    return "destination";
  }
  if (hello.lanPruneDelay() && hello.lanPruneDelay()->propagationDelay > 0x7fff) return "delay";
  for (const auto& address : hello.addressList()) {
    if (address.af() != hello.source().af()) return "secondary of another family";
    if (address.isUnset() || address.isMulticast()) return "secondary " + address.text();
  }
  return {};
}

std::string violation(const DecodeResult& result) {
  return std::visit(
      [](const auto& held) -> std::string {
        if constexpr (requires { violation(*held); }) return violation(*held);
        return {};
      },
      result);
}

const PimMessage* messageOf(const DecodeResult& result) {
  return std::visit(
      [](const auto& held) -> const PimMessage* {
        if constexpr (requires { held.get(); }) return held.get();
        return nullptr;
      },
      result);
}

std::string describe(const BootstrapMessage& bsm) {
  std::ostringstream out;
  out << (bsm.forward() ? "BSM" : "BSM-N") << " tag " << std::hex << bsm.fragmentTag() << std::dec
      << " hash " << unsigned{bsm.hashMaskLen()} << " BSR " << bsm.bsrAddress() << '*'
      << unsigned{bsm.bsrPriority()};
  for (const auto& group : bsm.groupRpData()) {
    out << "; " << group.prefix() << (group.bidir() ? " B" : "") << (group.zone() ? " Z" : "")
        << ' ' << unsigned{group.fragRpCount()} << '/' << unsigned{group.rpCount()};
    for (const auto& [address, rp] : group.rpList()) {
      out << ' ' << address << '*' << unsigned{rp.rpPriority()} << '*' << seconds(rp.rpHoldtime());
    }
  }
  return out.str();
}

std::string describe(const CrpAdvMessage& adv) {
  std::ostringstream out;
  out << "C-RP " << adv.rpAddress() << '*' << unsigned{adv.priority()} << '*'
      << seconds(adv.holdtime()) << " count " << unsigned{adv.prefixCount()};
  for (const auto& group : adv.groupData()) {
    out << "; " << group.groupInfo() << (group.groupFlags().bidir() ? " B" : "")
        << (group.groupFlags().zone() ? " Z" : "");
  }
  return out.str();
}

std::string describe(const HelloMessage& hello) {
  std::ostringstream out;
  out << "Hello";
  if (hello.holdtime()) out << ' ' << seconds(*hello.holdtime());
  if (const auto& delay = hello.lanPruneDelay()) {
    out << " delay " << delay->propagationDelay << (delay->tBit ? "T" : "") << '+'
        << delay->overrideInterval;
  }
  if (hello.drPriority()) out << " DR " << *hello.drPriority();
  if (hello.generationId()) out << " ID " << std::hex << *hello.generationId() << std::dec;
  for (const auto& address : hello.addressList()) out << ' ' << address;
  return out.str();
}

std::string describe(const DecodeResult& result) {
  if (const auto* other = std::get_if<OtherType>(&result)) {
    return "type " + std::to_string(other->type);
  }
  if (const auto* reason = std::get_if<DropReason>(&result)) {
    return std::string(dropReasonText(*reason));
  }
  return std::visit(
      [](const auto& held) -> std::string {
        if constexpr (requires { describe(*held); }) return describe(*held);
        return {};
      },
      result);
}

}  // namespace Routing::TestKit
