#pragma once

#include <set>

namespace Routing::Pim::Bsr {

/// The keys of sets and maps with the same key, as a copy: of what is there and of what is to be.
template <class First, class... Others>
std::set<typename First::key_type> unionOf(const First& first, const Others&... others) {
  std::set<typename First::key_type> keys;
  const auto add = [&keys](const auto& container) {
    for (const auto& entry : container) {
      if constexpr (requires { entry.first; }) {
        keys.insert(keys.end(), entry.first);
      } else {
        keys.insert(keys.end(), entry);
      }
    }
  };
  add(first);
  (add(others), ...);
  return keys;
}

}  // namespace Routing::Pim::Bsr
