#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Routing::Agent {

enum class Severity : std::uint8_t {
  error,        ///< the configuration cannot be used
  warning,      ///< it can, but hardly does what is wanted
  information,  ///< what follows from it
};

/// Something to say about a configuration.
struct Finding {
  Severity severity = Severity::error;
  unsigned line = 0;  ///< 1 is the first; 0 where no line is meant
  std::string path;   ///< such as "vrf[default]/address-family[ipv4]/bsr/hold-time"; may be empty
  std::string text;

  friend bool operator==(const Finding&, const Finding&) = default;
};

using Findings = std::vector<Finding>;

/// So many are said of one configuration; then follows "... more".
constexpr std::size_t maxFindings = 50;

/// "error", "warning" or "information".
std::string_view severityText(Severity severity);
/// "LINE: PATH: TEXT", without what is not there.
std::string findingText(const Finding& finding);
/// "FILE:LINE: PATH: TEXT"; what is no error says so in front of the path.
std::string fileText(const std::string& file, const Finding& finding);
/// The same without the severity, where that is said otherwise.
std::string placeText(const std::string& file, const Finding& finding);
bool hasErrors(const Findings& findings);

/// Text from a file as it may appear in a message: in quotes, of bounded length, and of printable
/// ASCII characters only.
std::string quoted(std::string_view text);
/// The same without quotes.
std::string printable(std::string_view text);

}  // namespace Routing::Agent
