#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <variant>

#include "platform/Export.h"
#include "platform/entity/Observers.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/trie/PrefixTrie.h"

namespace Routing {

/// What happened to a route: it was added, removed, or the data behind it changed.
enum class TrieEvent : unsigned char { added, deleted, changed };

/// A named set of prefixes ("routes") of one address family with longest-prefix lookup, whose
/// reactors are told of every change. Event-loop thread only.
class ROUTING_API TrieGen {
 public:
  TrieGen(std::string name, AddressFamily af);
  TrieGen(const TrieGen&) = delete;
  TrieGen& operator=(const TrieGen&) = delete;

  const std::string& name() const { return name_; }
  AddressFamily af() const { return routes_.af(); }
  std::size_t size() const { return routes_.size(); }
  /// How often routes have come or gone so far: as long as it stays, so does every answer.
  std::uint64_t changes() const { return changes_; }

  /// Adds a route. True if it was added; a present route, or one of another family, is no event.
  bool routeIs(const IpGenPrefix& prefix);
  /// Removes a route. True if it was there; otherwise nothing happens.
  bool routeDel(const IpGenPrefix& prefix);
  /// Announces that the data behind a route changed. True if it is there; otherwise nothing
  /// happens.
  bool changedRouteIs(const IpGenPrefix& prefix);

  /// True if exactly this prefix is a route.
  bool route(const IpGenPrefix& prefix) const { return routes_.find(prefix) != nullptr; }
  /// The longest route that contains the whole of `prefix`, or none.
  IpGenPrefix longestMatch(const IpGenPrefix& prefix) const;
  /// The longest route that strictly contains `prefix`, which need not be a route; or none.
  IpGenPrefix parent(const IpGenPrefix& prefix) const;

  /// Calls `fn(const IpGenPrefix&)` for every route in key order; `fn` may add and remove routes,
  /// but not delete the trie.
  template <class Fn>
  void forEachRoute(Fn&& fn) const {
    routes_.forEach([&fn](const IpGenPrefix& prefix, std::monostate) { fn(prefix); });
  }
  /// The same for the routes inside `range`, itself included.
  template <class Fn>
  void forEachRouteInside(const IpGenPrefix& range, Fn&& fn) const {
    routes_.forEachInside(range, [&fn](const IpGenPrefix& p, std::monostate) { fn(p); });
  }

  /// Subscribes `void(const IpGenPrefix&, TrieEvent)`. Reactors run after the change, before the
  /// call that made it returns, in the order of subscription (see ObserverTable for nesting). A
  /// reactor may change the trie, subscribe, unsubscribe, and delete the trie or any reactor.
  template <class Reactor>
  [[nodiscard]] Subscription routeReactor(Reactor&& reactor) {
    return reactors_.subscribe<Notice>(
        0, [call = std::forward<Reactor>(reactor)](const Notice& n) mutable {
          call(n.prefix, n.event);
        });
  }

 private:
  struct Notice {
    IpGenPrefix prefix;
    TrieEvent event;
  };

  bool notify(const IpGenPrefix& prefix, TrieEvent event);

  std::string name_;
  PrefixTrie<std::monostate> routes_;
  std::uint64_t changes_ = 0;
  Observers reactors_;
};

}  // namespace Routing
