#include "platform/entity/Observers.h"

#include <algorithm>
#include <new>

#include "platform/entity/FirstError.h"

namespace Routing {

void Subscription::reset() {
  silence();
  if (node_ != nullptr) ObserverNode::drop(std::exchange(node_, nullptr));
}

void Subscription::silence() {
  if (!active()) return;
  if (node_->index_ == ObserverNode::alone) {
    node_->subject_->remove(*node_);
  } else {
    node_->table_->remove(node_);
  }
}

ObserverTable::~ObserverTable() {
  for (std::size_t i = 0; i <= size_; ++i) ::operator delete(at(i));
}

void ObserverTable::append(std::size_t index, ObserverNode& node) {
  List& list = roomIn(index);
  node.table_ = this;
  node.list_ = static_cast<std::uint16_t>(index);
  node.index_ = list.size;
  ++node.holders_;
  list.places()[list.size++] = {node.fire(), &node};
}

// The list, with room for one more place.
ObserverTable::List& ObserverTable::roomIn(std::size_t index) {
  if (index > size_) {
    auto grown = std::make_unique<List*[]>(index);
    std::copy_n(lists_.get(), size_, grown.get());
    lists_ = std::move(grown);
    size_ = static_cast<std::uint32_t>(index);
  }
  List* const list = at(index);
  if (list == nullptr) return *(at(index) = newList(1));
  if (list->size < list->capacity) return *list;
  List* const grown = newList(2 * list->capacity);
  std::copy_n(list->places(), list->size, grown->places());
  grown->size = list->size;
  grown->dead = list->dead;
  if (list->idle()) {
    grown->running = list->running;
    ::operator delete(list);
  } else {
    grown->running = list->running | List::untidyFlag;
    grown->outgrown = list;
    list->running = List::hasGrown;
  }
  return *(at(index) = grown);
}

ObserverTable::List* ObserverTable::newList(std::uint32_t capacity) {
  auto* list = new (::operator new(sizeof(List) + capacity * sizeof(Place))) List;
  list->capacity = capacity;
  std::uninitialized_fill_n(list->places(), capacity, Place{});
  return list;
}

void ObserverTable::notifyBoth(List& list, const void* key, List& second, const void* secondKey) {
  FirstError error;
  const std::uint32_t before = enter(list);
  Walk walk = placesOf(list);
  Walk others;
  std::uint32_t secondBefore = 0;
  error.run([&] {
    secondBefore = enter(second);
    others = placesOf(second);
  });
  finish(walk, key, error);
  finish(others, secondKey, error);
  leave(list, before);
  if (others.end != nullptr) leave(second, secondBefore);
  error.rethrow();
}

void ObserverTable::finish(Walk& walk, const void* key, FirstError& error) {
  while (walk.at != walk.end) error.run([&] { call(walk, key); });
}

void ObserverTable::finishAfterError(List& list, std::uint32_t before, Walk walk, const void* key) {
  FirstError error;
  error.run([] { throw; });
  finish(walk, key, error);
  leave(list, before);
  error.rethrow();
}

// What was unsubscribed while nothing ran is closed up here.
void ObserverTable::enterUntidy(List& list) {
  if (list.idle()) closeUp(list);  // lets go of nobody
  ROUTING_ASSERT_TEXT((list.running & ~List::untidyFlag) < maxNesting, "nesting < maxNesting");
}

void ObserverTable::leaveUntidy(const List& list) {
  List& now = successor(list);
  --now.running;
  if (now.idle()) tidy(now);
}

// What a list has become by growing.
ObserverTable::List& ObserverTable::successor(const List& list) {
  for (std::size_t index = 0;; ++index) {
    for (const List* at = find(index); at != nullptr; at = at->outgrown) {
      if (at == &list) return *find(index);
    }
  }
}

void ObserverTable::remove(ObserverNode* node) {
  List& list = *at(node->list_);
  Place& place = list.places()[node->index_];
  node->table_ = nullptr;
  place.fire = idleFire;
  ++list.dead;
  list.running |= List::untidyFlag;
  for (List* old = list.outgrown; old != nullptr; old = old->outgrown) {
    if (node->index_ < old->size) old->places()[node->index_].fire = idleFire;
  }
  if (!list.idle()) return;
  place.node = nullptr;
  ObserverNode::drop(node);                      // its subscription still holds it
  if (2 * list.dead > list.size) closeUp(list);  // lets go of nobody
}

// Closes a list up that has become idle. Lets go of the nodes last: a reactor that dies may own
// subscriptions of this very list, or be the last to hold the subject.
void ObserverTable::tidy(List& list) {
  while (list.outgrown != nullptr) {
    List* const old = std::exchange(list.outgrown, list.outgrown->outgrown);
    ::operator delete(old);
  }
  const std::vector<ObserverNode*> gone = closeUp(list);
  if (detached_ && idle()) delete this;
  for (ObserverNode* node : gone) ObserverNode::drop(node);
}

// The unsubscribed nodes that the list still held.
std::vector<ObserverNode*> ObserverTable::closeUp(List& list) {
  std::vector<ObserverNode*> gone;
  std::uint32_t kept = 0;
  for (std::uint32_t at = 0; at < list.size; ++at) {
    const Place place = list.places()[at];
    if (place.fire != idleFire) {
      place.node->index_ = kept;
      list.places()[kept++] = place;
    } else if (place.node != nullptr) {
      gone.push_back(place.node);
    }
  }
  list.size = kept;
  list.dead = 0;
  list.running &= ~List::untidyFlag;
  return gone;
}

// No reactor dies here: its subscription holds it still.
void ObserverTable::detach() {
  for (std::size_t index = 0; index <= size_; ++index) {
    if (find(index) != nullptr) removeAll(index);
  }
  detached_ = true;
  if (idle()) delete this;
}

void ObserverTable::removeAll(std::size_t index) {
  List& list = *at(index);
  ++list.running;  // every place stays where it is
  for (std::uint32_t at = 0; at < list.size; ++at) {
    const Place& place = list.places()[at];
    if (place.fire != idleFire) remove(place.node);
  }
  leaveUntidy(list);
}

bool ObserverTable::idle() const {
  const auto rests = [](const List* list) { return list == nullptr || list->idle(); };
  return rests(first_) && std::all_of(lists_.get(), lists_.get() + size_, rests);
}

void Observers::append(std::size_t list, ObserverNode& node) {
  if (isTable()) return table().append(list, node);
  if (!any()) {
    node.subject_ = this;
    node.index_ = ObserverNode::alone;
    node.list_ = static_cast<std::uint16_t>(list);
    place_ = reinterpret_cast<std::byte*>(&node);
    return;
  }
  ObserverTable* const table = ObserverTable::create();
  table->append(one().list_, one());
  place_ = reinterpret_cast<std::byte*>(table) + tableMark;
  table->append(list, node);
}

void Observers::remove(ObserverNode& node) {
  node.subject_ = nullptr;
  place_ = nullptr;
}

void Observers::detach() {
  if (isTable()) return table().detach();
  remove(one());
}

}  // namespace Routing
