#pragma once

#include <map>
#include <set>

#include "bsr/config/ConfigContext.h"
#include "bsr/types/Config.h"

namespace Routing::Pim::Bsr {

/// The clean-up of a status that an earlier run left behind: finds out what the configuration
/// explains and deletes the rest. What it counts for that is its own and goes with it; entries that
/// stay are brought up to date by those who own them.
class ConfigReconciliation {
 public:
  ConfigReconciliation(const ConfigContext& context, const Config& config,
                       const VrfIntfConfig& vrfIntfConfig)
      : context_(context), config_(config), vrfIntfConfig_(vrfIntfConfig) {}

  /// Whether there is anything that could need it.
  static bool isRestart(const Status& status);

  /// Expands every access list that the configuration names, and counts what is explained.
  void doBuildBsrConfigAcl();
  void doRemoveExtraStatusEntries() const;

 private:
  using Prefixes = std::set<IpGenPrefix>;

  void explainBorders();
  void explainBsrCandidates();
  void explainRpCandidates();
  void explainFilter();
  void removeBorders() const;
  void removeCbsr() const;
  void removeCrp() const;
  void removeCrpPermit() const;
  void removeClaims() const;
  bool usable(const IntfId& intf) const;
  bool rpExplained(const RpCandidate& entry) const;
  const VrfName& vrfName() const { return context_.vrfName(); }

  const ConfigContext& context_;
  const Config& config_;
  const VrfIntfConfig& vrfIntfConfig_;
  std::map<IntfId, Prefixes> border_;
  std::map<IntfId, Prefixes> cbsr_;
  std::set<IntfId> crp_;  // interfaces that serve something
  Prefixes crpPermit_;
};

}  // namespace Routing::Pim::Bsr
