#pragma once

#include <vector>

namespace Routing::Pim::Bsr {

/// The keys of a collection as it is now: the host may change it while they are walked.
template <class Collection>
auto keysOf(const Collection& collection) {
  std::vector<typename Collection::key_type> keys;
  keys.reserve(collection.size());
  for (const auto& [key, value] : collection) keys.push_back(key);
  return keys;
}

}  // namespace Routing::Pim::Bsr
