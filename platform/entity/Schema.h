#pragma once

#include "platform/entity/Attributes.h"
#include "platform/entity/Entity.h"
#include "platform/entity/SchemaDetail.h"

/// Declaration of entity types. A schema is a list macro with one line an attribute
/// (each but the last ended by a backslash):
///
///   #define ROUTER_SCHEMA(ATTR)
///     ATTR(VALUE, address, IpGenAddr, {})
///     ATTR(BOUNDED, holdTime, std::uint32_t, 60, 12, 100)
///     ATTR(COUNTER, rx)
///     ATTR(POINTER, message, Message)
///     ATTR(SET, permit, IpGenPrefix)
///     ATTR(MAP, zone, IpGenPrefix, IntfId)
///     ATTR(COLLECTION, intf, Intf, IntfId, Interface)
///     ATTR(REFERENCES, peer, std::string, Peer)
///     ATTR(CHILD, counters, Counters, std::string, Counters)
///   class ROUTING_API Router : public Entity {
///     ROUTING_KEY(Router, VrfName, vrfName)
///     ROUTING_ENTITY(Router, ROUTER_SCHEMA)
///   };
///   // in the source file:
///   ROUTING_ENTITY_DEFINE("Routing::", Router, ROUTER_SCHEMA)
///
/// It gives, by kind:
///   VALUE       x()  xIs(v)                         xReactor(void())
///   BOUNDED     the same; xIs raises RangeError "Type::x < MIN or > MAX not allowed", with the
///   bounds
///               as they are written in the schema
///   COUNTER     x()  xIs(v)  xInc(n = 1)            xReactor(void()); 32 bits, wraps
///   POINTER     x()  xIs(shared pointer)            xReactor(void()); by identity, not logged
///   SET         x()  x(key)  xIs(key, true)  xDel(key)  xDelAll()      xReactor(void(key))
///   MAP         x()  x(key)  xIs(key, v)     xDel(key)  xDelAll()      xReactor(void(key))
///   COLLECTION  x()  x(key)  newX(key)       xDel(key)  xDelAll()      xReactor(void(key))
///   REFERENCES  as MAP, of shared pointers, not null; not logged
///   CHILD       x()  newX(argument)          xDel()                    xReactor(void())
/// x(key) of a MAP is a pointer, of a COLLECTION a shared pointer; null where the key is absent.
/// xReactorOf<R>(arguments) is xReactor() with a reactor of class R that is made in its place.
/// newX returns the entry that exists already. Deleting an absent key is harmless.

/// Gives the entity its identity: a constructor from the key and the key's reader.
#define ROUTING_KEY(Type, Key, keyName)              \
 public:                                             \
  explicit Type(Key key) : entry_(std::move(key)) {} \
  const Key& keyName() const {                       \
    return entry_.first;                             \
  }                                                  \
  std::string keyText() const override {             \
    return ::Routing::valueText(entry_.first);       \
  }                                                  \
                                                     \
 private:                                            \
  friend struct ::Routing::EntryOf;                  \
  [[no_unique_address]] ::Routing::EntityEntry<Key, Type> entry_;

#define ROUTING_ENTITY(Type, SCHEMA)                                                          \
 public:                                                                                      \
  struct Attr {                                                                               \
    enum Index : std::size_t { SCHEMA(ROUTING_ATTR_INDEX) end_ };                             \
    static_assert(end_ <= ::Routing::Entity::mostAttributes);                                 \
  };                                                                                          \
  std::string_view typeName() const override;                                                 \
  std::string_view attributeName(std::size_t attribute) const override;                       \
  void visit(::Routing::EntityVisitor& visitor) const override;                               \
  void visitChange(std::size_t attribute, const void* key, ::Routing::EntityVisitor& visitor) \
      const override;                                                                         \
  bool edit(Edit edit, std::string_view attribute, ::Routing::ValueReader& in,                \
            std::shared_ptr<::Routing::Entity>& child) override;                              \
  SCHEMA(ROUTING_ATTR_MEMBERS)

#define ROUTING_ENTITY_DEFINE(Qualifier, Type, SCHEMA)                               \
  std::string_view Type::typeName() const {                                          \
    return Qualifier #Type;                                                          \
  }                                                                                  \
  std::string_view Type::attributeName(std::size_t attribute) const {                \
    static constexpr std::string_view names[] = {SCHEMA(ROUTING_ATTR_NAME) ""};      \
    return attribute < Attr::end_ ? names[attribute] : "";                           \
  }                                                                                  \
  void Type::visit(::Routing::EntityVisitor& visitor) const {                        \
    SCHEMA(ROUTING_ATTR_VISIT)                                                       \
  }                                                                                  \
  void Type::visitChange(std::size_t attribute, const void* key,                     \
                         ::Routing::EntityVisitor& visitor) const {                  \
    switch (attribute) {                                                             \
      SCHEMA(ROUTING_ATTR_VISIT_CHANGE)                                              \
      default:                                                                       \
        break;                                                                       \
    }                                                                                \
  }                                                                                  \
  bool Type::edit(Edit edit, std::string_view attribute, ::Routing::ValueReader& in, \
                  [[maybe_unused]] std::shared_ptr<::Routing::Entity>& child) {      \
    SCHEMA(ROUTING_ATTR_EDIT)                                                        \
    return false;                                                                    \
  }

#define ROUTING_ATTR_INDEX(KIND, name, ...) name,
#define ROUTING_ATTR_NAME(KIND, name, ...) #name,
#define ROUTING_ATTR_VISIT(KIND, name, ...) ::Routing::detail::show(visitor, #name, name##_);
#define ROUTING_ATTR_VISIT_CHANGE(KIND, name, ...)               \
  case Attr::name:                                               \
    ::Routing::detail::showChange(visitor, #name, name##_, key); \
    break;
#define ROUTING_ATTR_MEMBERS(KIND, ...) ROUTING_MEMBERS_##KIND(__VA_ARGS__)
#define ROUTING_ATTR_EDIT(KIND, name, ...) \
  if (attribute == #name) return ROUTING_EDIT_##KIND(name, __VA_ARGS__);

#define ROUTING_EDIT_VALUE(name, ...) \
  ::Routing::detail::editValue(edit, in, name##_, [this](const auto& v) { name##Is(v); })
#define ROUTING_EDIT_BOUNDED(name, T, initial, min, max)                                    \
  ::Routing::detail::editBounded(edit, in, name##_, std::uint64_t{min}, std::uint64_t{max}, \
                                 [this](const auto& v) { name##Is(v); })
#define ROUTING_EDIT_COUNTER(name, ...) ROUTING_EDIT_VALUE(name)
#define ROUTING_EDIT_POINTER(name, ...) false
#define ROUTING_EDIT_REFERENCES(name, ...) false
#define ROUTING_EDIT_HELD(name, ...) \
  ::Routing::detail::editHeld(*this, Attr::name, name##_, edit, in, child)
#define ROUTING_EDIT_SET(name, ...) ROUTING_EDIT_HELD(name)
#define ROUTING_EDIT_MAP(name, ...) ROUTING_EDIT_HELD(name)
#define ROUTING_EDIT_COLLECTION(name, ...) ROUTING_EDIT_HELD(name)
#define ROUTING_EDIT_CHILD(name, ...) ROUTING_EDIT_HELD(name)

#define ROUTING_REACTOR(name, Key)                                                              \
  template <class Reactor>                                                                      \
  [[nodiscard]] ::Routing::Subscription name##Reactor(Reactor&& reactor) const {                \
    return this->template subscribe<Key>(Attr::name, std::forward<Reactor>(reactor));           \
  }                                                                                             \
  template <class Reactor, class... Arguments>                                                  \
  [[nodiscard]] ::Routing::ReactorHandle<Key, Reactor> name##ReactorOf(Arguments&&... given)    \
      const {                                                                                   \
    return this->template emplace<Key, Reactor>(Attr::name, std::forward<Arguments>(given)...); \
  }

/// What sets, maps, collections and references have in common.
#define ROUTING_KEYED(name, K)                        \
  void name##Del(const K& key) {                      \
    name##_.erase(*this, Attr::name, key);            \
  }                                                   \
  void name##DelAll() {                               \
    ::Routing::clearKeys(name##_, *this, Attr::name); \
  }                                                   \
  ROUTING_REACTOR(name, K)

#define ROUTING_MEMBERS_VALUE(name, T, ...) \
 public:                                    \
  const T& name() const {                   \
    return name##_;                         \
  }                                         \
  void name##Is(const T& v) {               \
    setValue(name##_, v, Attr::name);       \
  }                                         \
  ROUTING_REACTOR(name, void)               \
 private:                                   \
  T name##_ = __VA_ARGS__;

#define ROUTING_MEMBERS_BOUNDED(name, T, initial, min, max)                \
 public:                                                                   \
  const T& name() const {                                                  \
    return name##_;                                                        \
  }                                                                        \
  void name##Is(const T& v) {                                              \
    if (name##_ == v) return;                                              \
    name##_ = v;                                                           \
    ::Routing::detail::checkBounds(v, min, max, *this, #name, #min, #max); \
    valueChanged(Attr::name, name##_);                                     \
  }                                                                        \
  ROUTING_REACTOR(name, void)                                              \
 private:                                                                  \
  T name##_ = initial;

#define ROUTING_MEMBERS_COUNTER(name)           \
  ROUTING_MEMBERS_VALUE(name, std::uint32_t, 0) \
 public:                                        \
  void name##Inc(std::uint32_t n = 1) {         \
    name##Is(name##_ + n);                      \
  }

#define ROUTING_MEMBERS_POINTER(name, T)       \
 public:                                       \
  const std::shared_ptr<T>& name() const {     \
    return name##_;                            \
  }                                            \
  void name##Is(const std::shared_ptr<T>& v) { \
    setValue(name##_, v, Attr::name);          \
  }                                            \
  ROUTING_REACTOR(name, void)                  \
 private:                                      \
  std::shared_ptr<T> name##_;

#define ROUTING_MEMBERS_SET(name, K)                                                         \
 public:                                                                                     \
  const std::set<K>& name() const {                                                          \
    return name##_.content();                                                                \
  }                                                                                          \
  bool name(const K& key) const {                                                            \
    return name##_.has(key);                                                                 \
  }                                                                                          \
  void name##Is(const K& key, bool member) {                                                 \
    member ? name##_.insert(*this, Attr::name, key) : name##_.erase(*this, Attr::name, key); \
  }                                                                                          \
  ROUTING_KEYED(name, K)                                                                     \
 private:                                                                                    \
  ::Routing::SetAttribute<K> name##_;

#define ROUTING_MEMBERS_MAP(name, K, V)        \
 public:                                       \
  const std::map<K, V>& name() const {         \
    return name##_.content();                  \
  }                                            \
  const V* name(const K& key) const {          \
    return name##_.find(key);                  \
  }                                            \
  void name##Is(const K& key, const V& v) {    \
    name##_.assign(*this, Attr::name, key, v); \
  }                                            \
  ROUTING_KEYED(name, K)                       \
 private:                                      \
  ::Routing::MapAttribute<K, V> name##_;

#define ROUTING_MEMBERS_COLLECTION(name, Name, K, E)      \
 public:                                                  \
  const ::Routing::EntityCollection<K, E>& name() const { \
    return name##_.content();                             \
  }                                                       \
  const std::shared_ptr<E>& name(const K& key) const {    \
    return name##_.find(key);                             \
  }                                                       \
  std::shared_ptr<E> new##Name(const K& key) {            \
    return name##_.create(*this, Attr::name, key);        \
  }                                                       \
  ROUTING_KEYED(name, K)                                  \
 private:                                                 \
  ::Routing::CollectionAttribute<K, E> name##_;

#define ROUTING_MEMBERS_REFERENCES(name, K, E)               \
 public:                                                     \
  const std::map<K, std::shared_ptr<E>>& name() const {      \
    return name##_.content();                                \
  }                                                          \
  const std::shared_ptr<E>& name(const K& key) const {       \
    return name##_.find(key);                                \
  }                                                          \
  void name##Is(const K& key, const std::shared_ptr<E>& v) { \
    name##_.assign(*this, Attr::name, key, v);               \
  }                                                          \
  ROUTING_KEYED(name, K)                                     \
 private:                                                    \
  ::Routing::ReferenceAttribute<K, E> name##_;

#define ROUTING_MEMBERS_CHILD(name, Name, Argument, E)     \
 public:                                                   \
  const std::shared_ptr<E>& name() const {                 \
    return name##_.get();                                  \
  }                                                        \
  std::shared_ptr<E> new##Name(const Argument& argument) { \
    return name##_.create(*this, Attr::name, argument);    \
  }                                                        \
  void name##Del() {                                       \
    name##_.erase(*this, Attr::name);                      \
  }                                                        \
  ROUTING_REACTOR(name, void)                              \
 private:                                                  \
  ::Routing::ChildAttribute<Argument, E> name##_;
