#include "platform/acl/AclRule.h"

namespace Routing {

AclAddresses AclAddresses::host(const IpGenAddr& address) {
  return prefix(IpGenPrefix::host(address));
}

AclAddresses AclAddresses::prefix(const IpGenPrefix& prefix) {
  AclAddresses addresses;
  addresses.kind_ = Kind::prefix;
  addresses.prefix_ = prefix;
  return addresses;
}

AclAddresses AclAddresses::wildcard(const IpGenAddr& address, const IpGenAddr& wildcard) {
  AclAddresses addresses;
  addresses.kind_ = Kind::wildcard;
  addresses.address_ = address;
  addresses.wildcard_ = wildcard;
  return addresses;
}

std::optional<AclAddresses> AclAddresses::fromText(std::string_view text) {
  if (text == "any") return any();
  const bool hostWord = text.starts_with("host ");
  if (hostWord) text.remove_prefix(5);
  const auto blank = text.find(' ');
  if (!hostWord && blank != std::string_view::npos) {
    const auto address = IpGenAddr::fromText(text.substr(0, blank));
    const auto mask = IpGenAddr::fromText(text.substr(blank + 1));
    if (!address || !mask || address->af() != mask->af()) return std::nullopt;
    if (address->af() == AddressFamily::unset) return std::nullopt;
    return wildcard(*address, *mask);
  }
  const auto parsed = IpGenPrefix::fromText(text);
  if (!parsed || parsed->isNone()) return std::nullopt;
  if (hostWord && text.find('/') != std::string_view::npos) return std::nullopt;
  return prefix(*parsed);
}

AddressFamily AclAddresses::af() const {
  return kind_ == Kind::prefix ? prefix_.af() : address_.af();
}

std::string AclAddresses::text() const {
  switch (kind_) {
    case Kind::prefix:
      return prefix_.text();
    case Kind::wildcard:
      return address_.text() + ' ' + wildcard_.text();
    default:
      return "any";
  }
}

}  // namespace Routing
