#pragma once

#include <stdexcept>

#include "platform/Export.h"

namespace Routing {

/// A violated invariant; what() is the text of the failed expression.
class ROUTING_API AssertionError : public std::logic_error {
 public:
  using std::logic_error::logic_error;
};

/// What a failed assertion does: called with the expression and its place; must not return.
using AssertionHandler = void (*)(const char* expression, const char* file, int line);

/// The default: prints the expression and its place to standard error and aborts.
[[noreturn]] ROUTING_API void abortOnAssertion(const char* expression, const char* file, int line);
/// Throws AssertionError(expression), for tests and for hosts that contain failures.
[[noreturn]] ROUTING_API void throwOnAssertion(const char* expression, const char* file, int line);

/// Installs a handler for the whole process and returns the one in force before.
ROUTING_API AssertionHandler assertionHandlerIs(AssertionHandler handler);

/// Runs the installed handler; never returns.
[[noreturn]] ROUTING_API void assertionFailed(const char* expression, const char* file, int line);

}  // namespace Routing

/// Asserts an invariant under the given text (where the text is not the C++ expression itself).
#define ROUTING_ASSERT_TEXT(condition, text) \
  ((condition) ? static_cast<void>(0) : ::Routing::assertionFailed(text, __FILE__, __LINE__))
/// Asserts an invariant; the failure names the expression.
#define ROUTING_ASSERT(expression) ROUTING_ASSERT_TEXT(expression, #expression)
