#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "platform/time/Clock.h"

namespace Routing::Agent {

/// Lets through what fits a steady rate and counts the rest, for each subject by itself.
class RateLimiter {
 public:
  struct Verdict {
    bool admitted = false;
    std::uint64_t suppressed = 0;  ///< how many were held back before this one that is admitted
  };

  /// `rate` a second on the long run, `burst` at once. The clock must outlive the limiter.
  RateLimiter(const Clock& clock, double rate, double burst)
      : clock_(clock), rate_(rate), burst_(burst) {}

  Verdict admit(std::string_view subject);

 private:
  struct Account {
    double credit;
    double since;
    std::uint64_t suppressed = 0;
  };

  const Clock& clock_;
  const double rate_;
  const double burst_;
  std::map<std::string, Account, std::less<>> accounts_;
};

}  // namespace Routing::Agent
