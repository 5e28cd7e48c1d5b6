#include "agent/state/StateText.h"

#include <zlib.h>

#include <array>
#include <charconv>
#include <optional>

#include "agent/state/StateFault.h"
#include "platform/entity/ValueText.h"

namespace Routing::Agent {
namespace {

constexpr std::string_view magic = "pimbsr-state ";
constexpr unsigned format = 1;
constexpr std::string_view guardSign = ". ";

std::uint32_t checked(std::uint32_t before, std::string_view text) {
  const auto* octets = reinterpret_cast<const Bytef*>(text.data());
  return static_cast<std::uint32_t>(crc32_z(before, octets, text.size()));
}

std::string guardText(std::uint32_t check) {
  std::array<char, 8> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), check, 16).ptr;
  return std::string(guardSign).append(digits.data(), end);
}

std::string headerText(const StateHeader& header) {
  std::string out(magic);
  writeValue(out, format);
  out.append(" ").append(header.product).append(" ").append(header.boot).append(" ");
  writeValue(out, header.instant);
  out += ' ';
  writeValue(out, header.af);
  out += ' ';
  writeValue(out, header.vrf);
  return out += '\n';
}

/// The next line with its newline; the rest if it has none.
std::string_view takeLine(std::string_view& rest) {
  const auto end = rest.find('\n');
  const auto line = rest.substr(0, end == std::string_view::npos ? end : end + 1);
  rest.remove_prefix(line.size());
  return line;
}

void checkMagic(std::string_view text) {
  if (text.empty()) throw StateFault("is empty");
  ValueReader in(text);
  if (!in.take(magic)) throw StateFault("is none of ours");
  unsigned found = 0;
  if (!readValue(in, found) || found != format) throw StateFault("has another format");
}

void checkGuards(std::string_view text) {
  std::uint32_t check = 0;
  std::string_view batch = text.substr(0, 0);
  for (std::string_view rest = text; !rest.empty();) {
    const std::string_view line = takeLine(rest);
    if (!line.starts_with(guardSign)) {
      batch = {batch.data(), batch.size() + line.size()};
      continue;
    }
    check = checked(check, batch);
    if (line != guardText(check) + '\n') throw StateFault("is damaged");
    batch = rest.substr(0, 0);
  }
  if (!batch.empty()) throw StateFault("has a torn end");
}

template <class T>
T field(ValueReader& in) {
  T value{};
  if (!in.take(" ") || !readValue(in, value)) throw StateFault("has a bad header");
  return value;
}

void checkHeader(std::string_view line, const StateHeader& own) {
  ValueReader in(line.substr(0, line.size() - 1));
  in.take(magic);
  in.word();
  if (!in.take(" ") || in.word().empty() || !in.take(" ")) throw StateFault("has a bad header");
  if (in.word() != own.boot) throw StateFault("is of another boot");
  if (!(field<double>(in) <= own.instant)) throw StateFault("is of a time to come");
  if (field<AddressFamily>(in) != own.af) throw StateFault("is of another address family");
  if (field<VrfName>(in) != own.vrf) throw StateFault("is of another VRF");
  if (!in.atEnd()) throw StateFault("has a bad header");
}

}  // namespace

void StateWriter::begin(const StateHeader& header, std::string_view lines, std::string& out) {
  const std::string text = headerText(header);
  check_ = checked(0, text);
  out += text;
  append(lines, out);
}

void StateWriter::append(std::string_view lines, std::string& out) {
  check_ = checked(check_, lines);
  out.append(lines).append(guardText(check_)).append("\n");
}

void readStateText(std::string_view text, const StateHeader& own,
                   const std::function<void(std::string_view line)>& line) {
  checkMagic(text);
  checkGuards(text);
  checkHeader(takeLine(text), own);
  while (!text.empty()) {
    std::string_view next = takeLine(text);
    next.remove_suffix(1);
    if (!next.starts_with(guardSign)) line(next);
  }
}

}  // namespace Routing::Agent
