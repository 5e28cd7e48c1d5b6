#include "platform/entity/ValueText.h"

namespace Routing {

bool ValueReader::take(std::string_view literal) {
  if (!rest_.starts_with(literal)) return false;
  rest_.remove_prefix(literal.size());
  return true;
}

std::string_view ValueReader::word() {
  const auto end = std::min(rest_.find_first_of(",()[]{} "), rest_.size());
  const auto word = rest_.substr(0, end);
  rest_.remove_prefix(end);
  return word;
}

std::optional<std::string> ValueReader::quoted() {
  if (!take("'")) return std::nullopt;
  std::string out;
  while (!rest_.empty()) {
    char c = rest_.front();
    rest_.remove_prefix(1);
    if (c == '\'') return out;
    if (c == '\\') {
      if (rest_.empty()) return std::nullopt;
      c = rest_.front() == 'n' ? '\n' : rest_.front();
      rest_.remove_prefix(1);
    }
    out += c;
  }
  return std::nullopt;
}

void writeQuoted(std::string& out, std::string_view text) {
  out += '\'';
  for (const char c : text) {
    if (c == '\n') {
      out += "\\n";
      continue;
    }
    if (c == '\'' || c == '\\') out += '\\';
    out += c;
  }
  out += '\'';
}

void writeJsonString(std::string& out, std::string_view text) {
  static constexpr char hex[] = "0123456789abcdef";
  out += '"';
  for (const char c : text) {
    const auto octet = static_cast<unsigned char>(c);
    if (octet < 0x20) {
      out += "\\u00";
      out += hex[octet >> 4];
      out += hex[octet & 15];
      continue;
    }
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  out += '"';
}

}  // namespace Routing
