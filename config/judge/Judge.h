#pragma once

#include <map>
#include <string>

#include "config/judge/Judgement.h"
#include "config/judge/PermittedLists.h"

/// The parts of the judgement.
namespace Routing::Agent {

/// "PARENT/NAME[KEY]".
std::string entryPath(const std::string& parent, const char* name, const std::string& key);

std::string familyPath(const VrfName& vrf, AddressFamily af);
std::string accessListPath(const std::pair<AddressFamily, std::string>& key);
const char* familyName(AddressFamily af);

/// One VRF and family, and where the findings about it go.
struct FamilyJudge {
  const FamilySettings& settings;
  AddressFamily af;
  std::string path;  ///< of the family
  PermittedLists& lists;
  Findings& findings;

  std::string bsrPath() const { return path + "/bsr"; }
  std::string bsrCandidatePath(const std::string& interface) const;
  std::string rpCandidatePath(const std::string& interface) const;
  std::string interfacePath(const std::string& interface) const;

  void error(const std::string& where, const std::string& text) {
    findings.push_back({Severity::error, 0, where, text});
  }
  void warn(const std::string& where, const std::string& text) {
    findings.push_back({Severity::warning, 0, where, text});
  }
  void inform(const std::string& where, const std::string& text) {
    findings.push_back({Severity::information, 0, where, text});
  }
};

/// Errors: prefixes that are no groups of the family, access lists that are not there, hash mask
/// lengths that the family cannot have.
void judgeReferences(FamilyJudge& judge);
/// Errors: zones that two interfaces claim, by prefix or by access list. Warnings: zones that one
/// interface is given twice, with different settings.
void judgeZones(FamilyJudge& judge);
/// Warnings: timers that cannot work together.
void judgeTimers(FamilyJudge& judge);
/// Warning: RPs that do not outlive a failover. Information: how long one takes, and that they do.
void judgeFailover(FamilyJudge& judge);
/// Warnings: candidates and filters that come to nothing or to something surprising.
void judgeCandidates(FamilyJudge& judge, const std::optional<AddressedInterfaces>& addressed);

/// Errors: rules of another family, lists that take too much work.
void judgeAccessLists(const DaemonConfig& config, Findings& findings);
/// Error: lists that take too much work or memory together; if so nobody may ask what they permit,
/// and the result is false. Information: lists that nothing uses.
bool judgeListUses(const DaemonConfig& config, const PermittedLists& lists, Findings& findings);

}  // namespace Routing::Agent
