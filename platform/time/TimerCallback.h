#pragma once

#include <array>
#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>

namespace Routing {

/// What a timer does when it fires. A callable as large as a pointer at most that can be copied
/// octet by octet is kept in place, any other in a block of its own.
class TimerCallback {
 public:
  template <class Callable>
  explicit TimerCallback(Callable&& callable) {
    using C = std::decay_t<Callable>;
    if constexpr (fits<C>) {
      new (word_.octets.data()) C(std::forward<Callable>(callable));
      act_ = actInPlace<C>;
    } else {
      new (word_.octets.data()) Box<C>*(new Box<C>{std::forward<Callable>(callable)});
      act_ = actInBox<C>;
    }
  }
  TimerCallback(const TimerCallback&) = delete;
  TimerCallback& operator=(const TimerCallback&) = delete;
  ~TimerCallback() { act_(Act::release, word_); }

  /// What is called lives until it returns, even if this object dies meanwhile.
  void operator()() const { act_(Act::call, word_); }

 private:
  enum class Act : bool { call, release };
  struct Word {
    alignas(void*) std::array<std::byte, sizeof(void*)> octets;
  };
  template <class C>
  struct Box {
    C callable;
    unsigned holders = 1;  // the callback, and the calls under way
  };

  template <class C>
  static constexpr bool fits = sizeof(C) <= sizeof(Word) &&
                               alignof(C) <= alignof(Word) && std::is_trivially_copyable_v<C>;

  template <class C>
  static void actInPlace(Act act, Word word) {  // the word is a copy
    if (act == Act::call) (*std::launder(reinterpret_cast<C*>(word.octets.data())))();
  }
  template <class C>
  static void actInBox(Act act, Word word) {
    struct Hold {
      Box<C>* const box;
      ~Hold() {
        if (--box->holders == 0) delete box;
      }
    };
    const Hold hold{*std::launder(reinterpret_cast<Box<C>**>(word.octets.data()))};
    if (act == Act::release) return;
    ++hold.box->holders;
    hold.box->callable();
  }

  Word word_;
  void (*act_)(Act, Word);
};

}  // namespace Routing
