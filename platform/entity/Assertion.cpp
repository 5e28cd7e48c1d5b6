#include "platform/entity/Assertion.h"

#include <cstdio>
#include <cstdlib>

namespace Routing {
namespace {
AssertionHandler installed = abortOnAssertion;
}

void abortOnAssertion(const char* expression, const char* file, int line) {
  std::fprintf(stderr, "%s:%d: assertion failed: %s\n", file, line, expression);
  std::abort();
}

void throwOnAssertion(const char* expression, const char*, int) {
  throw AssertionError(expression);
}

AssertionHandler assertionHandlerIs(AssertionHandler handler) {
  const AssertionHandler previous = installed;
  installed = handler;
  return previous;
}

void assertionFailed(const char* expression, const char* file, int line) {
  installed(expression, file, line);
  std::abort();  // a handler that returned
}

}  // namespace Routing
