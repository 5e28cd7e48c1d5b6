#include "platform/net/IpGenPrefix.h"

#include <algorithm>
#include <charconv>
#include <ostream>

namespace Routing {

IpGenPrefix::IpGenPrefix(const IpGenAddr& address, unsigned length)
    : address_(address.masked(length)),
      length_(static_cast<std::uint8_t>(std::min(length, addressBits(address.af())))) {}

IpGenPrefix IpGenPrefix::host(const IpGenAddr& address) {
  return {address, addressBits(address.af())};
}

IpGenPrefix IpGenPrefix::zero(AddressFamily af) {
  return {IpGenAddr::zero(af), 0};
}

IpGenPrefix IpGenPrefix::multicast(AddressFamily af) {
  switch (af) {
    case AddressFamily::ipv4:
      return {IpGenAddr::v4(0xe0000000), 4};
    case AddressFamily::ipv6:
      return {IpGenAddr::v6(std::uint64_t{0xff} << 56, 0), 8};
    default:
      return {};
  }
}

std::optional<IpGenPrefix> IpGenPrefix::fromText(std::string_view text) {
  if (text == "none") return IpGenPrefix{};
  const auto slash = text.find('/');
  const auto address = IpGenAddr::fromText(text.substr(0, slash));
  if (!address || address->af() == AddressFamily::unset) return std::nullopt;
  if (slash == std::string_view::npos) return host(*address);
  const auto digits = text.substr(slash + 1);
  unsigned length = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), length);
  if (error != std::errc{} || end != digits.data() + digits.size()) return std::nullopt;
  if (length > addressBits(address->af())) return std::nullopt;
  return IpGenPrefix(*address, length);
}

bool IpGenPrefix::contains(const IpGenPrefix& inner) const {
  return !isNone() && inner.length_ >= length_ && contains(inner.address_);
}

bool IpGenPrefix::contains(const IpGenAddr& address) const {
  return !isNone() && address.af() == af() && address.masked(length_) == address_;
}

std::string IpGenPrefix::text() const {
  return isNone() ? "none" : address_.text() + '/' + std::to_string(length_);
}

std::uint32_t IpGenPrefix::hash() const {
  return address_.hash() * 31 + length_;
}

std::ostream& operator<<(std::ostream& out, const IpGenPrefix& prefix) {
  return out << prefix.text();
}

}  // namespace Routing
