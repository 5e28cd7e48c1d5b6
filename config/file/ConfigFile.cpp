#include "config/file/ConfigFile.h"

#include <algorithm>
#include <exception>
#include <tuple>

#include "config/file/ConfigTree.h"
#include "config/file/Conversion.h"
#include "config/file/FileText.h"
#include "config/file/YamlTree.h"

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

/// A file that was cut short, or never written, must not take everything away.
void requireVrfs(const YamlNode& document, Findings& findings) {
  const bool given = std::any_of(
      document.entries.begin(), document.entries.end(), [](const YamlNode::Entry& entry) {
        return entry.key == "vrf" && entry.value->kind != YamlNode::Kind::null;
      });
  if (given) return;
  findings.push_back(
      {Severity::error, 0, "vrf", "missing (allowed: a list, [] for no VRF at all)"});
}

/// Goes on to the next step only while there are no errors, which would make others of their own.
std::optional<DaemonConfig> read(const YamlNode& document, Findings& findings,
                                 const std::optional<AddressedInterfaces>& addressed) {
  const Schema schema;
  const ConfigTree tree(schema, document, findings);
  if (!hasErrors(findings)) requireVrfs(document, findings);
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
  Findings findings;
  const YamlNodePtr document = readYaml(text, findings);
  if (document == nullptr) return {std::nullopt, findings};
  return readConfig(*document, addressed);
}

LoadedConfig readConfig(const YamlNode& document,
                        const std::optional<AddressedInterfaces>& addressed) {
  LoadedConfig result;
  result.config = read(document, result.findings, addressed);
  std::stable_sort(result.findings.begin(), result.findings.end(),
                   [](const Finding& a, const Finding& b) {
                     return std::tie(a.severity, a.line) < std::tie(b.severity, b.line);
                   });
  shorten(result.findings);
  return result;
}

LoadedConfig loadConfig(const std::string& file,
                        const std::optional<AddressedInterfaces>& addressed) {
  try {
    return readConfig(regularFileText(file, YamlLimits{}.bytes + 1), addressed);
  } catch (const std::exception& error) {
    return {std::nullopt,
            {{Severity::error, 0, "", std::string("cannot be read: ") + error.what()}}};
  }
}

}  // namespace Routing::Agent
