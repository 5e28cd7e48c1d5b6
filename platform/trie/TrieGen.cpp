#include "platform/trie/TrieGen.h"

namespace Routing {

TrieGen::TrieGen(std::string name, AddressFamily af) : name_(std::move(name)), routes_(af) {}

bool TrieGen::routeIs(const IpGenPrefix& prefix) {
  if (!routes_.insert(prefix)) return false;
  ++changes_;
  return notify(prefix, TrieEvent::added);
}

bool TrieGen::routeDel(const IpGenPrefix& prefix) {
  if (!routes_.erase(prefix)) return false;
  ++changes_;
  return notify(prefix, TrieEvent::deleted);
}

bool TrieGen::changedRouteIs(const IpGenPrefix& prefix) {
  return route(prefix) && notify(prefix, TrieEvent::changed);
}

IpGenPrefix TrieGen::longestMatch(const IpGenPrefix& prefix) const {
  return routes_.longestMatch(prefix).prefix;
}

IpGenPrefix TrieGen::parent(const IpGenPrefix& prefix) const {
  return routes_.parent(prefix).prefix;
}

// A reactor may delete the trie: nothing of it is touched after the call, and the notice holds a
// copy of the prefix, which may have stood in what the reactor deletes.
bool TrieGen::notify(const IpGenPrefix& prefix, TrieEvent event) {
  const Notice notice{prefix, event};
  reactors_.notify(0, &notice);
  return true;
}

}  // namespace Routing
