#include "sim/invariants/CountersAddUp.h"

namespace Routing::Sim {

void CountersAddUp::note(RouterId router, const Packet& packet) {
  if (packet.is(Pim::PimType::hello)) return;
  const std::pair who(router, packet.af);
  if (concerned_.empty() || concerned_.back() != who) concerned_.push_back(who);
}

void CountersAddUp::settled(const std::vector<RouterId>&) {
  for (const auto& [router, af] : concerned_) check(router, af);
  concerned_.clear();
}

void CountersAddUp::check(RouterId router, AddressFamily af) {
  const auto& counters = world().speaker(router, af).status()->counters();
  const auto& errors = counters->errCounters();
  const auto expect = [&](std::uint32_t is, std::uint32_t must, const char* rule) {
    if (is == must) return;
    violated(nameOf(router) + ": " + rule + " is " + std::to_string(is) + ", not " +
             std::to_string(must));
  };
  expect(counters->rxSuccess() + counters->rxError(), counters->rx() + errors.rxScopeMismatch(),
         "rxSuccess + rxError");
  expect(errors.rxFilter() + errors.rxNbrRpfCheck() + errors.rxNoForwardBsm() +
             errors.rxUnicastBsm() + errors.rxScopeMismatch() + errors.rxInvalid(),
         counters->rxError(), "the sum of all reasons");
  expect(counters->rxBsmSuccess() + counters->rxBsmError(), counters->rxBsm(),
         "rxBsmSuccess + rxBsmError");
  if (counters->txSuccess() + counters->txError() < counters->tx()) {
    violated(nameOf(router) + ": txSuccess + txError is less than tx");
  }
}

}  // namespace Routing::Sim
