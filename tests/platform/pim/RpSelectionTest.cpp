#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/pim/rp/RpHash.h"
#include "platform/pim/rp/RpSelection.h"
#include "tests/support/Octets.h"
#include "tests/support/Split.h"
#include "tests/support/Table.h"

namespace Routing::Pim {

void showValue(const RpMapping& m, std::ostream& out) {
  out << m.groupRange << " rp " << m.rp << " mode " << unsigned{m.mode} << " priority "
      << m.priority << " mask " << m.hashMaskLen;
}

namespace {

using TestKit::addr;
const auto pfx = TestKit::prefix;

TEST(RpHash, GivesTheKnownValuesAndChoices) {
  const auto rows = TestKit::table("pim/rp-hash.txt");
  EXPECT_EQ(rows.size(), 8U);
  for (const auto& row : rows) {
    const IpGenAddr group = addr(row.at(0));
    const auto maskLen = static_cast<unsigned>(std::stoul(row.at(1)));
    std::set<std::uint32_t> values;
    std::vector<RpMapping> mappings;
    for (const std::string& text : TestKit::split(row.at(2))) {
      const auto rp = addr(text.substr(0, text.find('=')));
      values.insert(rpHashValue(group, maskLen, rp));
      EXPECT_EQ(std::to_string(rpHashValue(group, maskLen, rp)), text.substr(text.find('=') + 1));
      mappings.push_back({IpGenPrefix::multicast(group.af()), rp, 1, 192, maskLen});
    }
    const RpChoice choice = selectRp(group, mappings);
    ASSERT_TRUE(choice.rp) << row.at(0);
    EXPECT_EQ(choice.rp->rp.text(), row.at(3)) << row.at(0);
    const bool tie = values.size() < mappings.size();
    EXPECT_EQ(choice.decidedBy, tie ? RpRule::highestAddress : RpRule::highestHash) << row.at(0);
  }
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

TEST(RpSelection, GroupsMaySayWhatRpTheyHave) {
  const std::vector<RpMapping> mappings = {{pfx("224.0.0.0/4"), addr("10.0.0.1"), 1, 0, 30},
                                           {pfx("ff00::/8"), addr("2001:db8::1"), 1, 0, 126}};
  const auto rows = TestKit::table("pim/groups.txt");
  EXPECT_EQ(rows.size(), 32U);
  for (const auto& row : rows) {
    const IpGenAddr group = addr(row.at(0));
    const RpChoice choice = selectRp(group, mappings);
    const auto embedded = embeddedRpOf(group);
    std::string found = embedded ? embedded->text() : "no-rp";
    if (choice.decidedBy == RpRule::ssm && !choice.rp) found = "ssm";
    if (choice.decidedBy == RpRule::linkLocal && !choice.rp) found = "link-local";
    if (choice.rp && choice.decidedBy == RpRule::onlyContender) found = "mapped";
    EXPECT_EQ(found, row.at(1)) << row.at(0) << ": " << row.at(2);
    EXPECT_EQ(choice.contenders.size(), 1U) << row.at(0);
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

/// The rule of RFC 6226 section 6 by which one covering mapping stands behind another, looked at
/// one after the other; nothing if it does not.
std::optional<RpRule> lostTo(const RpMapping& winner, const RpMapping& m, const IpGenAddr& group) {
  using Merit = std::pair<RpRule, std::uint64_t>;
  const auto merits = [&](const RpMapping& of) -> std::vector<Merit> {
    const bool bidir = of.mode == 2;
    return {{RpRule::longestPrefix, of.groupRange.length()},
            {RpRule::bidirFirst, bidir},
            {RpRule::lowestPriority, ~std::uint64_t{of.priority}},
            {RpRule::highestHash, bidir ? 0 : slowHash(of, group)}};
  };
  const auto best = merits(winner), own = merits(m);
  for (std::size_t i = 0; i < own.size(); ++i) {
    if (own[i].second < best[i].second) return own[i].first;
    if (own[i].second > best[i].second) return std::nullopt;
  }
  if (m.rp == winner.rp) return RpRule::duplicate;
  return m.rp < winner.rp ? std::optional(RpRule::highestAddress) : std::nullopt;
}

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

RC_GTEST_PROP(RpSelection, ChoosesTheOneThatNoOtherBeats, ()) {
  const IpGenAddr group =
      *rc::gen::element(addr("239.1.1.1"), addr("225.1.2.3"), addr("ff0e::1:2:3"));
  const auto mappings = *rc::gen::container<std::vector<RpMapping>>(mappingFor(group));
  const RpChoice choice = selectRp(group, mappings);
  const auto covering = std::ranges::count_if(
      mappings, [&](const RpMapping& m) { return m.groupRange.contains(group); });
  RC_ASSERT(choice.contenders.size() == static_cast<std::size_t>(covering));
  RC_ASSERT(choice.rp.has_value() == (covering > 0));
  RpRule last = covering > 0 ? RpRule::onlyContender : RpRule::notCovered;
  for (const RpContender& c : choice.contenders) {
    RC_ASSERT(std::ranges::count(mappings, c.mapping) ==
              std::ranges::count(choice.contenders, c.mapping, &RpContender::mapping));
    RC_ASSERT(c.hash == slowHash(c.mapping, group));
    const bool chosen = &c == &choice.contenders.front();
    if (chosen) RC_ASSERT(c.mapping == *choice.rp);
    RC_ASSERT(c.lostBy == (chosen ? RpRule::won : lostTo(*choice.rp, c.mapping, group)));
    if (!chosen) last = std::max(last, c.lostBy);
  }
  RC_ASSERT(choice.decidedBy == last);
}

}  // namespace
}  // namespace Routing::Pim
