#pragma once

#include <compare>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

namespace Routing {

/// Identifier of an interface: its name, unique within a router. Empty means no interface.
class IntfId {
 public:
  IntfId() = default;
  explicit IntfId(std::string name) : name_(std::move(name)) {}
  static constexpr bool quotedText() { return true; }  // names may hold any character
  static std::optional<IntfId> fromText(std::string_view text) { return IntfId(std::string(text)); }

  bool isUnset() const { return name_.empty(); }
  const std::string& text() const { return name_; }

  friend auto operator<=>(const IntfId&, const IntfId&) = default;

 private:
  std::string name_;
};

inline std::ostream& operator<<(std::ostream& out, const IntfId& intf) {
  return out << intf.text();
}

}  // namespace Routing

template <>
struct std::hash<Routing::IntfId> {
  std::size_t operator()(const Routing::IntfId& i) const noexcept {
    return std::hash<std::string>{}(i.text());
  }
};
