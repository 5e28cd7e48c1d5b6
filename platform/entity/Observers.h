#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/Export.h"
#include "platform/entity/Assertion.h"

namespace Routing {

class FirstError;
class Observers;
class ObserverTable;

/// One subscriber's place in a list. Held by its Subscription, by calls of it that are under way,
/// and by the list while it stands in one, so that a reactor that goes away inside its own
/// notification stays callable to the end.
class ROUTING_API ObserverNode {
 public:
  using Fire = void (*)(ObserverNode* node, const void* key);

  ObserverNode() = default;
  ObserverNode(const ObserverNode&) = delete;
  ObserverNode& operator=(const ObserverNode&) = delete;
  virtual ~ObserverNode() = default;

 private:
  friend class ObserverTable;
  friend class Observers;
  friend class Subscription;

  static constexpr std::uint32_t alone = 0xffffffff;  // as index_: there is no table

  virtual Fire fire() const = 0;
  virtual void call(const void* key) = 0;
  static void drop(ObserverNode* node) {
    if (--node->holders_ == 0) delete node;
  }

  union {  // null once unsubscribed or once the subject is gone
    ObserverTable* table_ = nullptr;
    Observers* subject_;
  };
  std::uint32_t index_ = 0;
  std::uint16_t list_ = 0;
  std::uint16_t holders_ = 1;
};

/// The place of a reactor of a type of its own, which is called with what has changed.
template <class Key, class Reactor>
class ReactorNode final : public ObserverNode {
 public:
  template <class... Arguments>
  explicit ReactorNode(Arguments&&... arguments)
      : reactor_(std::forward<Arguments>(arguments)...) {}
  Reactor& reactor() { return reactor_; }

 private:
  static void run(ObserverNode* node, [[maybe_unused]] const void* key) {
    if constexpr (std::is_void_v<Key>) {
      static_cast<ReactorNode*>(node)->reactor_();
    } else {
      static_cast<ReactorNode*>(node)->reactor_(*static_cast<const Key*>(key));
    }
  }
  Fire fire() const override { return run; }
  void call(const void* key) override { run(this, key); }

  Reactor reactor_;
};

/// Keeps a reactor subscribed; its destructor unsubscribes. The subject may die first.
class ROUTING_API Subscription {
 public:
  Subscription() = default;
  explicit Subscription(ObserverNode* node) : node_(node) {}
  Subscription(Subscription&& other) noexcept : node_(std::exchange(other.node_, nullptr)) {}
  Subscription& operator=(Subscription&& other) noexcept {
    Subscription before(std::exchange(node_, std::exchange(other.node_, nullptr)));
    return *this;
  }
  ~Subscription() { reset(); }

  /// Unsubscribes; legal inside the reactor's own notification. Idempotent.
  void reset();
  /// Unsubscribes, but keeps the reactor.
  void silence();
  bool active() const { return node_ != nullptr && node_->table_ != nullptr; }

 protected:
  ObserverNode* node_ = nullptr;
};

/// A subscription that reaches its reactor, an object of a class of its own.
template <class Key, class Reactor>
class ReactorHandle : public Subscription {
 public:
  using Node = ReactorNode<Key, Reactor>;
  using Subscription::Subscription;
  Reactor* operator->() const { return &static_cast<Node*>(node_)->reactor(); }
};

/// The reactors of one subject that has several, in numbered lists. Notification is synchronous and
/// in the order of subscription. A reactor that subscribes during a notification is first told of
/// the next one; one that unsubscribes, or whose owner is deleted, is not called any more. The
/// subject itself may be deleted inside a notification: the reactors that were not reached yet are
/// then not called.
///
///   table   [ . ] [ x | . | x ]                      one pointer a list, up to the highest in use
///                 |
///                 v
///   list    size 4, dead 1, running 1 | f a | f b | - c | f d |    in the order of subscription
///                                         |
///                                         v
///   node                               the reactor, held by its Subscription too
///
/// A notification calls the functions of the places that were there when it began, so what is
/// appended waits. To unsubscribe makes the function of the place one that does nothing ("- c").
/// While notifications run on a list, places stay where they are, also those of a list that has
/// grown meanwhile, and unsubscribed nodes stay alive: whoever walks just walks on, and a reactor
/// that goes away in its own call is callable to the end. When the last has ended, the list closes
/// up. A table whose subject has died goes when the last of its lists is idle. Whoever leaves a
/// list as it was entered has nothing to look after: all that happens to it meanwhile changes
/// `running`.
class ROUTING_API ObserverTable {
 public:
  /// Notifications nested in each other on one list; one more is the assertion
  /// "nesting < maxNesting".
  static constexpr std::uint32_t maxNesting = 64;

  static ObserverTable* create() { return new ObserverTable(); }
  ObserverTable(const ObserverTable&) = delete;
  ObserverTable& operator=(const ObserverTable&) = delete;

  /// Called once by the subject when it dies.
  void detach();

  /// Appends a reactor, which stands in no list, to one.
  void append(std::size_t list, ObserverNode& node);

  bool observed(std::size_t list) const {
    const List* const at = find(list);
    return at != nullptr && at->size > 0;
  }
  /// Calls the list's reactors; `key` points to what changed, or is null where there is no key. If
  /// some throw, all are called and the first error is rethrown.
  void notify(std::size_t list, const void* key);
  /// Calls the reactors of two lists as if they were one.
  void notify(std::size_t list, const void* key, std::size_t second, const void* secondKey);

 private:
  friend class Subscription;

  struct Place {
    ObserverNode::Fire fire = idleFire;  // until subscribed, and once unsubscribed
    ObserverNode* node = nullptr;        // until subscribed, and once let go of
  };

  /// Head of a list; its places follow it in memory.
  struct List {
    static constexpr std::uint32_t untidyFlag = 1U << 31;
    static constexpr std::uint32_t hasGrown = ~0U;

    std::uint32_t size = 0;
    std::uint32_t capacity = 0;
    std::uint32_t dead = 0;     // unsubscribed places
    std::uint32_t running = 0;  // notifications, with the flag once there is something to tidy
    List* outgrown = nullptr;   // the same list before it grew, kept for those that walk on it
    Place* places() { return reinterpret_cast<Place*>(this + 1); }
    bool idle() const { return (running & ~untidyFlag) == 0; }
  };

  /// The places that a notification has still to call.
  struct Walk {
    const Place* at = nullptr;
    const Place* end = nullptr;
  };

  ObserverTable() = default;
  ~ObserverTable();
  List& roomIn(std::size_t index);
  void notifyBoth(List& list, const void* key, List& second, const void* secondKey);
  void notify(List& list, const void* key);
  void finishAfterError(List& list, std::uint32_t before, Walk walk, const void* key);
  static std::uint32_t enter(List& list);
  static Walk placesOf(List& list) { return {list.places(), list.places() + list.size}; }
  static void enterUntidy(List& list);
  void leave(List& list, std::uint32_t before);
  void leaveUntidy(const List& list);
  List& successor(const List& list);
  void tidy(List& list);
  void remove(ObserverNode* node);
  void removeAll(std::size_t list);
  bool idle() const;
  static void idleFire(ObserverNode*, const void*) {}
  List* find(std::size_t list) const {
    if (list == 0) return first_;
    return list <= size_ ? lists_[list - 1] : nullptr;
  }
  /// The place of the pointer to a list that has been in use.
  List*& at(std::size_t list) { return list == 0 ? first_ : lists_[list - 1]; }
  static List* newList(std::uint32_t capacity);
  static void call(Walk& walk, const void* key);
  static void finish(Walk& walk, const void* key, FirstError& error);
  static std::vector<ObserverNode*> closeUp(List& list);

  List* first_ = nullptr;           // list 0, often the only one
  std::unique_ptr<List*[]> lists_;  // those behind it, up to the highest in use
  std::uint32_t size_ = 0;
  bool detached_ = false;
};

inline void ObserverTable::notify(std::size_t list, const void* key) {
  List* const own = find(list);
  if (own != nullptr && own->size > 0) notify(*own, key);
}

inline void ObserverTable::notify(std::size_t list, const void* key, std::size_t second,
                                  const void* secondKey) {
  List* const own = find(list);
  List* const other = find(second);
  const bool observed = own != nullptr && own->size > 0;
  if (other == nullptr || other->size == 0) [[likely]] {
    if (observed) notify(*own, key);
  } else if (observed) {
    notifyBoth(*own, key, *other, secondKey);
  } else {
    notify(*other, secondKey);
  }
}

inline void ObserverTable::notify(List& list, const void* key) {
  const std::uint32_t before = enter(list);
  Walk walk = placesOf(list);
  try {
    call(walk, key);
  } catch (...) {
    return finishAfterError(list, before, walk, key);
  }
  leave(list, before);
}

inline std::uint32_t ObserverTable::enter(List& list) {
  if (list.running >= maxNesting) [[unlikely]]
    enterUntidy(list);
  return list.running++;
}

inline void ObserverTable::leave(List& list, std::uint32_t before) {
  if (list.running == before + 1) [[likely]] {
    list.running = before;
  } else {
    leaveUntidy(list);
  }
}

// `at` stands behind the place that is called: after an error the next one's turn has come.
inline void ObserverTable::call(Walk& walk, const void* key) {
  while (walk.at != walk.end) {
    const Place& place = *walk.at++;
    place.fire(place.node, key);
  }
}

/// The reactors of one subject, which takes no more than a pointer for them: to nothing, to the one
/// reactor that there is, or to a table once there have been two. All of it keeps what
/// ObserverTable promises.
///
///   nobody    [ . ]
///   one       [ x ] -> node              held by its Subscription
///   several   [ x ] -> table -> list -> nodes
class ROUTING_API Observers {
 public:
  Observers() = default;
  Observers(const Observers&) = delete;
  Observers& operator=(const Observers&) = delete;
  ~Observers() {
    if (any()) detach();
  }

  /// Appends a reactor `void()` or `void(const Key&)` to a list.
  template <class Key, class Reactor>
  [[nodiscard]] Subscription subscribe(std::size_t list, Reactor&& reactor) {
    return emplace<Key, std::decay_t<Reactor>>(list, std::forward<Reactor>(reactor));
  }
  /// The same with a reactor that is made in its place.
  template <class Key, class Reactor, class... Arguments>
  [[nodiscard]] ReactorHandle<Key, Reactor> emplace(std::size_t list, Arguments&&... arguments) {
    using Handle = ReactorHandle<Key, Reactor>;
    auto made = std::make_unique<typename Handle::Node>(std::forward<Arguments>(arguments)...);
    append(list, *made);
    return Handle(made.release());
  }

  /// False if there is nobody to notify.
  bool any() const { return place_ != nullptr; }
  bool observed(std::size_t list) const {
    return isTable() ? table().observed(list) : any() && one().list_ == list;
  }
  void notify(std::size_t list, const void* key);
  void notify(std::size_t list, const void* key, std::size_t second, const void* secondKey);

 private:
  friend class Subscription;

  void append(std::size_t list, ObserverNode& node);
  void remove(ObserverNode& node);
  void detach();
  static void call(ObserverNode& node, const void* key);
  bool isTable() const { return (reinterpret_cast<std::uintptr_t>(place_) & tableMark) != 0; }
  ObserverNode& one() const { return *reinterpret_cast<ObserverNode*>(place_); }
  ObserverTable& table() const { return *reinterpret_cast<ObserverTable*>(place_ - tableMark); }

  static constexpr std::size_t tableMark = 1;  // behind an address that is even

  std::byte* place_ = nullptr;
};

inline void Observers::notify(std::size_t list, const void* key) {
  if (isTable()) return table().notify(list, key);
  if (any() && one().list_ == list) call(one(), key);
}

inline void Observers::notify(std::size_t list, const void* key, std::size_t second,
                              const void* secondKey) {
  if (isTable()) return table().notify(list, key, second, secondKey);
  if (!any()) return;
  if (one().list_ == list) return call(one(), key);
  if (one().list_ == second) call(one(), secondKey);
}

// The reactor may end the subject; not the node, which a call holds.
inline void Observers::call(ObserverNode& node, const void* key) {
  struct Call {
    ObserverNode* const node;
    ~Call() { ObserverNode::drop(node); }
  };
  ROUTING_ASSERT_TEXT(node.holders_ <= ObserverTable::maxNesting, "nesting < maxNesting");
  ++node.holders_;
  const Call held{&node};
  node.call(key);
}

}  // namespace Routing
