#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/support/BsrInvariants.h"
#include "tests/support/BsrRouter.h"

// Any message over any MTU: what the fragments say together is what the message says.

namespace Routing::Pim::Bsr {
namespace {

using namespace TestKit;

constexpr std::uint32_t fixedPart = 36;
constexpr std::uint32_t entry = 12;

struct Case {
  AddressFamily af;
  bool scoped;
  unsigned mtu;
  std::vector<unsigned> announced;  // RPs of each range in the whole message
  std::vector<unsigned> carried;    // of these, what this message has

  IpGenPrefix global() const { return IpGenPrefix::multicast(af); }
  IpGenPrefix zone() const {
    if (!scoped) return global();
    return prefix(af == AddressFamily::ipv4 ? "239.0.0.0/8" : "ff05::/16");
  }
  IpGenPrefix range(unsigned index) const {
    return af == AddressFamily::ipv4
               ? IpGenPrefix(IpGenAddr::v4(0xef000000 | ((index + 1) << 8)), 24)
               : IpGenPrefix(IpGenAddr::v6(0xff05000000000000 | (index + 1), 0), 64);
  }
  IpGenAddr rp(unsigned range, unsigned index) const {
    const unsigned number = range * 256 + index + 1;
    return af == AddressFamily::ipv4 ? IpGenAddr::v4(0x0a000000 | number)
                                     : IpGenAddr::v6(0x20010db800000000, number);
  }
};

std::ostream& operator<<(std::ostream& out, const Case& c) {
  out << enumName(c.af) << (c.scoped ? " scoped" : " global") << " MTU " << c.mtu << " RPs";
  for (std::size_t i = 0; i < c.announced.size(); ++i) {
    out << ' ' << c.carried[i] << '/' << c.announced[i];
  }
  return out;
}

/// Mostly small ranges, few in all, so that a case stays quick; `fragments` allows ranges that are
/// not carried whole.
rc::Gen<Case> genCase(bool fragments) {
  return rc::gen::exec([fragments] {
    Case c;
    c.af = *rc::gen::element(AddressFamily::ipv4, AddressFamily::ipv6);
    c.scoped = *rc::gen::arbitrary<bool>();
    c.mtu = *rc::gen::oneOf(rc::gen::inRange(60U, 200U), rc::gen::inRange(60U, 1600U),
                            rc::gen::element(68U, 576U, 1280U, 1500U, 9000U));
    const unsigned ranges = *rc::gen::oneOf(rc::gen::inRange(0U, 5U), rc::gen::inRange(0U, 30U));
    unsigned total = 0;
    for (unsigned i = 0; i < ranges && total < 600; ++i) {
      c.announced.push_back(*rc::gen::oneOf(rc::gen::inRange(0U, 4U), rc::gen::inRange(0U, 60U),
                                            rc::gen::inRange(0U, 256U)));
      const unsigned most = c.announced.back();
      const bool whole = !fragments || *rc::gen::weightedElement<bool>({{2, true}, {1, false}});
      c.carried.push_back(whole ? most : *rc::gen::inRange(0U, most + 1));
      total += c.carried.back();
    }
    return c;
  });
}

std::shared_ptr<BootstrapMessage> messageOf(const Case& c) {
  auto bsm = std::make_shared<BootstrapMessage>();
  bsm->destinationIs(allPimRouters(c.af));
  bsm->bsrAddressIs(addr(c.af == AddressFamily::ipv4 ? "10.99.9.9" : "2001:db8:9::9"));
  bsm->bsrPriorityIs(77);
  bsm->hashMaskLenIs(22);
  bsm->fragmentTagIs(4711);
  if (c.scoped) bsm->groupRpDataAppend(BootstrapGroupData(c.zone(), 1));
  for (unsigned i = 0; i < c.announced.size(); ++i) {
    BootstrapGroupData group(c.range(i), i % 3 == 0 ? 0x80 : 0);
    group.rpCountIs(static_cast<std::uint8_t>(c.announced[i]));
    group.fragRpCountIs(static_cast<std::uint8_t>(c.carried[i]));
    for (unsigned k = 0; k < c.carried[i]; ++k) {
      group.rpList().rpIs(
          c.rp(i, k), {static_cast<std::uint16_t>(10 + i + k), static_cast<std::uint8_t>(k % 5)});
    }
    bsm->groupRpDataAppend(std::move(group));
  }
  return bsm;
}

/// A router with a neighbour on one link of this MTU, through which the way to the BSR leads.
struct Station {
  Station(const Case& c, TimerWheel& wheel) : router(c.af, wheel) {
    const bool v4 = c.af == AddressFamily::ipv4;
    neighbor = v4 ? "10.0.0.2" : "fe80::2";
    router.linkIs("eth0", v4 ? "10.0.0.1" : "fe80::1", c.mtu);
    router.neighborIs("eth0", neighbor);
    router.routeIs(v4 ? "10.99.9.9" : "2001:db8:9::9", "eth0", neighbor);
  }
  BsrRouter router;
  std::string neighbor;
};

/// A message's length as the sender reckons it: with the RPs that it carries, or announces.
std::uint32_t lengthOf(const BootstrapMessage& bsm, bool announced = false) {
  std::uint32_t length = fixedPart;
  for (const auto& group : bsm.groupRpData()) {
    length += entry + entry * (announced ? group.rpCount() : group.fragRpCount());
  }
  return length;
}

/// The rules for one fragment; returns what breaks them.
std::string fragmentFault(const Case& c, const BootstrapMessage& source,
                          const BootstrapMessage& fragment) {
  const auto head = [](const BootstrapMessage& m) {
    return std::tuple(m.bsrAddress(), m.bsrPriority(), m.hashMaskLen(), m.fragmentTag(),
                      m.forward());
  };
  if (head(fragment) != head(source)) return "another head";
  if (lengthOf(fragment) > c.mtu) return "too long";
  if (fragment.groupRpData().empty()) return "empty";
  if (zoneOf(fragment, c.global()) != c.zone()) return "another zone";
  std::uint32_t used = fixedPart;
  for (std::size_t i = 0; i < fragment.groupRpData().size(); ++i) {
    const BootstrapGroupData& group = fragment.groupRpData()[i];
    const auto carried = static_cast<std::uint32_t>(group.rpList().size());
    if (group.fragRpCount() != carried) return "miscounted " + group.prefix().text();
    const bool zoneEntry = c.scoped && group.prefix() == c.zone();
    if (zoneEntry && (i != 0 || group.groupFlags() != 1 || carried != 0)) return "zone entry";
    const auto whole = std::find_if(
        source.groupRpData().begin(), source.groupRpData().end(),
        [&](const BootstrapGroupData& each) { return each.prefix() == group.prefix(); });
    if (whole == source.groupRpData().end()) return "a range from nowhere";
    const bool split = carried < whole->rpList().size();
    if (split && c.mtu - used <= 24) return "24 octets or fewer used for a piece";
    used += entry + entry * carried;
  }
  return {};
}

/// All that the fragments carry beside zone entries; fails on what comes twice.
std::string joinFault(const Case& c, const BootstrapMessage& source,
                      const std::vector<BsrRouter::SentBsm>& fragments) {
  std::map<IpGenPrefix, BootstrapGroupData> joined;
  for (const auto& each : fragments) {
    for (const BootstrapGroupData& piece : each.bsm->groupRpData()) {
      const auto [it, first] = joined.emplace(piece.prefix(), piece);
      BootstrapGroupData& whole = it->second;
      if (first) continue;
      if (piece.rpCount() != whole.rpCount() || piece.groupFlags() != whole.groupFlags()) {
        return "pieces of " + piece.prefix().text() + " differ";
      }
      for (const auto& [address, data] : piece.rpList()) {
        if (whole.rpList().find(address) != nullptr) return address.text() + " twice";
        whole.rpList().rpIs(address, data);
      }
      whole.fragRpCountIs(static_cast<std::uint8_t>(whole.rpList().size()));
    }
  }
  if (c.scoped && joined.erase(c.zone()) != 1) return "no zone entry";
  const std::size_t own = source.groupRpData().size() - (c.scoped ? 1 : 0);
  if (joined.size() != own) return "ranges are missing";
  for (const BootstrapGroupData& group : source.groupRpData()) {
    if (c.scoped && group.prefix() == c.zone()) continue;
    if (!(joined.at(group.prefix()) == group)) return group.prefix().text() + " is not whole";
  }
  return {};
}

TEST(Fragments, CarryEveryRangeAndEveryRpExactlyOnceAndKeepTheRules) {
  ASSERT_TRUE(rc::check("any ranges, any MTU, also of received fragments", [] {
    const Case c = *genCase(true);
    VirtualWorld world;
    Station station(c, world.wheel);
    const auto source = messageOf(c);
    station.router.engine().forwardBsm(c.zone(), source);
    const auto sent = station.router.sentBsms();
    RC_ASSERT(station.router.sent.empty());  // all of it decodes
    const bool fits = lengthOf(*source, true) <= c.mtu;
    const bool room = c.mtu >= fixedPart + (c.scoped ? entry : 0) + 25;
    if (fits || !room || source->groupRpData().empty()) {
      RC_ASSERT(sent.size() == 1U);
      RC_ASSERT(sent[0].bsm->groupRpData() == source->groupRpData());
      return;
    }
    for (const auto& each : sent) RC_ASSERT(fragmentFault(c, *source, *each.bsm) == "");
    RC_ASSERT(joinFault(c, *source, sent) == "");
    // Not wasteful: what is sent beside heads is at least a third of the room, but in the last two.
    const std::size_t roomEach = c.mtu - fixedPart - (c.scoped ? entry : 0);
    RC_ASSERT(sent.size() * roomEach <= 3 * lengthOf(*source) + 2 * roomEach);
    RC_CLASSIFY(sent.size() > 1, "fragmented");
  }));
}

TEST(Fragments, InstallWhatTheWholeMessageWouldInstallInAnyOrder) {
  ASSERT_TRUE(rc::check("any whole message, any MTU", [] {
    const Case c = *genCase(false);
    VirtualWorld world;
    Station sender(c, world.wheel), whole(c, world.wheel), pieces(c, world.wheel);
    const auto source = messageOf(c);
    sender.router.engine().forwardBsm(c.zone(), source);
    auto sent = sender.router.sentBsms();
    std::vector<unsigned> order =
        *rc::gen::container<std::vector<unsigned>>(sent.size(), rc::gen::arbitrary<unsigned>());
    for (std::size_t i = sent.size(); i > 1; --i) std::swap(sent[i - 1], sent[order[i - 1] % i]);
    whole.router.hear("eth0", whole.neighbor, *source);
    for (const auto& each : sent) pieces.router.hear("eth0", pieces.neighbor, *each.bsm);
    const std::string zone = c.zone().text();
    RC_ASSERT(pieces.router.rpSetOf(zone) == whole.router.rpSetOf(zone));
    RC_ASSERT(pieces.router.pimRps() == whole.router.pimRps());
    RC_ASSERT(bsrFault(pieces.router) == "");
    // And a new neighbour of theirs hears the same from either.
    const auto said = [&](BsrRouter& router) {
      BootstrapMessage last = *router.follower(zone)->lastBsm();
      auto groups = last.groupRpData();
      std::sort(groups.begin(), groups.end(),
                [](const auto& a, const auto& b) { return a.prefix() < b.prefix(); });
      return groups;
    };
    RC_ASSERT(said(pieces.router) == said(whole.router));
  }));
}

}  // namespace
}  // namespace Routing::Pim::Bsr
