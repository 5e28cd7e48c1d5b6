#pragma once

#include <exception>
#include <utility>

namespace Routing {

/// Runs steps that must all be taken, whatever some of them raise, and keeps the first error.
class FirstError {
 public:
  template <class Step>
  void run(Step&& step) {
    try {
      std::forward<Step>(step)();
    } catch (...) {
      if (!error_) error_ = std::current_exception();
    }
  }
  /// Raises the first error; does nothing if there was none.
  void rethrow() const {
    if (error_) std::rethrow_exception(error_);
  }

 private:
  std::exception_ptr error_;
};

}  // namespace Routing
