#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "platform/Export.h"
#include "platform/entity/Observers.h"
#include "platform/entity/RangeError.h"
#include "platform/entity/ValueText.h"

namespace Routing {

class AttributeJournal;
class Entity;

/// A copy of a value of whatever type, if its octets say all of it and are no more than eight; else
/// it has no value, and equals nothing.
class SmallValue {
 public:
  using Notation = void (*)(std::string&, const void*);

  template <class T>
  static constexpr bool fits = std::is_trivially_copyable_v<T> &&
                               sizeof(T) <= sizeof(std::uint64_t) &&
                               (std::has_unique_object_representations_v<T> ||
                                std::is_floating_point_v<T>);

  SmallValue() = default;
  template <class T>
  explicit SmallValue(const T& value) {
    if constexpr (fits<T>) {
      std::memcpy(octets_.data(), &value, sizeof(T));
      notation_ = [](std::string& out, const void* v) {
        writeValue(out, *static_cast<const T*>(v));
      };
    }
  }
  bool hasValue() const { return notation_ != nullptr; }
  void notation(std::string& out) const { notation_(out, octets_.data()); }

  /// Whether types and octets are the same.
  friend bool operator==(const SmallValue& a, const SmallValue& b) {
    return std::bit_cast<std::uint64_t>(a.octets_) == std::bit_cast<std::uint64_t>(b.octets_) &&
           a.notation_ == b.notation_ && a.hasValue();
  }

 private:
  alignas(std::uint64_t) std::array<std::byte, sizeof(std::uint64_t)> octets_{};
  Notation notation_ = nullptr;
};

/// A value of whatever type, seen through its notation and its JSON form.
class ValueView {
 public:
  template <class T>
  explicit ValueView(const T& value)
      : value_(&value),
        notation_(
            [](std::string& out, const void* v) { writeValue(out, *static_cast<const T*>(v)); }),
        json_([](std::string& out, const void* v) { writeJson(out, *static_cast<const T*>(v)); }),
        small_(value) {}

  void notation(std::string& out) const { notation_(out, value_); }
  void json(std::string& out) const { json_(out, value_); }
  const SmallValue& small() const { return small_; }

 private:
  const void* value_;
  SmallValue::Notation notation_;
  SmallValue::Notation json_;
  SmallValue small_;
};

enum class AttributeKind : std::uint8_t { value, set, map, collection, child };

/// Is shown the attributes of an entity. A value comes as value(); the others as begin(), one call
/// for each thing they hold, end().
class ROUTING_API EntityVisitor {
 public:
  virtual ~EntityVisitor() = default;
  virtual void value(std::string_view attribute, const ValueView& value) = 0;
  virtual void begin(std::string_view attribute, AttributeKind kind) = 0;
  virtual void member(const ValueView& key) = 0;
  virtual void entry(const ValueView& key, const ValueView& value) = 0;
  /// A collection's entry (with key) or a single child (without).
  virtual void child(const ValueView* key, const Entity& child) = 0;
  virtual void end() = 0;
  /// A key (or the single child) that no longer exists; only visitChange() tells of it.
  virtual void gone(const ValueView* /*key*/) {}
};

/// Reaches every child; the other attributes do not matter to it.
class ROUTING_API ChildVisitor : public EntityVisitor {
 public:
  void value(std::string_view, const ValueView&) override {}
  void begin(std::string_view, AttributeKind) override {}
  void member(const ValueView&) override {}
  void entry(const ValueView&, const ValueView&) override {}
  void end() override {}
};

/// One change somewhere in a tree: which attribute of which entity, and the key if it has one.
struct TreeChange {
  const Entity& entity;
  std::size_t attribute;
  const void* key;
};

/// A typed object whose attributes can be observed. Concrete entities are declared with
/// ROUTING_ENTITY from a schema list (platform/entity/Schema.h), which gives every attribute its
/// reader, setter, deleter and reactor.
///
/// A setter compares, stores, checks bounds and notifies, in that order: an equal value does
/// nothing; a value out of bounds stays stored, raises RangeError and notifies nobody. Notification
/// is synchronous, inside the setter, one per change, in the order of subscription (an attribute's
/// own reactors, then those of the whole entity). Not thread-safe: one event-loop thread.
///
/// A reactor may do anything: change the attribute or its collection, delete the entity or whoever
/// called the setter, throw. So what a setter is given may be lent from what goes, and it touches
/// nothing of the entity after its last notification unless a Watch says that it lives.
class ROUTING_API Entity {
 public:
  /// Learns whether an entity dies while the watch stands. For local variables only: watches end in
  /// the opposite order of their beginning.
  class ROUTING_API Watch {
   public:
    explicit Watch(const Entity& entity);
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch();
    bool alive() const { return entity_ != nullptr; }

   private:
    friend class Entity;
    const Entity* entity_;
    Watch* const outer_;
    const bool nested_;  // another watch stands on the same entity
  };

  static constexpr std::size_t mostAttributes = 256;

  /// How an attribute log writes to a tree.
  enum class Edit : std::uint8_t { assign, insert, erase, find };

  Entity(const Entity&) = delete;
  Entity& operator=(const Entity&) = delete;
  virtual ~Entity();

  /// Qualified type name, for example "Routing::Pim::Bsr::Status".
  virtual std::string_view typeName() const = 0;
  /// Notation of the key or construction argument; empty if there is none.
  virtual std::string keyText() const { return {}; }
  /// The entity that holds this one; null for a root, and from the moment it is deleted there.
  const Entity* parent() const { return parent_; }
  /// Name of the parent's attribute that holds this entity; empty without a parent.
  std::string_view parentAttribute() const;
  /// True if the parent holds this entity under a key.
  bool keyedInParent() const { return keyed_; }

  virtual std::string_view attributeName(std::size_t attribute) const = 0;
  /// Shows all attributes in schema order; pointers to packet objects are left out.
  virtual void visit(EntityVisitor& visitor) const = 0;
  /// Shows the one thing that a change was about: as visit() does while it exists, else by gone().
  virtual void visitChange(std::size_t attribute, const void* key,
                           EntityVisitor& visitor) const = 0;
  /// Applies an edit that was read from a log: `in` stands behind the attribute's name. False if it
  /// does not fit the schema. `child` receives the entity that find arrives at.
  virtual bool edit(Edit edit, std::string_view attribute, ValueReader& in,
                    std::shared_ptr<Entity>& child) = 0;

  /// Runs `reactor(attribute index)` at every change of an attribute of this entity.
  template <class Reactor>
  [[nodiscard]] Subscription anyReactor(Reactor&& reactor) const {
    return observers_.subscribe<std::size_t>(anyList, std::forward<Reactor>(reactor));
  }
  /// The same with a reactor of a class of its own, which is made of the arguments.
  template <class Reactor, class... Arguments>
  [[nodiscard]] ReactorHandle<std::size_t, Reactor> anyReactorOf(Arguments&&... arguments) const {
    return observers_.emplace<std::size_t, Reactor>(anyList, std::forward<Arguments>(arguments)...);
  }
  /// Runs `reactor(TreeChange)` at every change of this entity and of all below it, before any
  /// other reactor of that change. A change of an entity that an earlier tree reactor has deleted
  /// is told no further in the tree that it has left.
  template <class Reactor>
  [[nodiscard]] Subscription treeReactor(Reactor&& reactor) const {
    logTree();
    return observers_.subscribe<TreeNotice>(
        treeList, [this, call = std::forward<Reactor>(reactor)](const TreeNotice& notice) mutable {
          if (notice.watch.alive() && notice.change.entity.within(*this)) call(notice.change);
        });
  }

 protected:
  Entity() = default;

  template <class T>
  void setValue(T& slot, const T& value, std::size_t attribute) {
    if (slot == value) return;
    slot = value;
    valueChanged(attribute, slot);
  }
  /// The object of before dies last: `value` may be lent from it.
  template <class T>
  void setValue(std::shared_ptr<T>& slot, const std::shared_ptr<T>& value, std::size_t attribute) {
    if (slot == value) return;
    const std::shared_ptr<T> before = std::exchange(slot, std::shared_ptr<T>(value));
    changed(attribute, nullptr);
  }

  template <class Key, class Reactor>
  [[nodiscard]] Subscription subscribe(std::size_t attribute, Reactor&& reactor) const {
    return observers_.subscribe<Key>(attribute + firstAttributeList,
                                     std::forward<Reactor>(reactor));
  }

  template <class Key, class Reactor, class... Arguments>
  [[nodiscard]] ReactorHandle<Key, Reactor> emplace(std::size_t attribute,
                                                    Arguments&&... arguments) const {
    return observers_.emplace<Key, Reactor>(attribute + firstAttributeList,
                                            std::forward<Arguments>(arguments)...);
  }

  template <class T>
  void valueChanged(std::size_t attribute, const T& value) {
    if constexpr (SmallValue::fits<T>) {
      if (journal_ != 0) writeToJournal(attribute, SmallValue(value));
      if (observers_.any() || logged_) tell(attribute, nullptr);
    } else {
      changed(attribute, nullptr);
    }
  }
  void changed(std::size_t attribute, const void* key) {
    if (journal_ != 0) writeToJournal(attribute, key);
    if (observers_.any() || logged_) tell(attribute, key);
  }
  /// The reactors are shown a copy of the key: the caller's may be lent from what they delete.
  template <class K>
  void changedAt(std::size_t attribute, const K& key) {
    if (journal_ != 0) writeToJournal(attribute, &key);
    if (!observers_.any() && !logged_) return;
    const K copy = key;
    tell(attribute, &copy);
  }

 private:
  struct TreeNotice {
    TreeChange change;
    const Watch& watch;
  };

  template <class Content>
  friend class KeyedAttribute;
  template <class K>
  friend class SetAttribute;
  template <class K, class V>
  friend class MapAttribute;
  template <class K, class E>
  friend class CollectionAttribute;
  template <class K, class E>
  friend class ReferenceAttribute;
  template <class A, class E>
  friend class ChildAttribute;
  friend class AttributeJournal;

  static constexpr std::size_t anyList = 0;
  static constexpr std::size_t treeList = 1;
  static constexpr std::size_t firstAttributeList = 2;

  void tell(std::size_t attribute, const void* key);
  void tellAll(std::size_t attribute, const void* key);
  void tellOwn(std::size_t attribute, const void* key) {
    observers_.notify(attribute + firstAttributeList, key, anyList, &attribute);
  }
  void tellTrees(const TreeNotice& notice) const;
  bool inObservedTree() const;
  bool within(const Entity& tree) const;
  void adopt(Entity& child, std::size_t attribute, bool keyed);
  void orphan() {
    parent_ = nullptr;
    if (journal_ != 0) leaveJournal();
  }
  void logTree() const;
  void writeToJournal(std::size_t attribute, const void* key) const;
  void writeToJournal(std::size_t attribute, SmallValue value) const;
  void leaveJournal() const;

  mutable Observers observers_;
  Entity* parent_ = nullptr;
  mutable std::uint32_t journalNumber_ = 0;  // the entity's in its journal
  std::uint8_t attributeInParent_ = 0;
  bool keyed_ : 1 = false;
  mutable bool logged_ : 1 = false;  // an ancestor, or this entity, has or had tree reactors
  mutable bool watched_ : 1 = false;
  mutable std::uint16_t journal_ = 0;  // its number among all journals; 0: none
};

/// The whole tree in value notation, one attribute a line; equal trees give equal texts.
ROUTING_API std::string treeText(const Entity& root);
/// The whole tree as one JSON object.
ROUTING_API std::string treeJson(const Entity& root);

}  // namespace Routing
