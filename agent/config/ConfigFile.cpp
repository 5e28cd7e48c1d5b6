#include "agent/config/ConfigFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <tuple>

#include "agent/config/ConfigTree.h"
#include "agent/config/Conversion.h"
#include "agent/config/YamlTree.h"

namespace Routing::Agent {
namespace {

/// The line of a path, or of what it lies in; 0 if nothing of it is in the file.
unsigned lineOf(std::string path, const std::map<std::string, unsigned>& lines) {
  for (;;) {
    if (const auto found = lines.find(path); found != lines.end()) return found->second;
    const auto slash = path.rfind('/');
    if (slash == std::string::npos) return 0;
    path.resize(slash);
  }
}

Findings judged(const DaemonConfig& config, const std::optional<AddressedInterfaces>& addressed,
                const ConfigTree& tree) {
  Findings findings = judge(config, addressed);
  const auto lines = tree.lines();
  for (Finding& finding : findings) finding.line = lineOf(finding.path, lines);
  return findings;
}

/// Goes on to the next step only while there are no errors, which would make others of their own.
std::optional<DaemonConfig> read(std::string_view text, Findings& findings,
                                 const std::optional<AddressedInterfaces>& addressed) {
  const YamlNodePtr document = readYaml(text, findings);
  if (document == nullptr) return std::nullopt;
  const Schema schema;
  const ConfigTree tree(schema, *document, findings);
  if (hasErrors(findings)) return std::nullopt;
  DaemonConfig config = convert(tree, findings);
  if (hasErrors(findings)) return std::nullopt;
  findings = judged(config, addressed, tree);
  if (hasErrors(findings)) return std::nullopt;
  return config;
}

void shorten(Findings& findings) {
  if (findings.size() <= maxFindings) return;
  findings.resize(maxFindings);
  findings.push_back({findings.back().severity, 0, "", "... more"});
}

}  // namespace

LoadedConfig readConfig(std::string_view text,
                        const std::optional<AddressedInterfaces>& addressed) {
  LoadedConfig result;
  result.config = read(text, result.findings, addressed);
  std::stable_sort(result.findings.begin(), result.findings.end(),
                   [](const Finding& a, const Finding& b) {
                     return std::tie(a.severity, a.line) < std::tie(b.severity, b.line);
                   });
  shorten(result.findings);
  return result;
}

LoadedConfig loadConfig(const std::string& file,
                        const std::optional<AddressedInterfaces>& addressed) {
  std::ifstream stream(file, std::ios::binary);
  std::string text(YamlLimits{}.bytes + 1, '\0');  // one more than is allowed
  if (stream) stream.read(text.data(), static_cast<std::streamsize>(text.size()));
  if (!stream.is_open() || stream.bad()) {
    const std::string reason = errno == 0 ? "" : std::string(": ") + std::strerror(errno);
    return {std::nullopt, {{Severity::error, 0, "", "cannot be read" + reason}}};
  }
  text.resize(static_cast<std::size_t>(stream.gcount()));
  return readConfig(text, addressed);
}

}  // namespace Routing::Agent
