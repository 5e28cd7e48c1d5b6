#include <memory>

#include "bench/Baselines.h"
#include "bench/Workloads.h"
#include "platform/pim/RpCandidateStatus.h"

namespace Routing::Bench {
namespace {

struct Sum final : PlainObserver {
  // A compiler that sees the only kind of observer would not call it.
  [[gnu::noinline]] void changed(double value) override { sum += value; }
  double sum = 0.0;
};

struct Observed {
  explicit Observed(unsigned reactors) : sums(reactors) {
    for (Sum& sum : sums) {
      observers.push_back(&sum);
      subscriptions.push_back(rp.expiryTimeReactor([this, &sum] { sum.changed(rp.expiryTime()); }));
    }
  }

  Pim::RpEntry rp{IpGenAddr::v4(1)};
  std::vector<Sum> sums;
  std::vector<PlainObserver*> observers;
  std::vector<Subscription> subscriptions;
  double value = 0.0;
  double plain = 0.0;
};

}  // namespace

std::vector<Workload> entityWorkloads(Sizes sizes) {
  std::vector<Workload> made;
  for (const unsigned reactors : chosen<unsigned>(sizes, {1, 4, 16})) {
    const auto observed = std::make_shared<Observed>(reactors);
    const auto set = [observed](std::uint64_t turns) {
      while (turns-- > 0) observed->rp.expiryTimeIs(observed->value += 1.0);
    };
    const auto call = [observed](std::uint64_t turns) {
      for (; turns > 0; --turns) {
        observed->plain += 1.0;
        for (PlainObserver* observer : observed->observers) observer->changed(observed->plain);
        keep(observed->plain);
      }
    };
    made.push_back({"set an attribute", std::to_string(reactors) + " reactors", set,
                    "as many virtual calls", call});
  }
  return made;
}

}  // namespace Routing::Bench
