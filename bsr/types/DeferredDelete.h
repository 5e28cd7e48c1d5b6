#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "platform/Export.h"

namespace Routing::Pim::Bsr {

/// What an instance does with parts of itself that are deleted while its code may still be on the
/// stack. Every write to an entity runs reactors of the host, and these may do anything: take a
/// candidate out of the status, take the address family away, delete the whole instance. What they
/// end must be inert at once, but is freed only when no code of the instance runs any more.
class ROUTING_API DeferredDelete : public std::enable_shared_from_this<DeferredDelete> {
 public:
  DeferredDelete() = default;
  DeferredDelete(const DeferredDelete&) = delete;
  DeferredDelete& operator=(const DeferredDelete&) = delete;

  /// While one exists nothing that was handed over is freed.
  class Hold {
   public:
    explicit Hold(DeferredDelete& deferred) : deferred_(deferred) { ++deferred_.holds_; }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;
    ~Hold() {
      if (--deferred_.holds_ == 0 && !deferred_.parts_.empty()) deferred_.free();
    }

   private:
    DeferredDelete& deferred_;
  };

  /// A Hold that also keeps the object, unless another Hold, whose maker keeps it, exists already.
  class OwningHold {
   public:
    explicit OwningHold(const std::shared_ptr<DeferredDelete>& deferred)
        : owner_(deferred->holds_ > 0 ? nullptr : deferred), hold_(*deferred) {}

   private:
    const std::shared_ptr<DeferredDelete> owner_;  // dies after the Hold
    const Hold hold_;
  };

  /// Takes a part that is inert: freed as soon as no Hold exists, at once if none does. Null is
  /// ignored.
  void take(std::shared_ptr<const void> part) {
    if (holds_ > 0 && part) parts_.push_back(std::move(part));
  }

  /// Makes a callback of the instance, for a reactor or a timer: a Hold exists while it runs.
  template <class Callback>
  auto held(Callback callback) {
    return [self = shared_from_this(), callback = std::move(callback)](const auto&... arguments) {
      const Hold hold(*self);
      callback(arguments...);
    };
  }

 private:
  // A part that dies may hand over others.
  [[gnu::cold]] void free() {
    while (!parts_.empty()) const auto parts = std::exchange(parts_, {});
  }

  unsigned holds_ = 0;
  std::vector<std::shared_ptr<const void>> parts_;
};

}  // namespace Routing::Pim::Bsr
