#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <sstream>

#include "platform/acl/AclToPrefix.h"
#include "tests/support/ConfigBed.h"
#include "tests/support/Split.h"
#include "tests/support/Table.h"
#include "tests/support/TraceRecorder.h"

namespace Routing::TestKit {
namespace {

std::string text(const std::set<IpGenPrefix>& prefixes) {
  std::string out;
  for (const IpGenPrefix& prefix : prefixes) out += (out.empty() ? "" : " ") + prefix.text();
  return out;
}

AclPrefixes convert(AddressFamily af, AclType type, const std::vector<AclRule>& rules) {
  AclToPrefix conversion(af, type);
  for (const AclRule& rule : rules) conversion.handleRule(rule);
  return conversion.prefixes();
}

TEST(AclToPrefix, PermitsWhatTheTableSays) {
  const auto rows = TestKit::table("acl/lists.txt");
  EXPECT_EQ(rows.size(), 32U);
  for (const auto& row : rows) {
    const auto af = row.at(0).starts_with('4') ? AddressFamily::ipv4 : AddressFamily::ipv6;
    const auto type = row.at(0).ends_with("extended") ? AclType::extended : AclType::standard;
    std::vector<AclRule> rules;
    for (const std::string& rule : TestKit::split(row.at(1), ';')) {
      rules.push_back(aclRule(rule.substr(rule.find_first_not_of(' '))));
    }
    const AclPrefixes result = convert(af, type, rules);
    EXPECT_EQ(text(result.group), row.at(2)) << row.at(1);
    EXPECT_EQ(text(result.unicast), row.at(3)) << row.at(1);
  }
}

TEST(AclToPrefix, TakesNoTextForAddressesThatHasNone) {
  for (const char* text : {"", "none", "host none", "300.1.1.1", "10.0.0.0 none", "10.0.0.0 ::1"}) {
    EXPECT_FALSE(AclAddresses::fromText(text)) << text;
  }
}

TEST(AclToPrefix, PassesOverNarrowedRules) {
  AclRule narrowed = aclRule("deny 239.1.0.0/16");
  narrowed.narrowed = true;
  const auto result =
      convert(AddressFamily::ipv4, AclType::standard, {narrowed, aclRule("permit 239.0.0.0/8")});
  EXPECT_EQ(text(result.group), "239.0.0.0/8");
}

TEST(AclToPrefix, FailsClosedOnWildcardsThatAreTooScattered) {
  TraceRecorder traces("Acl");
  // 12 scattered bits are 4096 intervals, 13 are too many.
  const auto most =
      convert(AddressFamily::ipv4, AclType::standard, {aclRule("permit 239.0.0.0 0.170.170.170")});
  EXPECT_EQ(most.group.size(), 4096U);
  EXPECT_EQ(traces.lines().size(), 0U);
  const auto permit =
      convert(AddressFamily::ipv4, AclType::standard, {aclRule("permit 238.0.0.0 1.170.170.170")});
  EXPECT_EQ(text(permit.group), "");
  EXPECT_TRUE(traces.contains("", 3, "permit skipped"));
  const auto deny =
      convert(AddressFamily::ipv4, AclType::standard,
              {aclRule("deny 238.0.0.0 1.170.170.170"), aclRule("permit 236.0.0.0/6")});
  EXPECT_EQ(text(deny.group), "236.0.0.0/7");
  EXPECT_TRUE(traces.contains("", 3, "deny widened"));
}

// --- against address by address ---------------------------------------------------------------

/// A toy universe: ten bits below a base address, taken from random places of the address.
struct Universe {
  AddressFamily af;
  IpGenAddr base;
  std::vector<unsigned> bits;  ///< positions of the toy bits, the most significant first

  AddressNumber number(unsigned toy) const {
    AddressNumber result = addressNumber(base);
    for (std::size_t i = 0; i < bits.size(); ++i) {
      if ((toy >> (bits.size() - 1 - i) & 1) != 0) result |= AddressNumber{1} << bits[i];
    }
    return result;
  }
  IpGenAddr address(unsigned toy) const { return addressOfNumber(af, number(toy)); }
};

constexpr unsigned toyBits = 10;

bool speaksOf(const AclAddresses& addresses, const IpGenAddr& address) {
  if (addresses.kind() == AclAddresses::Kind::any) return true;
  if (addresses.af() != address.af()) return false;
  if (addresses.kind() == AclAddresses::Kind::prefix) return addresses.prefix().contains(address);
  const AddressNumber difference = addressNumber(address) ^ addressNumber(addresses.address());
  return (difference & ~addressNumber(addresses.wildcard())) == 0;
}

bool permitted(const std::vector<AclRule>& rules, const IpGenAddr& address) {
  for (const AclRule& rule : rules) {
    if (speaksOf(rule.source, address)) return rule.action == AclAction::permit;
  }
  return false;
}

/// A number below a limit, evenly spread whatever the test's size.
unsigned below(unsigned limit) {
  return *rc::gen::resize(rc::kNominalSize, rc::gen::inRange(0U, limit));
}

AclRule anyRule(const Universe& universe) {
  AclRule rule;
  rule.action = below(3) == 0 ? AclAction::deny : AclAction::permit;
  const auto toy = [] { return below(1U << toyBits); };
  switch (below(9)) {
    case 0:
      break;
    case 1:
      rule.source = AclAddresses::host(universe.address(toy()));
      break;
    case 2:
    case 3: {
      const AddressNumber mask = universe.number(toy()) & ~addressNumber(universe.base);
      rule.source =
          AclAddresses::wildcard(universe.address(toy()), addressOfNumber(universe.af, mask));
      break;
    }
    default: {
      const unsigned bits = addressBits(universe.af);
      const unsigned length = bits - universe.bits[below(toyBits)] - below(2);
      rule.source = AclAddresses::prefix({universe.address(toy()), length});
    }
  }
  return rule;
}

void expectMinimal(const std::set<IpGenPrefix>& prefixes) {
  for (const IpGenPrefix& prefix : prefixes) {
    for (unsigned length = 0; length < prefix.length(); ++length) {
      RC_ASSERT(!prefixes.contains(IpGenPrefix(prefix.address(), length)));
    }
    if (prefix.length() == 0) continue;
    const unsigned last = addressBits(prefix.af()) - prefix.length();
    const AddressNumber sibling = addressNumber(prefix.address()) ^ AddressNumber { 1 } << last;
    RC_ASSERT(!prefixes.contains({addressOfNumber(prefix.af(), sibling), prefix.length()}));
  }
}

bool covered(const std::set<IpGenPrefix>& prefixes, const IpGenAddr& address) {
  return std::any_of(prefixes.begin(), prefixes.end(),
                     [&](const IpGenPrefix& prefix) { return prefix.contains(address); });
}

TEST(AclToPrefix, AgreesWithFirstMatchAddressByAddress) {
  const Universe universes[] = {
      {AddressFamily::ipv4, addr("239.0.0.0"), {9, 8, 7, 6, 5, 4, 3, 2, 1, 0}},
      {AddressFamily::ipv4, addr("10.0.0.0"), {23, 22, 17, 16, 9, 8, 7, 2, 1, 0}},
      {AddressFamily::ipv4, addr("0.0.0.0"), {31, 30, 29, 28, 27, 26, 3, 2, 1, 0}},
      {AddressFamily::ipv6, addr("ff00::"), {119, 118, 117, 66, 65, 64, 63, 62, 1, 0}},
      {AddressFamily::ipv6, addr("::"), {127, 126, 121, 120, 119, 65, 64, 63, 1, 0}},
  };
  EXPECT_TRUE(rc::check([&] {
    const Universe& universe = universes[below(5)];
    std::vector<AclRule> rules;
    const unsigned count = below(9);
    for (unsigned i = 0; i < count; ++i) rules.push_back(anyRule(universe));
    const AclPrefixes result = convert(universe.af, AclType::standard, rules);
    expectMinimal(result.group);
    expectMinimal(result.unicast);
    for (unsigned toy = 0; toy < 1U << toyBits; ++toy) {
      const IpGenAddr address = universe.address(toy);
      const bool multicast = IpGenPrefix::multicast(universe.af).contains(address);
      RC_ASSERT(covered(result.group, address) == (multicast && permitted(rules, address)));
      if (!multicast) RC_ASSERT(covered(result.unicast, address) == permitted(rules, address));
    }
  }));
}

}  // namespace
}  // namespace Routing::TestKit
