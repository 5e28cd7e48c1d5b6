#pragma once

#include <set>
#include <string>

#include "bsr/config/Claims.h"
#include "bsr/config/ConfigContext.h"

namespace Routing::Pim::Bsr {

/// The RP prefixes whose advertisements are accepted: what the filter's access lists permit, and
/// `Status::crpPermit` made of it. Where they permit none everyone is permitted; the status never
/// permits nothing, not even between two writes.
class ExplainedPermits {
 public:
  explicit ExplainedPermits(const ConfigContext& context);

  void claim(const IpGenPrefix& prefix, const std::string& list);
  void withdraw(const IpGenPrefix& prefix, const std::string& list);

  /// Writes what has changed: what comes before what goes.
  void settle();
  bool settled() const { return changed_.empty(); }
  /// Deletes what an earlier run left in the status and no list permits.
  void removeExtra() const;

 private:
  bool permitted(const IpGenPrefix& prefix) const;
  void add(const IpGenPrefix& prefix);
  void remove(const IpGenPrefix& prefix);
  void count(const IpGenPrefix& prefix);
  const VrfName& vrfName() const { return context_.vrfName(); }

  const ConfigContext& context_;
  const IpGenPrefix zeroPfx_;
  Claims<IpGenPrefix, std::string, NoTerms> claims_;
  std::set<IpGenPrefix> changed_;
};

}  // namespace Routing::Pim::Bsr
