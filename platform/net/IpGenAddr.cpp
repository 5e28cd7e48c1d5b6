#include "platform/net/IpGenAddr.h"

#include <charconv>
#include <ostream>

namespace Routing {
namespace {

std::optional<IpGenAddr> parseV4(std::string_view text) {
  std::uint32_t value = 0;
  for (int octet = 0; octet < 4; ++octet) {
    if (octet > 0) {
      if (text.empty() || text.front() != '.') return std::nullopt;
      text.remove_prefix(1);
    }
    unsigned part = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), part);
    const auto digits = static_cast<std::size_t>(end - text.data());
    if (error != std::errc{} || part > 255 || digits > 3) return std::nullopt;
    text.remove_prefix(digits);
    value = value << 8 | part;
  }
  if (!text.empty()) return std::nullopt;
  return IpGenAddr::v4(value);
}

struct V6Words {
  std::array<std::uint16_t, 8> word{};
  int count = 0;
  int gap = -1;  // index at which "::" stands
};

// One group of hexadecimal digits, or a trailing dotted quad that fills two words.
bool parseV6Group(std::string_view& text, V6Words& words) {
  const auto colon = text.find(':');
  const auto group = text.substr(0, colon);
  if (group.find('.') != std::string_view::npos) {
    const auto v4 = parseV4(text);
    if (!v4 || words.count > 6) return false;
    words.word[words.count++] = static_cast<std::uint16_t>(v4->v4Value() >> 16);
    words.word[words.count++] = static_cast<std::uint16_t>(v4->v4Value());
    text = {};
    return true;
  }
  if (group.empty() || group.size() > 4 || words.count > 7) return false;
  std::uint16_t value = 0;
  const auto [end, error] = std::from_chars(group.data(), group.data() + group.size(), value, 16);
  if (error != std::errc{} || end != group.data() + group.size()) return false;
  words.word[words.count++] = value;
  text.remove_prefix(group.size());
  return true;
}

bool parseV6Words(std::string_view text, V6Words& words) {
  if (text.starts_with("::")) {
    words.gap = 0;
    text.remove_prefix(2);
  }
  while (!text.empty()) {
    if (!parseV6Group(text, words)) return false;
    if (text.empty()) break;
    text.remove_prefix(1);  // the colon at which the group ended
    if (text.empty()) return false;
    if (text.front() == ':') {
      if (words.gap >= 0) return false;
      words.gap = words.count;
      text.remove_prefix(1);
    }
  }
  return words.gap >= 0 ? words.count < 8 : words.count == 8;
}

std::optional<IpGenAddr> parseV6(std::string_view text) {
  V6Words words;
  if (!parseV6Words(text, words)) return std::nullopt;
  std::array<std::uint16_t, 8> full{};
  const int tail = words.gap >= 0 ? words.count - words.gap : 0;
  const int head = words.count - tail;
  for (int i = 0; i < head; ++i) full[i] = words.word[i];
  for (int i = 0; i < tail; ++i) full[8 - tail + i] = words.word[head + i];
  std::uint64_t half[2] = {0, 0};
  for (int i = 0; i < 8; ++i) half[i / 4] = half[i / 4] << 16 | full[i];
  return IpGenAddr::v6(half[0], half[1]);
}

std::string v4Text(std::uint32_t value) {
  std::string out;
  for (int shift = 24; shift >= 0; shift -= 8) {
    out += std::to_string(value >> shift & 0xff);
    if (shift > 0) out += '.';
  }
  return out;
}

struct ZeroRun {
  int start = -1;
  int length = 1;  // a single zero word is not shortened (RFC 5952 section 4.2.2)
};

ZeroRun longestZeroRun(const std::array<std::uint16_t, 8>& word) {
  ZeroRun best;
  for (int i = 0; i < 8;) {
    int end = i;
    while (end < 8 && word[end] == 0) ++end;
    if (end - i > best.length) best = {i, end - i};
    i = end == i ? i + 1 : end;
  }
  return best;
}

std::string v6Text(std::uint64_t hi, std::uint64_t lo) {
  std::array<std::uint16_t, 8> word{};
  for (int i = 0; i < 8; ++i) {
    word[i] = static_cast<std::uint16_t>((i < 4 ? hi : lo) >> (48 - 16 * (i % 4)));
  }
  const ZeroRun run = longestZeroRun(word);
  std::string out;
  for (int i = 0; i < 8; ++i) {
    if (i == run.start) {
      out += "::";
      i += run.length - 1;
      continue;
    }
    if (!out.empty() && out.back() != ':') out += ':';
    char digits[4];
    const auto end = std::to_chars(digits, digits + sizeof digits, word[i], 16).ptr;
    out.append(digits, end);
  }
  return out;
}

}  // namespace

std::optional<IpGenAddr> IpGenAddr::fromText(std::string_view text) {
  if (text == "unset") return IpGenAddr{};
  return text.find(':') == std::string_view::npos ? parseV4(text) : parseV6(text);
}

std::string IpGenAddr::text() const {
  switch (af_) {
    case AddressFamily::ipv4:
      return v4Text(v4Value());
    case AddressFamily::ipv6:
      return v6Text(hi_, lo_);
    default:
      return "unset";
  }
}

std::uint32_t IpGenAddr::hash() const {
  std::uint64_t mixed = (hi_ ^ static_cast<std::uint64_t>(af_)) * 0x9e3779b97f4a7c15U;
  mixed = (mixed ^ mixed >> 32 ^ lo_) * 0xbf58476d1ce4e5b9U;
  return static_cast<std::uint32_t>(mixed ^ mixed >> 32);
}

std::ostream& operator<<(std::ostream& out, const IpGenAddr& address) {
  return out << address.text();
}

}  // namespace Routing
