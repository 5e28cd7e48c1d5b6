#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "platform/entity/ValueText.h"

namespace Routing::Pim {

/// How a group range is served.
enum class PimMode : std::uint8_t { unknown = 0, sparse = 1, bidirectional = 2 };

/// Where an RP set was learned.
enum class RpSetType : std::uint8_t { unknown = 0, configured = 1, bsr = 2 };

struct RpPriorityTag {
  static constexpr std::uint16_t min = 0;
  static constexpr std::uint16_t max = 256;
  static constexpr std::uint16_t initial = 256;
  static constexpr std::string_view typeName = "RpPriority";
};
/// Priority of an RP, 0 the best; 256 means not set.
using RpPriority = BoundedValue<RpPriorityTag, std::uint16_t>;
inline constexpr std::uint16_t rpPriorityUnknown = 256;

struct RpHashMaskLenTag {
  static constexpr std::uint8_t min = 0;
  static constexpr std::uint8_t max = 128;
  static constexpr std::uint8_t initial = 128;
  static constexpr std::string_view typeName = "RpHashMaskLen";
};
/// Hash mask length of a mapping in bits; 128 is also the mark for not set.
using RpHashMaskLen = BoundedValue<RpHashMaskLenTag, std::uint8_t>;

struct CrpHoldTimeTag {
  static constexpr std::uint16_t min = 0;
  static constexpr std::uint16_t max = 65535;
  static constexpr std::uint16_t initial = 0;
  static constexpr std::string_view typeName = "CrpHoldTime";
};
/// Hold time of an RP in seconds; 0 withdraws it (RFC 5059 section 3.2).
using CrpHoldTime = BoundedValue<CrpHoldTimeTag, std::uint16_t>;

}  // namespace Routing::Pim

template <>
struct Routing::EnumText<Routing::Pim::PimMode> {
  static constexpr std::array names{"unknown", "sparse", "bidirectional"};
};
template <>
struct Routing::EnumText<Routing::Pim::RpSetType> {
  static constexpr std::array names{"unknown", "configured", "bsr"};
};
