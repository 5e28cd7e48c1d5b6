#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/entity/Observers.h"

// The reactors of a subject beside a list that copies itself before every notification, both played
// the same random piece: reactors that subscribe, unsubscribe, notify, throw and end the subject.

namespace Routing {
namespace {

using Reactor = std::function<void()>;

/// Two lists of a subject, the slow and obvious way.
class SlowTable {
 public:
  struct Entry {
    std::size_t list;
    Reactor reactor;
    bool subscribed = true;
  };
  using Handle = std::shared_ptr<void>;

  Handle subscribe(std::size_t list, Reactor reactor) {
    entries_.push_back(std::make_shared<Entry>(Entry{list, std::move(reactor)}));
    return {nullptr, [entry = entries_.back()](void*) { entry->subscribed = false; }};
  }
  void notify() {
    const auto now = entries_;
    std::exception_ptr error;
    for (const std::size_t list : {1, 0}) {
      for (const auto& entry : now) {
        if (entry->list != list || !entry->subscribed) continue;
        try {
          entry->reactor();
        } catch (...) {
          if (!error) error = std::current_exception();
        }
      }
    }
    if (error) std::rethrow_exception(error);
  }
  void detach() {
    for (const auto& entry : entries_) entry->subscribed = false;
  }

 private:
  std::vector<std::shared_ptr<Entry>> entries_;
};

class FastTable {
 public:
  using Handle = Subscription;
  Handle subscribe(std::size_t list, Reactor reactor) {
    return observers_->subscribe<void>(list, std::move(reactor));
  }
  void notify() { observers_->notify(1, nullptr, 0, nullptr); }
  void detach() { observers_.reset(); }

 private:
  std::unique_ptr<Observers> observers_ = std::make_unique<Observers>();
};

enum class What { subscribe, unsubscribe, notify, raise, detach };
using Piece = std::vector<std::pair<What, std::size_t>>;

/// Each call of a reactor is noted, and plays the next step of the piece.
template <class Table>
class Player {
 public:
  explicit Player(const Piece& piece) : piece_(piece) {}
  ~Player() { end(); }

  std::string play() {
    while (alive_ && next_ < piece_.size()) {
      attempt([this] { step(); });
      if (alive_) attempt([this] { table_.notify(); });
      log_ += '|';
    }
    return log_;
  }

 private:
  void attempt(const Reactor& act) {
    try {
      act();
    } catch (const std::runtime_error& error) {
      log_ += error.what();
    }
  }
  void step() {
    if (!alive_ || next_ == piece_.size()) return;
    const auto [what, choice] = piece_[next_++];
    if (what == What::subscribe) {
      const std::size_t id = subscribed_++;
      handles_[id] = table_.subscribe(choice % 2, [this, id] { react(id); });
    } else if (what == What::unsubscribe && !handles_.empty()) {
      handles_.erase(std::next(handles_.begin(), choice % handles_.size()));
    } else if (what == What::notify && depth_ < 10) {
      ++depth_;
      attempt([this] { table_.notify(); });
      --depth_;
    } else if (what == What::raise) {
      throw std::runtime_error("!" + std::to_string(next_));
    } else if (what == What::detach && choice % 10 == 0) {
      end();
    }
  }
  void react(std::size_t id) {
    log_ += ' ' + std::to_string(id);
    step();
  }
  void end() {
    if (std::exchange(alive_, false)) table_.detach();
  }

  const Piece& piece_;
  Table table_;
  bool alive_ = true;
  std::size_t next_ = 0;
  std::size_t subscribed_ = 0;
  int depth_ = 0;
  std::string log_;
  std::map<std::size_t, typename Table::Handle> handles_;
};

TEST(Observers, CallsWhomAListThatCopiesItselfWouldCall) {
  EXPECT_TRUE(rc::check([] {
    const auto what = rc::gen::weightedElement<What>({{5, What::subscribe},
                                                      {3, What::unsubscribe},
                                                      {2, What::notify},
                                                      {1, What::raise},
                                                      {1, What::detach}});
    const auto piece =
        *rc::gen::container<Piece>(rc::gen::pair(what, rc::gen::inRange<std::size_t>(0, 100)));
    RC_ASSERT(Player<FastTable>(piece).play() == Player<SlowTable>(piece).play());
  }));
}

}  // namespace
}  // namespace Routing
