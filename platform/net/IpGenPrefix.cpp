#include "platform/net/IpGenPrefix.h"

#include <charconv>
#include <ostream>

namespace Routing {

IpGenPrefix IpGenPrefix::host(const IpGenAddr& address) {
  return {address, addressBits(address.af())};
}

IpGenPrefix IpGenPrefix::zero(AddressFamily af) {
  return {IpGenAddr::zero(af), 0};
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
