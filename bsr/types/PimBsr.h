#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <iosfwd>
#include <string_view>

#include "platform/Export.h"
#include "platform/entity/ValueText.h"
#include "platform/net/IpGenAddr.h"
#include "platform/pim/PimTypes.h"

namespace Routing::Pim::Bsr {

/// Marks of a value that is not set, shared by configuration and status.
inline constexpr std::uint16_t priorityUnknown = 256;
inline constexpr std::uint32_t hashMaskLenUnknown = 128;
inline constexpr std::uint32_t bsPeriodUnknown = 0;

/// Whether a zone is the global one or an administratively scoped one (RFC 5059 section 1.3).
enum class Scope : std::uint8_t { global, admin };

/// State of a candidate BSR in a zone (RFC 5059 section 3.1.1).
enum class BsrCandidateState : std::uint8_t { noInfoBsr = 0, cBsr = 1, pBsr = 2, eBsr = 3 };

/// State of a router that is no candidate BSR in a zone (RFC 5059 section 3.1.2).
enum class BsrNonCandidateState : std::uint8_t { noInfo = 0, acceptAny = 1, acceptPreferred = 2 };

struct CrpAdvIntervalTag {
  static constexpr std::uint16_t min = 1;
  static constexpr std::uint16_t max = 21845;
  static constexpr std::uint16_t initial = 60;
  static constexpr std::string_view typeName = "CrpAdvInterval";
};
/// Interval of candidate-RP advertisements in seconds. Three intervals are the advertised hold time
/// and must fit its 16 bits.
using CrpAdvInterval = BoundedValue<CrpAdvIntervalTag, std::uint16_t>;

/// The weight by which BSRs are compared: the greater one wins (RFC 5059 section 3.1).
class ROUTING_API PimBsrWeight {
 public:
  static constexpr std::string_view valueTypeName = "Routing::Pim::Bsr::PimBsrWeight";

  PimBsrWeight() = default;
  PimBsrWeight(std::uint8_t priority, const IpGenAddr& ipAddr)
      : priority_(priority), ipAddr_(ipAddr) {}

  std::uint8_t priority() const { return priority_; }
  const IpGenAddr& ipAddr() const { return ipAddr_; }
  std::uint32_t hash() const;

  /// By priority, then by address as an unsigned number. Weights of equal priority must be of one
  /// family, IPv4 or IPv6; anything else is a failed assertion.
  friend ROUTING_API bool operator<(const PimBsrWeight& a, const PimBsrWeight& b);
  friend bool operator==(const PimBsrWeight&, const PimBsrWeight&) = default;

  template <class Self, class Visit>
  static void visitFields(Self& self, Visit&& visit) {
    visit("priority", self.priority_);
    visit("ipAddr", self.ipAddr_);
  }

 private:
  std::uint8_t priority_ = 0;
  IpGenAddr ipAddr_;
};

/// Why messages were dropped:
///   rxFilter         arrived on a BSR border, or refused by the candidate-RP filter
///   rxNbrRpfCheck    failed the neighbour or RPF check
///   rxNoForwardBsm   No-Forward message outside the quick-refresh period
///   rxUnicastBsm     Bootstrap message sent to a unicast address
///   rxScopeMismatch  candidate-RP advertisement for a range of which this router is not the BSR
///   rxInvalid        anything else
#define PIM_BSR_ERROR_COUNTERS(COUNTER) \
  COUNTER(rxFilter)                     \
  COUNTER(rxNbrRpfCheck)                \
  COUNTER(rxNoForwardBsm) COUNTER(rxUnicastBsm) COUNTER(rxScopeMismatch) COUNTER(rxInvalid)

/// Dropped messages by reason, for each x() and xIs(n). Kept and written as one value, so that a
/// reader sees one change for each drop.
class ROUTING_API PimBsrErrorCounters {
 public:
  static constexpr std::string_view valueTypeName = "Routing::Pim::Bsr::PimBsrErrorCounters";

#define PIM_BSR_COUNTER(x)      \
  std::uint32_t x() const {     \
    return x##_;                \
  }                             \
  void x##Is(std::uint32_t n) { \
    x##_ = n;                   \
  }
  PIM_BSR_ERROR_COUNTERS(PIM_BSR_COUNTER)
#undef PIM_BSR_COUNTER

  std::uint32_t hash() const;
  friend bool operator==(const PimBsrErrorCounters&, const PimBsrErrorCounters&) = default;

  template <class Self, class Visit>
  static void visitFields(Self& self, Visit&& visit) {
#define PIM_BSR_COUNTER(x) visit(#x, self.x##_);
    PIM_BSR_ERROR_COUNTERS(PIM_BSR_COUNTER)
#undef PIM_BSR_COUNTER
  }

 private:
#define PIM_BSR_COUNTER(x) std::uint32_t x##_ = 0;
  PIM_BSR_ERROR_COUNTERS(PIM_BSR_COUNTER)
#undef PIM_BSR_COUNTER
};

/// Identity of one candidate-RP advertiser: what it advertises, and with which priority.
class ROUTING_API CrpOptions {
 public:
  static constexpr std::string_view valueTypeName = "Routing::Pim::Bsr::CrpOptions";

  CrpOptions() = default;
  CrpOptions(const IpGenAddr& rpAddress, RpPriority priority)
      : rpAddress_(rpAddress), priority_(priority) {}

  const IpGenAddr& rpAddress() const { return rpAddress_; }
  RpPriority priority() const { return priority_; }
  std::uint32_t hash() const;

  friend auto operator<=>(const CrpOptions&, const CrpOptions&) = default;

  template <class Self, class Visit>
  static void visitFields(Self& self, Visit&& visit) {
    visit("rpAddress", self.rpAddress_);
    visit("priority", self.priority_);
  }

 private:
  IpGenAddr rpAddress_;
  RpPriority priority_;
};

ROUTING_API std::ostream& operator<<(std::ostream& out, const PimBsrWeight& weight);
ROUTING_API std::ostream& operator<<(std::ostream& out, const PimBsrErrorCounters& counters);
ROUTING_API std::ostream& operator<<(std::ostream& out, const CrpOptions& options);
ROUTING_API std::ostream& operator<<(std::ostream& out, BsrCandidateState state);
ROUTING_API std::ostream& operator<<(std::ostream& out, BsrNonCandidateState state);
ROUTING_API std::ostream& operator<<(std::ostream& out, Scope scope);

/// How long a candidate BSR waits before it takes over, with its terms (RFC 5059 section 5).
struct BackOff {
  double addrDelay;
  double priorityDelay;
  double delay;
  std::uint32_t seconds;  ///< `delay` truncated
};

/// The bootstrap time-out, in seconds, of a candidate BSR with this period: one that does not
/// outlast the period is replaced (RFC 5059 section 5).
constexpr std::uint32_t bsTimeoutInForce(std::uint32_t bsTimeout, std::uint32_t bsPeriod) {
  return bsPeriod < bsTimeout ? bsTimeout : 2 * bsPeriod + 10;
}

/// The back-off of a candidate with weight `mine` while it believes in a BSR of weight `stored`.
/// Another family than IPv4 or IPv6 is a failed assertion.
ROUTING_API BackOff backOff(const PimBsrWeight& mine, const PimBsrWeight& stored);

}  // namespace Routing::Pim::Bsr

template <>
struct Routing::EnumText<Routing::Pim::Bsr::Scope> {
  static constexpr std::array names{"global", "admin"};
};
template <>
struct Routing::EnumText<Routing::Pim::Bsr::BsrCandidateState> {
  static constexpr std::array names{"noInfoBsr", "cBsr", "pBsr", "eBsr"};
};
template <>
struct Routing::EnumText<Routing::Pim::Bsr::BsrNonCandidateState> {
  static constexpr std::array names{"noInfo", "acceptAny", "acceptPreferred"};
};
