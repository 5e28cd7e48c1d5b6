#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/pim/RpHash.h"
#include "platform/pim/RpSelection.h"

namespace Routing::Pim {

void showValue(const RpMapping& m, std::ostream& out) {
  out << m.groupRange << " rp " << m.rp << " mode " << unsigned{m.mode} << " priority "
      << m.priority << " mask " << m.hashMaskLen;
}

namespace {

IpGenAddr addr(const char* text) {
  return IpGenAddr::fromText(text).value();
}
IpGenPrefix pfx(const char* text) {
  return IpGenPrefix::fromText(text).value();
}

struct Vector {
  const char* group;
  unsigned maskLen;
  std::vector<std::pair<const char*, std::uint32_t>> values;
  const char* chosen;
};

const Vector vectors[] = {
    {"239.1.1.1", 30, {{"10.0.0.1", 1679372561}, {"10.0.0.2", 694951000}}, "10.0.0.1"},
    {"239.1.1.4", 30, {{"10.0.0.1", 514038453}, {"10.0.0.2", 1677100540}}, "10.0.0.2"},
    {"224.1.1.1", 0, {{"2.2.2.2", 1524600152}, {"3.3.3.3", 450145259}}, "2.2.2.2"},
    {"239.255.255.250",
     32,
     {{"192.168.1.254", 634892906}, {"172.16.0.1", 527837595}, {"10.255.255.1", 1405874843}},
     "10.255.255.1"},
    {"ff0e::1:2:3", 126, {{"2001:db8::1", 602252908}, {"2001:db8::2", 1586674469}}, "2001:db8::2"},
    {"ff05:0:0:1::abcd",
     126,
     {{"3ffe:b00:c18:1::10", 592704464},
      {"2001:db8:ffff::99", 1786399904},
      {"fd00::1", 1896427008}},
     "fd00::1"},
    {"ff3e:40:2001:db8::beef:7",
     64,
     {{"2001:db8:1::1", 1370840961}, {"2001:db8:2::1", 55074689}},
     "2001:db8:1::1"},
    {"225.1.2.3", 24, {{"10.0.0.1", 749967889}, {"138.0.0.1", 749967889}}, "138.0.0.1"},
};

TEST(RpHash, GivesTheKnownValuesAndChoices) {
  for (const Vector& v : vectors) {
    const IpGenAddr group = addr(v.group);
    std::vector<RpMapping> mappings;
    for (const auto& [rp, value] : v.values) {
      EXPECT_EQ(rpHashValue(group, v.maskLen, addr(rp)), value) << v.group << " " << rp;
      mappings.push_back({IpGenPrefix::multicast(group.af()), addr(rp), 1, 192, v.maskLen});
    }
    const RpChoice choice = selectRp(group, mappings);
    ASSERT_TRUE(choice.rp) << v.group;
    EXPECT_EQ(choice.rp->rp, addr(v.chosen)) << v.group;
    const bool tie = v.values[0].second == v.values[1].second;
    EXPECT_EQ(choice.decidedBy, tie ? RpRule::highestAddress : RpRule::highestHash) << v.group;
  }
}

// An IPv4 address inside ::/96 has the digest of the IPv4 address (RFC 7761 section 4.7.2).
TEST(RpHash, FoldsIpv4CompatibleAddressesToTheirIpv4Address) {
  EXPECT_EQ(rpHashValue(addr("::239.1.1.1"), 126, addr("::10.0.0.1")), 1679372561U);
}

TEST(RpHash, MaskLengthBeyondTheAddressMasksNothing) {
  const IpGenAddr group = addr("239.1.1.1");
  EXPECT_EQ(rpHashValue(group, 128, addr("10.0.0.1")), rpHashValue(group, 32, addr("10.0.0.1")));
  EXPECT_NE(rpHashValue(group, 31, addr("10.0.0.1")), rpHashValue(group, 32, addr("10.0.0.1")));
}

/// "10.0.0.1 won, 10.0.0.2 lowestPriority; lowestPriority": the contenders' fates and the decision.
std::string account(const RpChoice& choice) {
  std::string out;
  for (const RpContender& c : choice.contenders) {
    out += (out.empty() ? "" : ", ") + c.mapping.rp.text() + ' ';
    out += rpRuleName(c.lostBy);
  }
  return (out += "; ") += rpRuleName(choice.decidedBy);
}

TEST(RpSelection, ExplainsEveryContender) {
  const std::vector<RpMapping> mappings = {
      {pfx("224.0.0.0/4"), addr("10.0.0.9"), 2, 0, 30},
      {pfx("239.0.0.0/8"), addr("10.0.0.1"), 1, 0, 30},
      {pfx("239.0.0.0/8"), addr("10.0.0.2"), 2, 7, 30},
      {pfx("239.0.0.0/8"), addr("10.0.0.3"), 2, 5, 30},
      {pfx("239.0.0.0/8"), addr("10.0.0.4"), 2, 5, 30},
      {pfx("232.0.0.0/8"), addr("10.0.0.5"), 1, 0, 30},
  };
  EXPECT_EQ(account(selectRp(addr("239.1.2.3"), mappings)),
            "10.0.0.4 won, 10.0.0.3 highestAddress, 10.0.0.2 lowestPriority, 10.0.0.1 bidirFirst, "
            "10.0.0.9 longestPrefix; highestAddress");
  EXPECT_EQ(account(selectRp(addr("225.1.2.3"), mappings)), "10.0.0.9 won; onlyContender");
  EXPECT_EQ(account(selectRp(addr("232.1.2.3"), mappings)), "10.0.0.5 ssm, 10.0.0.9 ssm; ssm");
  EXPECT_EQ(account(selectRp(addr("10.1.2.3"), mappings)), "; notMulticast");
  EXPECT_EQ(account(selectRp(addr("ff0e::1"), mappings)), "; notCovered");
  EXPECT_EQ(account(selectRp(IpGenAddr(), mappings)), "; notMulticast");
  EXPECT_EQ(selectRp(addr("ff0e::1"), mappings).reason(), "no mapping covers the group");
}

TEST(RpSelection, PassesOverRpsThatCannotServe) {
  const std::vector<RpMapping> mappings = {
      {pfx("ff00::/8"), addr("10.0.0.1"), 1, 0, 30},
      {pfx("ff00::/8"), addr("::"), 1, 0, 30},
      {IpGenPrefix(), addr("2001:db8::1"), 1, 0, 126},
  };
  EXPECT_EQ(account(selectRp(addr("ff0e::1"), mappings)), "; notCovered");
}

TEST(RpSelection, SsmRangesHaveNoRp) {
  const std::vector<RpMapping> mappings = {{pfx("224.0.0.0/4"), addr("10.0.0.1"), 1, 0, 30},
                                           {pfx("ff00::/8"), addr("2001:db8::1"), 1, 0, 126}};
  for (const char* group : {"232.0.0.0", "232.255.255.255", "ff30::1", "ff3e:0:1::1",
                            "ff3f:0:ffff:ffff:ffff:ffff:ffff:ffff"}) {
    const RpChoice choice = selectRp(addr(group), mappings);
    EXPECT_EQ(choice.decidedBy, RpRule::ssm) << group;
    EXPECT_FALSE(choice.rp) << group;
    EXPECT_EQ(choice.contenders.size(), 1U) << group;
  }
  for (const char* group : {"231.255.255.255", "233.0.0.0", "ff2e::1", "ff4e::1", "ff3e:1::1",
                            "ff3e:40:2001:db8::1", "ffbe::1"}) {
    EXPECT_TRUE(selectRp(addr(group), mappings).rp) << group;
  }
}

TEST(RpSelection, EmbeddedRpGroupNamesItsRp) {
  const std::pair<const char*, const char*> cases[] = {
      {"ff7e:140:2001:db8:beef:feed::1234", "2001:db8:beef:feed::1"},
      {"ff7e:f40:2001:db8:beef:feed::1234", "2001:db8:beef:feed::f"},
      {"ff75:120:2001:db8:dead::1", "2001:db8::1"},
      {"ff7e:121:2001:db8:ffff::1", "2001:db8:8000::1"},
      {"ff7e:101:8000::1", "8000::1"},
      {"ff7e:40:2001:db8::1", "none"},             // interface identifier 0
      {"ff7e:100:2001:db8::1", "none"},            // prefix length 0
      {"ff7e:141:2001:db8::1", "none"},            // prefix length 65
      {"ff7e:140::1", "none"},                     // the RP would be in ::/16
      {"ff7e:140:fe80::1", "none"},                // link-local
      {"ff7e:140:ff0e::1", "none"},                // multicast
      {"ff6e:140:2001:db8:beef:feed::1", "none"},  // R without P and T
      {"fff0:140:2001:db8:beef:feed::1", "none"},  // top flag set: outside ff70::/12
  };
  for (const auto& [group, rp] : cases) {
    const auto embedded = embeddedRpOf(addr(group));
    EXPECT_EQ(embedded ? embedded->text() : "none", rp) << group;
  }
}

// An unusable embedded address does not fall back to the mappings.
TEST(RpSelection, EmbeddedRpGoesBeforeEveryMapping) {
  const std::vector<RpMapping> mappings = {{pfx("ff7e::/16"), addr("2001:db8::9"), 2, 0, 126}};
  const RpChoice named = selectRp(addr("ff7e:140:2001:db8:beef:feed::1234"), mappings);
  EXPECT_EQ(account(named), "2001:db8::9 embeddedRp; embeddedRp");
  EXPECT_EQ(named.rp->rp, addr("2001:db8:beef:feed::1"));
  EXPECT_EQ(named.rp->groupRange, pfx("ff7e:140:2001:db8:beef:feed::/96"));
  const RpChoice unusable = selectRp(addr("ff7e:140::1"), mappings);
  EXPECT_EQ(account(unusable), "2001:db8::9 embeddedRp; embeddedRp");
  EXPECT_FALSE(unusable.rp);
}

/// The hash done octet by octet, in 64 bits and with the modulo as the formula has it.
std::uint64_t slowHash(const RpMapping& m, const IpGenAddr& group) {
  const auto fold = [](const IpGenAddr& address, unsigned maskLen) {
    std::uint8_t octets[16] = {};
    address.toBytes(octets);
    std::uint32_t digest = 0;
    for (unsigned i = 0; i < 128; ++i) {
      const bool one = octets[i / 8] >> (7 - i % 8) & 1;
      if (i < maskLen && one) digest ^= 0x80000000U >> i % 32;
    }
    return digest;
  };
  const std::uint64_t modulus = std::uint64_t{1} << 31;
  const std::uint64_t inner =
      (1103515245ULL * (fold(group, m.hashMaskLen) % modulus) + 12345) % modulus;
  return (1103515245ULL * (inner ^ fold(m.rp, 128) % modulus) + 12345) % modulus;
}

/// Drops contenders rule by rule, as RFC 6226 section 6 is written.
class Elimination {
 public:
  Elimination(const IpGenAddr& group, const std::vector<RpMapping>& mappings) {
    for (const RpMapping& m : mappings) {
      if (m.groupRange.contains(group)) alive_.push_back(m);
    }
    const auto bidir = [](const RpMapping& m) { return m.mode == 2; };
    apply(RpRule::longestPrefix, [](const RpMapping& a, const RpMapping& b) {
      return a.groupRange.length() > b.groupRange.length();
    });
    apply(RpRule::bidirFirst,
          [&](const RpMapping& a, const RpMapping& b) { return bidir(a) && !bidir(b); });
    apply(RpRule::lowestPriority,
          [](const RpMapping& a, const RpMapping& b) { return a.priority < b.priority; });
    apply(RpRule::highestHash, [&](const RpMapping& a, const RpMapping& b) {
      return !bidir(a) && slowHash(a, group) > slowHash(b, group);
    });
    apply(RpRule::highestAddress,
          [](const RpMapping& a, const RpMapping& b) { return a.rp > b.rp; });
  }

  /// Those that no rule sets apart; more than one only if they are duplicates.
  const std::vector<RpMapping>& left() const { return alive_; }
  const std::multimap<RpRule, RpMapping>& dropped() const { return dropped_; }

 private:
  using Better = std::function<bool(const RpMapping&, const RpMapping&)>;

  void apply(RpRule rule, const Better& better) {
    std::vector<RpMapping> kept;
    for (const RpMapping& m : alive_) {
      const bool beaten = std::any_of(alive_.begin(), alive_.end(),
                                      [&](const RpMapping& other) { return better(other, m); });
      if (beaten) {
        dropped_.emplace(rule, m);
      } else {
        kept.push_back(m);
      }
    }
    alive_ = kept;
  }

  std::vector<RpMapping> alive_;
  std::multimap<RpRule, RpMapping> dropped_;
};

rc::Gen<RpMapping> mappingFor(const IpGenAddr& group) {
  const bool v4 = group.af() == AddressFamily::ipv4;
  const auto rp = v4 ? rc::gen::element(addr("10.0.0.1"), addr("10.0.0.2"), addr("138.0.0.1"),
                                        addr("192.168.1.254"))
                     : rc::gen::element(addr("2001:db8::1"), addr("2001:db8::2"), addr("fd00::1"),
                                        addr("2001:db8::8000:1"));
  const auto range = v4 ? rc::gen::element(4U, 8U, 24U, 32U) : rc::gen::element(8U, 16U, 96U, 128U);
  const auto elsewhere = v4 ? pfx("226.0.0.0/8") : pfx("ff08::/16");
  return rc::gen::apply(
      [=](unsigned length, bool covering, const IpGenAddr& address, bool bidir, unsigned priority,
          unsigned maskLen) {
        return RpMapping{covering ? IpGenPrefix(group, length) : elsewhere, address,
                         static_cast<std::uint8_t>(bidir ? 2 : 1), priority, maskLen};
      },
      range, rc::gen::map(rc::gen::inRange(0, 8), [](int n) { return n > 0; }), rp,
      rc::gen::map(rc::gen::inRange(0, 4), [](int n) { return n == 0; }),
      rc::gen::element(0U, 5U, 192U), rc::gen::element(0U, 30U, 126U, 128U));
}

RC_GTEST_PROP(RpSelection, AgreesWithStepByStepElimination, ()) {
  const IpGenAddr group =
      *rc::gen::element(addr("239.1.1.1"), addr("225.1.2.3"), addr("ff0e::1:2:3"));
  const auto mappings = *rc::gen::container<std::vector<RpMapping>>(mappingFor(group));
  const Elimination slow(group, mappings);
  const RpChoice fast = selectRp(group, mappings);

  std::size_t survivors = 0;
  std::multimap<RpRule, RpMapping> lost = slow.dropped();
  for (const RpContender& c : fast.contenders) {
    RC_ASSERT(c.hash == slowHash(c.mapping, group));
    const auto same = std::find_if(lost.begin(), lost.end(), [&](const auto& entry) {
      return entry == std::pair<const RpRule, RpMapping>(c.lostBy, c.mapping);
    });
    const bool left = c.lostBy == RpRule::won || c.lostBy == RpRule::duplicate;
    RC_ASSERT(left == (same == lost.end()));
    if (left) {
      RC_ASSERT((c.lostBy == RpRule::won) == (survivors++ == 0));
    } else {
      lost.erase(same);
    }
  }
  RC_ASSERT(lost.empty());
  RC_ASSERT(survivors == slow.left().size());
  if (slow.left().empty()) {
    RC_ASSERT(!fast.rp);
    RC_ASSERT(fast.decidedBy == RpRule::notCovered);
    return;
  }
  RC_ASSERT(*fast.rp == slow.left().front());
  RC_ASSERT(fast.contenders.front().mapping == *fast.rp);
  const RpRule last = survivors > 1            ? RpRule::duplicate
                      : slow.dropped().empty() ? RpRule::onlyContender
                                               : slow.dropped().rbegin()->first;
  RC_ASSERT(fast.decidedBy == last);
}

}  // namespace
}  // namespace Routing::Pim
