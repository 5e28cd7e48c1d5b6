#pragma once

#include <map>
#include <utility>

namespace Routing::Pim::Bsr {

/// What configured items ask for: for each key, its sources in their order, with the terms of each.
/// An edit of one claim costs a search among the keys and one among the sources of the key.
template <class Key, class Source, class Terms>
class Claims {
 public:
  using Sources = std::map<Source, Terms>;

  /// False if the source has claimed the key on these terms already.
  bool claim(const Key& key, const Source& source, const Terms& terms) {
    const auto [found, isNew] = claims_[key].try_emplace(source, terms);
    if (isNew) return true;
    return std::exchange(found->second, terms) != terms;
  }
  /// False if the source had not claimed the key.
  bool withdraw(const Key& key, const Source& source) {
    const auto found = claims_.find(key);
    if (found == claims_.end() || found->second.erase(source) == 0) return false;
    if (found->second.empty()) claims_.erase(found);
    return true;
  }

  /// The sources of a key; empty if nothing claims it.
  const Sources& of(const Key& key) const {
    static const Sources none;
    const auto found = claims_.find(key);
    return found == claims_.end() ? none : found->second;
  }
  bool contains(const Key& key) const { return claims_.contains(key); }
  /// By key; each has a source.
  const std::map<Key, Sources>& all() const { return claims_; }

 private:
  std::map<Key, Sources> claims_;
};

/// For claims that have no terms.
struct NoTerms {
  friend bool operator==(const NoTerms&, const NoTerms&) = default;
};

}  // namespace Routing::Pim::Bsr
