#pragma once

#include <vector>

namespace Routing::Agent {

/// The keys of a set or map of an entity that are not wanted; a copy, so that they can be deleted
/// there one by one.
template <class Content, class IsWanted>
std::vector<typename Content::key_type> unwanted(const Content& content, IsWanted isWanted) {
  std::vector<typename Content::key_type> keys;
  for (const auto& entry : content) {
    if constexpr (requires { entry.first; }) {
      if (!isWanted(entry.first)) keys.push_back(entry.first);
    } else {
      if (!isWanted(entry)) keys.push_back(entry);
    }
  }
  return keys;
}

}  // namespace Routing::Agent
