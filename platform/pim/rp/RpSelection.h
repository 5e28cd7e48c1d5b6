#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "platform/Export.h"
#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"

namespace Routing::Pim {

/// One group-to-RP mapping: an RP that offers itself for a range of groups.
struct RpMapping {
  IpGenPrefix groupRange;
  IpGenAddr rp;
  std::uint8_t mode = 1;     ///< 2 bidirectional, anything else sparse mode
  unsigned priority = 0;     ///< the lowest value is preferred
  unsigned hashMaskLen = 0;  ///< group bits that enter the hash

  friend bool operator==(const RpMapping&, const RpMapping&) = default;
};

/// The steps of RP selection, in the order in which they are applied (RFC 6226 section 6).
enum class RpRule : std::uint8_t {
  won,            ///< a contender's mark only: it was chosen
  notMulticast,   ///< the address is no group at all
  embeddedRp,     ///< the group lies in ff70::/12 and names its RP itself (RFC 3956)
  ssm,            ///< source-specific groups have no RP (RFC 7761 section 4.8)
  linkLocal,      ///< groups that stay on a link or an interface have no RP
  notCovered,     ///< no mapping covers the group
  onlyContender,  ///< a choice's mark only: there was nothing to compare
  longestPrefix,
  bidirFirst,
  lowestPriority,
  highestHash,  ///< sparse mode only (RFC 6226 section 10)
  highestAddress,
  duplicate,  ///< equal in all of the above to one that stands earlier in the list
};

/// A stable one-word name ("longestPrefix"), and a phrase for people.
ROUTING_API std::string_view rpRuleName(RpRule rule);
ROUTING_API std::string_view rpRuleText(RpRule rule);

/// A mapping that covers the group.
struct RpContender {
  RpMapping mapping;
  std::uint32_t hash = 0;       ///< rpHashValue with the mapping's own mask; not compared for Bidir
  RpRule lostBy = RpRule::won;  ///< the first rule by which it falls behind the chosen one
};

/// The answer for one group and how it came about.
struct RpChoice {
  /// The mapping that serves the group, if any. For an embedded RP it is made from the group
  /// address, for the /96 that shares the RP, and absent where the address names no usable RP.
  std::optional<RpMapping> rp;
  /// Every mapping that covers the group, from the most to the least preferred. Where a rule about
  /// the group itself decides, that rule is what all of them lost by.
  std::vector<RpContender> contenders;
  /// The rule that settled it: the last one that set a contender apart from the chosen one.
  RpRule decidedBy = RpRule::notCovered;

  std::string_view reason() const { return rpRuleText(decidedBy); }
};

/// Chooses the RP of a group (RFC 6226 section 6 with the mappings of one BSR). The order of the
/// mappings matters between duplicates only; a mapping whose RP is unset or of another family is
/// passed over. Time grows as n log n, memory with the number of covering mappings.
ROUTING_API RpChoice selectRp(const IpGenAddr& group, std::span<const RpMapping> mappings);

/// True in 232.0.0.0/8 and ff3x::/32.
ROUTING_API bool isSsmGroup(const IpGenAddr& group);
/// True in 224.0.0.0/24 and in IPv6's interface-local and link-local scopes (RFC 4291 section 2.7).
ROUTING_API bool isLinkLocalGroup(const IpGenAddr& group);
/// The rule by which no group of a range has an RP from the RP set; notCovered if some may have.
ROUTING_API RpRule ruleOfRange(const IpGenPrefix& range);
/// True in ff70::/12.
ROUTING_API bool isEmbeddedRpGroup(const IpGenAddr& group);
/// The RP named by a group in ff70::/12 (RFC 3956 section 3). None for other groups, for a prefix
/// length of 0 or above 64, for the reserved interface identifier 0, and where the address would be
/// in ::/16, fe80::/10 or ff00::/8, which RFC 3956 section 10 excludes.
ROUTING_API std::optional<IpGenAddr> embeddedRpOf(const IpGenAddr& group);

}  // namespace Routing::Pim
