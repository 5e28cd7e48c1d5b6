#pragma once

#include <compare>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

#include "platform/entity/RangeError.h"

namespace Routing {

/// Name of a VRF, at most 100 bytes; a longer one raises a RangeError. Empty where none is meant.
class VrfName {
 public:
  static constexpr std::size_t maxBytes = 100;
  static constexpr std::string_view defaultName = "default";

  VrfName() = default;
  explicit VrfName(std::string name) : name_(std::move(name)) {
    if (name_.size() > maxBytes) throw RangeError("VrfName::bytes > 100 not allowed");
  }
  static constexpr bool quotedText() { return true; }  // names may hold any character
  static std::optional<VrfName> fromText(std::string_view text) {
    if (text.size() > maxBytes) return std::nullopt;
    return VrfName(std::string(text));
  }

  const std::string& text() const { return name_; }

  friend auto operator<=>(const VrfName&, const VrfName&) = default;

 private:
  std::string name_;
};

inline std::ostream& operator<<(std::ostream& out, const VrfName& vrf) {
  return out << vrf.text();
}

}  // namespace Routing
