#pragma once

#include <map>
#include <string>
#include <utility>

#include "bsr/config/Claims.h"
#include "bsr/config/PrefixCounts.h"

namespace Routing::Pim::Bsr {

/// For which group prefixes the interfaces are BSR borders: what border groups and border access
/// lists ask for, and `Status::bsBorder` made of it. A border is there while anything claims it.
class ExplainedBorders {
 public:
  /// What changed last about a claim; the traces differ.
  enum class Cause { group, list, rule };

  explicit ExplainedBorders(const ConfigContext& context);

  /// An empty list stands for a border group.
  void claim(const IntfId& intf, const IpGenPrefix& prefix, const std::string& list, Cause cause);
  void withdraw(const IntfId& intf, const IpGenPrefix& prefix, const std::string& list,
                Cause cause);

  /// Writes what has changed: what comes before what goes.
  void settle();
  bool settled() const { return changed_.empty(); }
  /// Deletes what an earlier run left in the status and nothing claims.
  void removeExtra() const;

 private:
  using Key = std::pair<IpGenPrefix, IntfId>;

  void add(const Key& key, Cause cause);
  void remove(const Key& key, Cause cause);
  const VrfName& vrfName() const { return context_.vrfName(); }

  const ConfigContext& context_;
  const PrefixCounts<BsrBorderPrefixRefCount> counts_;
  Claims<Key, std::string, NoTerms> claims_;
  std::map<Key, Cause> changed_;
};

}  // namespace Routing::Pim::Bsr
