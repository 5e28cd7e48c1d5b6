#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/entity/ValueText.h"
#include "platform/net/IpGenPrefix.h"

namespace Routing {

enum class AclAction : std::uint8_t { permit = 0, deny = 1 };

/// A standard list speaks of a packet's source only.
enum class AclType : std::uint8_t { standard = 0, extended = 1 };

/// The addresses that a rule speaks of: any, those of a prefix (a host is one of full length), or
/// those that equal an address wherever a wildcard has no bit set.
class ROUTING_API AclAddresses {
 public:
  enum class Kind : std::uint8_t { any = 0, prefix = 1, wildcard = 2 };
  static constexpr std::string_view valueTypeName = "Routing::AclAddresses";

  /// Any address.
  AclAddresses() = default;
  static AclAddresses any() { return {}; }
  static AclAddresses host(const IpGenAddr& address);
  static AclAddresses prefix(const IpGenPrefix& prefix);
  /// Bits of `wildcard` that are 1 do not matter. Both must be of one family.
  static AclAddresses wildcard(const IpGenAddr& address, const IpGenAddr& wildcard);
  /// Reads "any", "host ADDRESS", "ADDRESS/LENGTH", "ADDRESS WILDCARD" or a bare address (a host).
  static std::optional<AclAddresses> fromText(std::string_view text);

  Kind kind() const { return kind_; }
  /// None unless the kind is prefix.
  const IpGenPrefix& prefix() const { return prefix_; }
  /// Unset unless the kind is wildcard.
  const IpGenAddr& address() const { return address_; }
  const IpGenAddr& wildcard() const { return wildcard_; }
  /// Unset for any.
  AddressFamily af() const;

  /// What fromText() reads.
  std::string text() const;
  friend bool operator==(const AclAddresses&, const AclAddresses&) = default;

  template <class Self, class Visit>
  static void visitFields(Self& self, Visit&& visit) {
    visit("kind", self.kind_);
    visit("prefix", self.prefix_);
    visit("address", self.address_);
    visit("wildcard", self.wildcard_);
  }

 private:
  Kind kind_ = Kind::any;
  IpGenPrefix prefix_;
  IpGenAddr address_;
  IpGenAddr wildcard_;
};

/// One rule. `narrowed` says that it has qualifiers (ports, flags, DSCP, a protocol other than IP
/// and PIM) which make it speak of some packets of its addresses only.
struct AclRule {
  static constexpr std::string_view valueTypeName = "Routing::AclRule";

  AclAction action = AclAction::permit;
  AclAddresses source;
  AclAddresses destination;  ///< only looked at in an extended list
  bool narrowed = false;

  friend bool operator==(const AclRule&, const AclRule&) = default;

  template <class Self, class Visit>
  static void visitFields(Self& self, Visit&& visit) {
    visit("action", self.action);
    visit("source", self.source);
    visit("destination", self.destination);
    visit("narrowed", self.narrowed);
  }
};

}  // namespace Routing

template <>
struct Routing::EnumText<Routing::AclAction> {
  static constexpr std::array names{"permit", "deny"};
};
template <>
struct Routing::EnumText<Routing::AclType> {
  static constexpr std::array names{"standard", "extended"};
};
template <>
struct Routing::EnumText<Routing::AclAddresses::Kind> {
  static constexpr std::array names{"any", "prefix", "wildcard"};
};
