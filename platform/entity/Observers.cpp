#include "platform/entity/Observers.h"

#include <algorithm>
#include <exception>

#include "platform/entity/Assertion.h"

namespace Routing {

void Subscription::reset() {
  ObserverNode* node = std::exchange(node_, nullptr);
  if (node == nullptr) return;
  if (node->table_ != nullptr) node->table_->remove(node);
  ObserverTable::drop(node);
}

ObserverTable* ObserverTable::create() {
  return new ObserverTable();
}

Subscription ObserverTable::append(std::size_t index, ObserverNode* node) {
  if (index >= size_) {
    auto grown = std::make_unique<List[]>(index + 1);
    std::copy_n(lists_.get(), size_, grown.get());
    lists_ = std::move(grown);
    size_ = index + 1;
  }
  List& list = lists_[index];
  node->table_ = this;
  node->list_ = static_cast<std::uint16_t>(index);
  node->serial_ = ++lastSerial_;
  node->previous_ = list.last;
  (list.last == nullptr ? list.first : list.last->next_) = node;
  list.last = node;
  ++node->holders_;
  return Subscription(node);
}

void ObserverTable::notify(std::size_t list, const void* key) {
  notify(list, key, noList, nullptr);
}

void ObserverTable::notify(std::size_t list, const void* key, std::size_t second,
                           const void* secondKey) {
  std::exception_ptr firstError;
  const std::uint64_t newest = lastSerial_;
  ++holders_;
  if (observed(list)) fireAll(list, key, newest, firstError);
  if (observed(second)) fireAll(second, secondKey, newest, firstError);
  release();
  if (firstError) std::rethrow_exception(firstError);
}

void ObserverTable::fireAll(std::size_t index, const void* key, std::uint64_t newest,
                            std::exception_ptr& firstError) {
  ObserverNode* node = lists_[index].first;
  const bool tooDeep = ++lists_[index].nesting > maxNesting;
  for (; node != nullptr && node->serial_ <= newest; node = node->next_) {
    if (node->table_ == nullptr) continue;
    try {
      ROUTING_ASSERT_TEXT(!tooDeep, "nesting < maxNesting");
      node->fire(key);
    } catch (...) {
      if (!firstError) firstError = std::current_exception();
    }
  }
  List& list = lists_[index];  // looked up again: a subscription may have moved the lists
  if (--list.nesting == 0 && list.dirty) sweep(list);
}

void ObserverTable::remove(ObserverNode* node) {
  List& list = lists_[node->list_];
  node->table_ = nullptr;
  if (list.nesting > 0) {
    list.dirty = true;
  } else {
    unlink(list, node);
    drop(node);
  }
}

void ObserverTable::unlink(List& list, ObserverNode* node) {
  (node->previous_ == nullptr ? list.first : node->previous_->next_) = node->next_;
  (node->next_ == nullptr ? list.last : node->next_->previous_) = node->previous_;
}

// Takes all dead nodes out before it drops the first: a reactor that dies may own subscriptions of
// this very list.
void ObserverTable::sweep(List& list) {
  list.dirty = false;
  ObserverNode* dead = nullptr;
  for (ObserverNode* node = list.first; node != nullptr;) {
    ObserverNode* next = node->next_;
    if (node->table_ == nullptr) {
      unlink(list, node);
      node->next_ = dead;
      dead = node;
    }
    node = next;
  }
  while (dead != nullptr) drop(std::exchange(dead, dead->next_));
}

void ObserverTable::detach() {
  for (std::size_t i = 0; i < size_; ++i) {
    List& list = lists_[i];
    for (ObserverNode* node = list.first; node != nullptr; node = node->next_) {
      node->table_ = nullptr;
    }
    list.dirty = true;
    if (list.nesting == 0) sweep(list);
  }
  release();
}

void ObserverTable::release() {
  if (--holders_ == 0) delete this;
}

void ObserverTable::drop(ObserverNode* node) {
  if (--node->holders_ == 0) delete node;
}

}  // namespace Routing
