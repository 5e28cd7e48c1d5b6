#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <set>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/entity/Entity.h"
#include "platform/entity/EntityCollection.h"
#include "platform/entity/FirstError.h"

/// What the keyed attributes of an entity are made of. Each operation changes the content first and
/// notifies last, with the changed key; what it takes out lives until everybody has been told.
/// Content iterates in key order.
namespace Routing {

/// Raised by a setter of a collection of references that is given null.
[[noreturn]] ROUTING_API void refuseNull(std::string_view attribute, std::string_view owner);

/// The key of a set's member or of a map's entry.
template <class Content>
const typename Content::key_type& keyOf(const typename Content::value_type& entry) {
  if constexpr (std::is_same_v<typename Content::key_type, typename Content::value_type>) {
    return entry;
  } else {
    return entry.first;
  }
}

/// A set or map of an entity, without what adds to it.
template <class Container>
class KeyedAttribute {
 public:
  using Content = Container;
  using Key = typename Content::key_type;

  const Content& content() const { return content_; }
  void erase(Entity& owner, std::size_t attribute, const Key& key) {
    const auto at = content_.find(key);
    if (at != content_.end()) take(owner, attribute, at);
  }

 protected:
  void take(Entity& owner, std::size_t attribute, typename Content::const_iterator at) {
    const auto gone = content_.extract(at);
    if constexpr (std::is_same_v<Key, typename Content::value_type>) {
      owner.changed(attribute, &gone.value());
    } else {
      owner.changed(attribute, &gone.key());
    }
  }

  Content content_;
};

/// Deletes the keys that are there now, one by one, as far as their owner lives.
template <class Keyed>
void clearKeys(Keyed& keyed, Entity& owner, std::size_t attribute) {
  std::vector<typename Keyed::Key> keys;
  keys.reserve(keyed.content().size());
  for (const auto& entry : keyed.content()) keys.push_back(keyOf<typename Keyed::Content>(entry));
  const Entity::Watch watch(owner);
  FirstError error;
  for (const auto& key : keys) {
    if (watch.alive()) error.run([&] { keyed.erase(owner, attribute, key); });
  }
  error.rethrow();
}

template <class K>
class SetAttribute : public KeyedAttribute<std::set<K>> {
 public:
  bool has(const K& key) const { return this->content_.contains(key); }
  void insert(Entity& owner, std::size_t attribute, const K& key) {
    if (this->content_.insert(key).second) owner.changedAt(attribute, key);
  }
};

template <class K, class V>
class MapAttribute : public KeyedAttribute<std::map<K, V>> {
 public:
  const V* find(const K& key) const {
    const auto it = this->content_.find(key);
    return it == this->content_.end() ? nullptr : &it->second;
  }
  void assign(Entity& owner, std::size_t attribute, const K& key, const V& value) {
    const auto [it, added] = this->content_.try_emplace(key, value);
    if (!added) {
      if (it->second == value) return;
      it->second = value;
    }
    owner.changedAt(attribute, key);
  }
};

/// Entities that the owner holds, by key. A deleted entry is detached, never changed: whoever still
/// holds it may read and write it, and its own reactors go on working.
template <class K, class E>
class CollectionAttribute {
 public:
  using Content = EntityCollection<K, E>;
  using Key = K;

  CollectionAttribute() = default;
  ~CollectionAttribute() {
    for (const auto& entry : content_) entry.second->orphan();
    while (!content_.empty()) takeAt(content_.blocks_.previous(content_.blocks_.end()));
  }
  CollectionAttribute(const CollectionAttribute&) = delete;
  CollectionAttribute& operator=(const CollectionAttribute&) = delete;

  const Content& content() const { return content_; }
  const std::shared_ptr<E>& find(const K& key) const { return content_.get(key); }
  std::shared_ptr<E> create(Entity& owner, std::size_t attribute, const K& key) {
    auto& blocks = content_.blocks_;
    const auto at = blocks.lowerBound(key);
    if (blocks.holds(at) && !(key < KeyOf()(blocks[at]))) return EntryOf()(*blocks[at]).second;
    auto entity = std::make_shared<E>(key);
    blocks.insert(at, entity.get());
    EntryOf()(*entity).second = entity;
    owner.adopt(*entity, attribute, true);
    owner.changedAt(attribute, key);
    return entity;
  }
  void erase(Entity& owner, std::size_t attribute, const K& key) {
    const auto at = content_.blocks_.find(key);
    if (!content_.blocks_.holds(at)) return;
    const std::shared_ptr<E> gone = takeAt(at);
    gone->orphan();
    owner.changed(attribute, &EntryOf()(*gone).first);
  }

 private:
  using KeyOf = typename Content::KeyOf;

  std::shared_ptr<E> takeAt(typename Content::Blocks::Position at) {
    return std::move(EntryOf()(*content_.blocks_.take(at)).second);
  }

  Content content_;
};

/// References to entities that somebody else owns.
template <class K, class E>
class ReferenceAttribute : public KeyedAttribute<std::map<K, std::shared_ptr<E>>> {
 public:
  const std::shared_ptr<E>& find(const K& key) const {
    static const std::shared_ptr<E> none;
    const auto at = this->content_.find(key);
    return at == this->content_.end() ? none : at->second;
  }
  void assign(Entity& owner, std::size_t attribute, const K& key, std::shared_ptr<E> entity) {
    if (!entity) refuseNull(owner.attributeName(attribute), owner.typeName());
    std::shared_ptr<E>& slot = this->content_[key];
    if (slot == entity) return;
    slot.swap(entity);
    owner.changedAt(attribute, key);
  }
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
