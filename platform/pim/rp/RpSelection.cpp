#include "platform/pim/rp/RpSelection.h"

#include <algorithm>
#include <compare>
#include <cstddef>

#include "platform/pim/rp/RpHash.h"

namespace Routing::Pim {
namespace {

struct RuleWords {
  std::string_view name;
  std::string_view text;
};

constexpr RuleWords ruleWords[] = {
    {"won", "chosen"},
    {"notMulticast", "the address is not a multicast group"},
    {"embeddedRp", "the group address names its RP itself"},
    {"ssm", "a source-specific group has no RP"},
    {"linkLocal", "a link-local group has no RP"},
    {"notCovered", "no mapping covers the group"},
    {"onlyContender", "only one mapping covers the group"},
    {"longestPrefix", "longest group prefix"},
    {"bidirFirst", "Bidir goes before sparse mode"},
    {"lowestPriority", "lowest RP priority value"},
    {"highestHash", "highest hash value"},
    {"highestAddress", "highest RP address"},
    {"duplicate", "an equal mapping stands earlier"},
};

const RuleWords& wordsOf(RpRule rule) {
  return ruleWords[static_cast<std::size_t>(rule)];
}

bool isBidir(const RpContender& c) {
  return c.mapping.mode == 2;
}

/// A step of the comparison of two contenders: "less" puts the first one ahead.
struct RankRule {
  RpRule rule;
  std::strong_ordering (*compare)(const RpContender& a, const RpContender& b);
};

// RFC 6226 section 6, steps 5 to 10. Each step compares what the steps before it left equal, which
// makes the whole a lexicographic order and the choice its first element.
constexpr RankRule ranking[] = {
    {RpRule::longestPrefix,
     [](const RpContender& a, const RpContender& b) {
       return b.mapping.groupRange.length() <=> a.mapping.groupRange.length();
     }},
    {RpRule::bidirFirst,
     [](const RpContender& a, const RpContender& b) { return isBidir(b) <=> isBidir(a); }},
    {RpRule::lowestPriority,
     [](const RpContender& a, const RpContender& b) {
       return a.mapping.priority <=> b.mapping.priority;
     }},
    {RpRule::highestHash,
     [](const RpContender& a, const RpContender& b) {
       return isBidir(a) ? std::strong_ordering::equal : b.hash <=> a.hash;
     }},
    {RpRule::highestAddress,
     [](const RpContender& a, const RpContender& b) { return b.mapping.rp <=> a.mapping.rp; }},
};

bool ranksBefore(const RpContender& a, const RpContender& b) {
  for (const RankRule& step : ranking) {
    const auto order = step.compare(a, b);
    if (order != 0) return order < 0;
  }
  return false;
}

RpRule firstDifference(const RpContender& best, const RpContender& other) {
  for (const RankRule& step : ranking) {
    if (step.compare(best, other) != 0) return step.rule;
  }
  return RpRule::duplicate;
}

bool covers(const RpMapping& mapping, const IpGenAddr& group) {
  return mapping.groupRange.contains(group) && mapping.rp.af() == group.af() &&
         !mapping.rp.isUnset();
}

std::vector<RpContender> rankedContenders(const IpGenAddr& group,
                                          std::span<const RpMapping> mappings) {
  const auto covering = [&group](const RpMapping& m) { return covers(m, group); };
  std::vector<RpContender> contenders;
  contenders.reserve(
      static_cast<std::size_t>(std::count_if(mappings.begin(), mappings.end(), covering)));
  for (const RpMapping& m : mappings) {
    if (covering(m)) contenders.push_back({m, rpHashValue(group, m.hashMaskLen, m.rp)});
  }
  std::stable_sort(contenders.begin(), contenders.end(), ranksBefore);
  return contenders;
}

/// The rule that settles the matter by the group address alone, if one does.
std::optional<RpRule> ruleOfGroup(const IpGenAddr& group) {
  if (!group.isMulticast()) return RpRule::notMulticast;
  if (isEmbeddedRpGroup(group)) return RpRule::embeddedRp;
  if (isSsmGroup(group)) return RpRule::ssm;
  if (isLinkLocalGroup(group)) return RpRule::linkLocal;
  return std::nullopt;
}

std::optional<RpMapping> embeddedMapping(const IpGenAddr& group) {
  const auto rp = embeddedRpOf(group);
  if (!rp) return std::nullopt;
  return RpMapping{.groupRange = IpGenPrefix(group, 96), .rp = *rp};
}

void settleByRank(RpChoice& choice) {
  auto& contenders = choice.contenders;
  if (contenders.empty()) return;
  const RpContender& best = contenders.front();
  choice.rp = best.mapping;
  for (std::size_t i = 1; i < contenders.size(); ++i) {
    contenders[i].lostBy = firstDifference(best, contenders[i]);
  }
  // The runner-up is the one that held out longest.
  choice.decidedBy = contenders.size() > 1 ? contenders[1].lostBy : RpRule::onlyContender;
}

}  // namespace

std::string_view rpRuleName(RpRule rule) {
  return wordsOf(rule).name;
}

std::string_view rpRuleText(RpRule rule) {
  return wordsOf(rule).text;
}

RpChoice selectRp(const IpGenAddr& group, std::span<const RpMapping> mappings) {
  RpChoice choice;
  choice.contenders = rankedContenders(group, mappings);
  const auto groupRule = ruleOfGroup(group);
  if (!groupRule) {
    settleByRank(choice);
    return choice;
  }
  choice.decidedBy = *groupRule;
  for (RpContender& c : choice.contenders) c.lostBy = *groupRule;
  if (*groupRule == RpRule::embeddedRp) choice.rp = embeddedMapping(group);
  return choice;
}

bool isSsmGroup(const IpGenAddr& group) {
  return group.af() == AddressFamily::ipv4 ? group.upper() >> 56 == 232
                                           : group.af() == AddressFamily::ipv6 &&
                                                 (group.upper() >> 32 & 0xfff0ffffU) == 0xff300000U;
}

bool isLinkLocalGroup(const IpGenAddr& group) {
  if (!group.isMulticast()) return false;
  if (group.af() == AddressFamily::ipv4) return group.upper() >> 40 == 0xe00000;
  const std::uint64_t scope = group.upper() >> 48 & 0xf;
  return scope == 1 || scope == 2;
}

RpRule ruleOfRange(const IpGenPrefix& range) {
  const RpRule rule = ruleOfGroup(range.address()).value_or(RpRule::notCovered);
  const bool v4 = range.af() == AddressFamily::ipv4;
  // From how many bits on a range lies in the groups of the rule as a whole.
  const unsigned bits = rule == RpRule::ssm          ? (v4 ? 8 : 32)
                        : rule == RpRule::linkLocal  ? (v4 ? 24 : 16)
                        : rule == RpRule::embeddedRp ? 12
                                                     : 0;
  return range.length() >= bits ? rule : RpRule::notCovered;
}

bool isEmbeddedRpGroup(const IpGenAddr& group) {
  return group.af() == AddressFamily::ipv6 && group.upper() >> 52 == 0xff7;
}

// ff7S:0IPP, the 64-bit network prefix, the 32-bit group identifier: S scope, I the RP's interface
// identifier, PP the prefix length.
std::optional<IpGenAddr> embeddedRpOf(const IpGenAddr& group) {
  if (!isEmbeddedRpGroup(group)) return std::nullopt;
  const auto length = static_cast<unsigned>(group.upper() >> 32 & 0xff);
  const std::uint64_t identifier = group.upper() >> 40 & 0xf;
  if (length == 0 || length > 64 || identifier == 0) return std::nullopt;
  const std::uint64_t prefixField = group.upper() << 32 | group.lower() >> 32;
  const std::uint64_t prefix = IpGenAddr::v6(prefixField, 0).masked(length).upper();
  const IpGenAddr rp = IpGenAddr::v6(prefix, identifier);
  if (prefix >> 48 == 0 || rp.isLinkLocal() || rp.isMulticast()) return std::nullopt;
  return rp;
}

}  // namespace Routing::Pim
