#pragma once

#include <string_view>

#include "platform/entity/Attributes.h"

/// What the schema macros expand to: one overload for each kind of attribute.
namespace Routing::detail {

[[noreturn]] ROUTING_API void refuseOutOfBounds(const Entity& owner, std::string_view attribute,
                                                std::string_view minText, std::string_view maxText);

inline void checkBounds(std::uint64_t value, std::uint64_t min, std::uint64_t max,
                        const Entity& owner, std::string_view attribute, std::string_view minText,
                        std::string_view maxText) {
  if (value < min || value > max) refuseOutOfBounds(owner, attribute, minText, maxText);
}

template <class T>
void show(EntityVisitor& to, std::string_view name, const T& value) {
  to.value(name, ValueView(value));
}
template <class T>
void show(EntityVisitor&, std::string_view, const std::shared_ptr<T>&) {}
template <class K, class E>
void show(EntityVisitor&, std::string_view, const ReferenceAttribute<K, E>&) {}

template <class K>
void show(EntityVisitor& to, std::string_view name, const SetAttribute<K>& set) {
  to.begin(name, AttributeKind::set);
  for (const K& key : set.content()) to.member(ValueView(key));
  to.end();
}
template <class K, class V>
void show(EntityVisitor& to, std::string_view name, const MapAttribute<K, V>& map) {
  to.begin(name, AttributeKind::map);
  for (const auto& [key, value] : map.content()) to.entry(ValueView(key), ValueView(value));
  to.end();
}
template <class K, class E>
void show(EntityVisitor& to, std::string_view name, const CollectionAttribute<K, E>& entries) {
  to.begin(name, AttributeKind::collection);
  for (const auto& [key, entry] : entries.content()) {
    const ValueView view(key);
    to.child(&view, *entry);
  }
  to.end();
}
template <class A, class E>
void show(EntityVisitor& to, std::string_view name, const ChildAttribute<A, E>& child) {
  to.begin(name, AttributeKind::child);
  if (child.get()) to.child(nullptr, *child.get());
  to.end();
}

template <class T>
void showChange(EntityVisitor& to, std::string_view name, const T& value, const void*) {
  show(to, name, value);
}
template <class K>
void showChange(EntityVisitor& to, std::string_view name, const SetAttribute<K>& set,
                const void* changed) {
  const K& key = *static_cast<const K*>(changed);
  const ValueView view(key);
  to.begin(name, AttributeKind::set);
  set.has(key) ? to.member(view) : to.gone(&view);
  to.end();
}
template <class K, class V>
void showChange(EntityVisitor& to, std::string_view name, const MapAttribute<K, V>& map,
                const void* changed) {
  const K& key = *static_cast<const K*>(changed);
  const ValueView view(key);
  const V* value = map.find(key);
  to.begin(name, AttributeKind::map);
  value != nullptr ? to.entry(view, ValueView(*value)) : to.gone(&view);
  to.end();
}
template <class K, class E>
void showChange(EntityVisitor& to, std::string_view name, const CollectionAttribute<K, E>& entries,
                const void* changed) {
  const K& key = *static_cast<const K*>(changed);
  const ValueView view(key);
  const auto& entry = entries.find(key);
  to.begin(name, AttributeKind::collection);
  entry ? to.child(&view, *entry) : to.gone(&view);
  to.end();
}
template <class A, class E>
void showChange(EntityVisitor& to, std::string_view name, const ChildAttribute<A, E>& child,
                const void*) {
  to.begin(name, AttributeKind::child);
  child.get() ? to.child(nullptr, *child.get()) : to.gone(nullptr);
  to.end();
}

/// "[KEY]" at the front of `in`.
template <class K>
bool readKey(ValueReader& in, K& key) {
  return in.take("[") && readValue(in, key) && in.take("]");
}

/// " VALUE" up to the end of `in`.
template <class T>
bool readOnly(ValueReader& in, T& value) {
  return in.take(" ") && readValue(in, value) && in.atEnd();
}

template <class T, class Assign>
bool editValue(Entity::Edit edit, ValueReader& in, const T&, Assign assign) {
  T value{};
  if (edit != Entity::Edit::assign || !readOnly(in, value)) return false;
  assign(value);
  return true;
}
template <class T, class Assign>
bool editBounded(Entity::Edit edit, ValueReader& in, const T&, std::uint64_t min, std::uint64_t max,
                 Assign assign) {
  T value{};
  if (edit != Entity::Edit::assign || !readOnly(in, value)) return false;
  if (value < min || value > max) return false;
  assign(value);
  return true;
}

template <class K>
bool editHeld(Entity& owner, std::size_t attribute, SetAttribute<K>& set, Entity::Edit edit,
              ValueReader& in, std::shared_ptr<Entity>&) {
  K key{};
  if (!readKey(in, key) || !in.atEnd()) return false;
  if (edit == Entity::Edit::insert) {
    set.insert(owner, attribute, key);
  } else if (edit == Entity::Edit::erase) {
    set.erase(owner, attribute, key);
  } else {
    return false;
  }
  return true;
}
template <class K, class V>
bool editHeld(Entity& owner, std::size_t attribute, MapAttribute<K, V>& map, Entity::Edit edit,
              ValueReader& in, std::shared_ptr<Entity>&) {
  K key{};
  if (!readKey(in, key)) return false;
  if (edit == Entity::Edit::erase && in.atEnd()) {
    map.erase(owner, attribute, key);
    return true;
  }
  V value{};
  if (edit != Entity::Edit::assign || !readOnly(in, value)) return false;
  map.assign(owner, attribute, key, value);
  return true;
}
template <class K, class E>
bool editHeld(Entity& owner, std::size_t attribute, CollectionAttribute<K, E>& entries,
              Entity::Edit edit, ValueReader& in, std::shared_ptr<Entity>& child) {
  K key{};
  if (!readKey(in, key)) return false;
  if (edit == Entity::Edit::find) {
    child = entries.find(key);
    return child != nullptr;
  }
  if (!in.atEnd()) return false;
  if (edit == Entity::Edit::insert) {
    entries.create(owner, attribute, key);
  } else if (edit == Entity::Edit::erase) {
    entries.erase(owner, attribute, key);
  } else {
    return false;
  }
  return true;
}
template <class A, class E>
bool editHeld(Entity& owner, std::size_t attribute, ChildAttribute<A, E>& held, Entity::Edit edit,
              ValueReader& in, std::shared_ptr<Entity>& child) {
  if (edit == Entity::Edit::find) {
    child = held.get();
    return child != nullptr;
  }
  if (edit == Entity::Edit::erase && in.atEnd()) {
    held.erase(owner, attribute);
    return true;
  }
  A argument{};
  if (edit != Entity::Edit::insert || !readOnly(in, argument)) return false;
  held.create(owner, attribute, argument);
  return true;
}

}  // namespace Routing::detail
