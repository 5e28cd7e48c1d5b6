#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <type_traits>
#include <utility>

#include "platform/Export.h"

namespace Routing {

class ObserverTable;

/// One subscriber's place in a list. Held by its Subscription, and by the list while it stands in
/// it, so that a reactor that goes away inside its own notification stays callable to the end.
class ROUTING_API ObserverNode {
 public:
  ObserverNode() = default;
  ObserverNode(const ObserverNode&) = delete;
  ObserverNode& operator=(const ObserverNode&) = delete;
  virtual ~ObserverNode() = default;
  /// Runs the reactor; `key` points to the changed key, or is null where the attribute has none.
  virtual void fire(const void* key) = 0;

 private:
  friend class ObserverTable;
  friend class Subscription;

  ObserverNode* previous_ = nullptr;
  ObserverNode* next_ = nullptr;
  ObserverTable* table_ = nullptr;  // null once unsubscribed or once the subject is gone
  std::uint64_t serial_ = 0;
  std::uint32_t holders_ = 1;
  std::uint16_t list_ = 0;
};

/// Keeps a reactor subscribed; its destructor unsubscribes. The subject may die first.
class ROUTING_API Subscription {
 public:
  Subscription() = default;
  explicit Subscription(ObserverNode* node) : node_(node) {}
  Subscription(Subscription&& other) noexcept : node_(std::exchange(other.node_, nullptr)) {}
  Subscription& operator=(Subscription&& other) noexcept {
    if (this != &other) {
      reset();
      node_ = std::exchange(other.node_, nullptr);
    }
    return *this;
  }
  ~Subscription() { reset(); }

  /// Unsubscribes; legal inside the reactor's own notification. Idempotent.
  void reset();
  bool active() const { return node_ != nullptr && node_->table_ != nullptr; }

 private:
  ObserverNode* node_ = nullptr;
};

/// The reactors of one subject, in numbered lists. Notification is synchronous and in the order of
/// subscription. A reactor that subscribes during a notification is first told of the next one; one
/// that unsubscribes, or whose owner is deleted, is not called any more. The subject itself may be
/// deleted inside a notification: the reactors that were not reached yet are then not called.
class ROUTING_API ObserverTable {
 public:
  /// Notifications nested in each other on one list before the assertion "nesting < maxNesting".
  static constexpr unsigned maxNesting = 64;

  static ObserverTable* create();
  ObserverTable(const ObserverTable&) = delete;
  ObserverTable& operator=(const ObserverTable&) = delete;

  /// Called once by the subject when it dies.
  void detach();

  /// Appends a reactor `void()` or `void(const Key&)` to a list.
  template <class Key, class Reactor>
  [[nodiscard]] Subscription subscribe(std::size_t list, Reactor&& reactor) {
    return append(list, new Node<Key, std::decay_t<Reactor>>(std::forward<Reactor>(reactor)));
  }

  bool observed(std::size_t list) const { return list < size_ && lists_[list].first != nullptr; }
  /// Calls the list's reactors. If some throw, all are called and the first error is rethrown.
  void notify(std::size_t list, const void* key);
  /// Calls the reactors of two lists as if they were one.
  void notify(std::size_t list, const void* key, std::size_t second, const void* secondKey);

 private:
  friend class Subscription;

  struct List {
    ObserverNode* first = nullptr;
    ObserverNode* last = nullptr;
    std::uint32_t nesting = 0;
    bool dirty = false;  // holds unsubscribed nodes that a running notification may stand on
  };

  template <class Key, class Reactor>
  class Node final : public ObserverNode {
   public:
    template <class R>
    explicit Node(R&& reactor) : reactor_(std::forward<R>(reactor)) {}
    void fire([[maybe_unused]] const void* key) override {
      if constexpr (std::is_void_v<Key>) {
        reactor_();
      } else {
        reactor_(*static_cast<const Key*>(key));
      }
    }

   private:
    Reactor reactor_;
  };

  ObserverTable() = default;
  ~ObserverTable() = default;
  Subscription append(std::size_t list, ObserverNode* node);
  static constexpr std::size_t noList = ~std::size_t{0};

  /// Calls the reactors of a list that subscribed not later than the one numbered `newest`.
  void fireAll(std::size_t list, const void* key, std::uint64_t newest,
               std::exception_ptr& firstError);
  void remove(ObserverNode* node);
  void unlink(List& list, ObserverNode* node);
  void sweep(List& list);
  void release();
  static void drop(ObserverNode* node);

  std::unique_ptr<List[]> lists_;  // grows to the highest list in use
  std::size_t size_ = 0;
  std::uint64_t lastSerial_ = 0;
  std::uint32_t holders_ = 1;  // the subject, and every notification that is under way
};

}  // namespace Routing
