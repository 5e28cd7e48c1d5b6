#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "platform/Export.h"
#include "platform/trie/TrieGen.h"

namespace Routing::Pim {

/// What a forwarding entry does with a packet; `none` is the empty entry.
enum class ForwardingKind : std::uint8_t { none, local, connected, remote };

/// One entry of a unicast forwarding table.
struct ForwardingEntry {
  ForwardingKind kind = ForwardingKind::none;

  friend bool operator==(const ForwardingEntry&, const ForwardingEntry&) = default;
};

/// The unicast forwarding table of one VRF and address family. Its writer may be another process;
/// a reader that meets an entry that makes no sense reports it and goes on without.
class ROUTING_API ForwardingTable {
 public:
  void entryIs(const IpGenPrefix& prefix, ForwardingEntry entry) { entries_[prefix] = entry; }
  void entryDel(const IpGenPrefix& prefix) { entries_.erase(prefix); }
  /// The entry of exactly this prefix; the empty entry if there is none or it is corrupt, which is
  /// then counted.
  ForwardingEntry entry(const IpGenPrefix& prefix) const;
  std::uint32_t corruptions() const { return corruptions_; }

 private:
  std::map<IpGenPrefix, ForwardingEntry> entries_;
  mutable std::uint32_t corruptions_ = 0;
};

/// Unicast routes of one VRF and address family: the trie of their prefixes for longest-match
/// lookups, and the forwarding table behind it.
class ROUTING_API PimUcastRouteStatus {
 public:
  explicit PimUcastRouteStatus(AddressFamily af);

  /// Adds or rewrites a route; a prefix of another family is ignored.
  void routeIs(const IpGenPrefix& prefix, ForwardingEntry entry);
  void routeDel(IpGenPrefix prefix);

  const TrieGen& trie() const { return trie_; }
  const ForwardingTable& table() const { return table_; }

 private:
  TrieGen trie_;
  ForwardingTable table_;
};

}  // namespace Routing::Pim
