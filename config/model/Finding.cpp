#include "config/model/Finding.h"

#include <algorithm>

namespace Routing::Agent {

std::string_view severityText(Severity severity) {
  switch (severity) {
    case Severity::error:
      return "error";
    case Severity::warning:
      return "warning";
    default:
      return "information";
  }
}

std::string findingText(const Finding& finding) {
  std::string text;
  if (finding.line != 0) text += std::to_string(finding.line) + ": ";
  if (!finding.path.empty()) text += finding.path + ": ";
  return text + finding.text;
}

std::string fileText(const std::string& file, const Finding& finding) {
  if (finding.severity == Severity::error) return placeText(file, finding);
  Finding said = finding;
  const std::string path = finding.path.empty() ? "" : ": " + finding.path;
  said.path = std::string(severityText(finding.severity)) + path;
  return placeText(file, said);
}

std::string placeText(const std::string& file, const Finding& finding) {
  std::string text = file + ':';
  if (finding.line != 0) text += std::to_string(finding.line) + ':';
  if (!finding.path.empty()) text += ' ' + finding.path + ':';
  return text + ' ' + finding.text;
}

bool hasErrors(const Findings& findings) {
  return std::any_of(findings.begin(), findings.end(),
                     [](const Finding& finding) { return finding.severity == Severity::error; });
}

std::string printable(std::string_view text) {
  constexpr std::size_t longest = 64;
  std::string result(text.substr(0, longest));
  std::replace_if(
      result.begin(), result.end(), [](char c) { return c < 0x20 || c > 0x7e; }, '?');
  return text.size() > longest ? result + "..." : result;
}

std::string quoted(std::string_view text) {
  return '"' + printable(text) + '"';
}

}  // namespace Routing::Agent
