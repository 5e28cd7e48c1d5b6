#pragma once

#include <map>
#include <memory>
#include <set>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/entity/Entity.h"

/// What the keyed attributes of an entity are made of. Each operation changes the content first and
/// notifies last, with the changed key. Content iterates in key order.
namespace Routing {

/// Raised by a setter of a collection of references that is given null.
[[noreturn]] ROUTING_API void refuseNull(std::string_view attribute, std::string_view owner);

template <class K>
class SetAttribute {
 public:
  using Content = std::set<K>;
  const Content& content() const { return content_; }
  bool has(const K& key) const { return content_.contains(key); }
  void insert(Entity& owner, std::size_t attribute, const K& key) {
    if (content_.insert(key).second) owner.changed(attribute, &key);
  }
  void erase(Entity& owner, std::size_t attribute, K key) {
    if (content_.erase(key) > 0) owner.changed(attribute, &key);
  }
  void clear(Entity& owner, std::size_t attribute) {
    const Content keys = content_;
    for (const K& key : keys) erase(owner, attribute, key);
  }

 private:
  Content content_;
};

template <class K, class V>
class MapAttribute {
 public:
  using Content = std::map<K, V>;
  const Content& content() const { return content_; }
  const V* find(const K& key) const {
    const auto it = content_.find(key);
    return it == content_.end() ? nullptr : &it->second;
  }
  void assign(Entity& owner, std::size_t attribute, const K& key, const V& value) {
    const auto [it, added] = content_.try_emplace(key, value);
    if (!added && it->second == value) return;
    it->second = value;
    owner.changed(attribute, &key);
  }
  void erase(Entity& owner, std::size_t attribute, K key) {
    if (content_.erase(key) > 0) owner.changed(attribute, &key);
  }
  void clear(Entity& owner, std::size_t attribute) {
    const Content entries = content_;
    for (const auto& entry : entries) erase(owner, attribute, entry.first);
  }

 private:
  Content content_;
};

/// Entities that the owner holds, by key. A deleted entry is detached, never changed: whoever still
/// holds it may read and write it, and its own reactors go on working.
template <class K, class E>
class CollectionAttribute {
 public:
  using Content = std::map<K, std::shared_ptr<E>>;
  CollectionAttribute() = default;
  ~CollectionAttribute() {
    for (const auto& entry : content_) entry.second->orphan();
  }
  CollectionAttribute(const CollectionAttribute&) = delete;
  CollectionAttribute& operator=(const CollectionAttribute&) = delete;

  const Content& content() const { return content_; }
  const std::shared_ptr<E>& find(const K& key) const {
    static const std::shared_ptr<E> none;
    const auto it = content_.find(key);
    return it == content_.end() ? none : it->second;
  }
  std::shared_ptr<E> create(Entity& owner, std::size_t attribute, const K& key) {
    std::shared_ptr<E>& slot = content_[key];
    if (slot) return slot;
    std::shared_ptr<E> entry = std::make_shared<E>(key);
    slot = entry;
    owner.adopt(*entry, attribute, true);
    owner.changed(attribute, &key);
    return entry;
  }
  void erase(Entity& owner, std::size_t attribute, K key) {
    const auto it = content_.find(key);
    if (it == content_.end()) return;
    const std::shared_ptr<E> entry = std::move(it->second);
    content_.erase(it);
    entry->orphan();
    owner.changed(attribute, &key);
  }
  void clear(Entity& owner, std::size_t attribute) {
    std::vector<K> keys;
    keys.reserve(content_.size());
    for (const auto& entry : content_) keys.push_back(entry.first);
    for (const K& key : keys) erase(owner, attribute, key);
  }

 private:
  Content content_;
};

/// References to entities that somebody else owns.
template <class K, class E>
class ReferenceAttribute {
 public:
  using Content = std::map<K, std::shared_ptr<E>>;
  const Content& content() const { return content_; }
  const std::shared_ptr<E>& find(const K& key) const {
    static const std::shared_ptr<E> none;
    const auto it = content_.find(key);
    return it == content_.end() ? none : it->second;
  }
  void assign(Entity& owner, std::size_t attribute, const K& key, std::shared_ptr<E> entity) {
    if (!entity) refuseNull(owner.attributeName(attribute), owner.typeName());
    std::shared_ptr<E>& slot = content_[key];
    if (slot == entity) return;
    slot = std::move(entity);
    owner.changed(attribute, &key);
  }
  void erase(Entity& owner, std::size_t attribute, K key) {
    if (content_.erase(key) > 0) owner.changed(attribute, &key);
  }
  void clear(Entity& owner, std::size_t attribute) {
    const Content entries = content_;
    for (const auto& entry : entries) erase(owner, attribute, entry.first);
  }

 private:
  Content content_;
};

/// One entity that the owner holds, made with an argument of type A.
template <class A, class E>
class ChildAttribute {
 public:
  ChildAttribute() = default;
  ~ChildAttribute() {
    if (child_) child_->orphan();
  }
  ChildAttribute(const ChildAttribute&) = delete;
  ChildAttribute& operator=(const ChildAttribute&) = delete;

  const std::shared_ptr<E>& get() const { return child_; }
  std::shared_ptr<E> create(Entity& owner, std::size_t attribute, const A& argument) {
    if (child_) return child_;
    std::shared_ptr<E> child = std::make_shared<E>(argument);
    child_ = child;
    owner.adopt(*child, attribute, false);
    owner.changed(attribute, nullptr);
    return child;
  }
  void erase(Entity& owner, std::size_t attribute) {
    if (!child_) return;
    const std::shared_ptr<E> child = std::move(child_);
    child_.reset();
    child->orphan();
    owner.changed(attribute, nullptr);
  }

 private:
  std::shared_ptr<E> child_;
};

}  // namespace Routing
