#pragma once

#include <string>

#include "platform/entity/Assertion.h"
#include "platform/entity/RangeError.h"

namespace Routing::TestKit {

/// Makes failed assertions throw AssertionError while it lives.
class ThrowingAssertions {
 public:
  ThrowingAssertions() : before_(assertionHandlerIs(throwOnAssertion)) {}
  ThrowingAssertions(const ThrowingAssertions&) = delete;
  ThrowingAssertions& operator=(const ThrowingAssertions&) = delete;
  ~ThrowingAssertions() { assertionHandlerIs(before_); }

 private:
  AssertionHandler before_;
};

/// The text of the assertion or range error that a call ends with, "none" if it ends well.
template <class Call>
std::string refusal(Call&& call) {
  const ThrowingAssertions throwing;
  try {
    static_cast<void>(call());
  } catch (const AssertionError& error) {
    return error.what();
  } catch (const RangeError& error) {
    return error.what();
  }
  return "none";
}

}  // namespace Routing::TestKit
