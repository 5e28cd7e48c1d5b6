#include "agent/events/RateLimiter.h"

#include <algorithm>
#include <utility>

namespace Routing::Agent {

RateLimiter::Verdict RateLimiter::admit(std::string_view subject) {
  const double now = clock_.now();
  auto it = accounts_.find(subject);
  if (it == accounts_.end()) it = accounts_.emplace(subject, Account{burst_, now}).first;
  Account& account = it->second;
  account.credit = std::min(burst_, account.credit + (now - account.since) * rate_);
  account.since = now;
  if (account.credit < 1) {
    ++account.suppressed;
    return {};
  }
  account.credit -= 1;
  return {true, std::exchange(account.suppressed, 0)};
}

}  // namespace Routing::Agent
