// The price of observability: a setter without reactors and with 1 and 4, against a virtual call.

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "platform/pim/RpCandidateStatus.h"

namespace Routing::Pim {
namespace {

class Callee {
 public:
  virtual ~Callee() = default;
  virtual void call(double value) = 0;
};

class Adder final : public Callee {
 public:
  void call(double value) override { sum += value; }
  double sum = 0.0;
};

void virtualCall(benchmark::State& state) {
  const std::unique_ptr<Callee> callee = std::make_unique<Adder>();
  Callee* target = callee.get();
  double value = 0.0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(target);
    target->call(value += 1.0);
  }
}
BENCHMARK(virtualCall);

void setAttribute(benchmark::State& state) {
  RpEntry rp(IpGenAddr::v4(1));
  double sum = 0.0;
  std::vector<Subscription> reactors;
  for (int i = 0; i < state.range(0); ++i) {
    reactors.push_back(rp.expiryTimeReactor([&] { sum += rp.expiryTime(); }));
  }
  double value = 0.0;
  for (auto _ : state) {
    rp.expiryTimeIs(value += 1.0);
    benchmark::DoNotOptimize(sum);
  }
}
BENCHMARK(setAttribute)->Arg(0)->Arg(1)->Arg(4);

void setEqualValue(benchmark::State& state) {
  RpEntry rp(IpGenAddr::v4(1));
  const auto reactor = rp.expiryTimeReactor([] {});
  double value = 0.0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(value);
    rp.expiryTimeIs(value);
  }
}
BENCHMARK(setEqualValue);

}  // namespace
}  // namespace Routing::Pim

BENCHMARK_MAIN();
