// What it costs that the state outlives the daemon: the refresh of a known RP set, from the octets
// to the refreshed set, without and with a state file.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "agent/state/StateFile.h"
#include "bench/BenchHost.h"

namespace Routing::Agent {
namespace {

/// Under a file system in memory, as the runtime directory of a router is.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    if (mkdtemp(path_.data()) == nullptr) std::abort();
  }
  ~TemporaryDirectory() { std::filesystem::remove_all(path_); }
  const std::string& path() const { return path_; }

 private:
  std::string path_ = "/dev/shm/pimbsr-bench-XXXXXX";
};

double cpuSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

/// A router that knows an RP set, and hears it again every minute.
class Refreshed {
 public:
  explicit Refreshed(const std::vector<std::uint8_t>& octets) : octets_(octets) { receive(); }

  void receive() {
    host.clock.nowIs(host.clock.now() + 60.0);
    Pim::Bsr::receive(host, octets_);
  }
  bool complete() const { return !host.bsr->inputs().rpCandidateStatus->crpSet().empty(); }

  Pim::Bsr::BenchHost host;

 private:
  const std::vector<std::uint8_t> octets_;
};

/// Two routers in turn, so that whatever else the machine does troubles both.
void refresh(benchmark::State& state) {
  constexpr int together = 50;
  const auto octets = Pim::Bsr::bootstrapMessage(static_cast<std::uint32_t>(state.range(0)),
                                                 static_cast<std::uint8_t>(state.range(1)));
  const TemporaryDirectory temporary;
  const StateDirectory directory(temporary.path());
  Refreshed without(octets);
  Refreshed with(octets);
  StateFile file(directory, with.host.clock,
                 {"1", "boot", 0, AddressFamily::ipv4, with.host.bsr->inputs().status->vrfName()});
  file.follow(with.host.bsr->inputs().status);
  double withoutFile = 0;
  double withFile = 0;
  for (auto _ : state) {
    const double begin = cpuSeconds();
    for (int i = 0; i < together; ++i) without.receive();
    const double middle = cpuSeconds();
    for (int i = 0; i < together; ++i) {
      with.receive();
      file.flush();
    }
    withoutFile += middle - begin;
    withFile += cpuSeconds() - middle;
  }
  if (!without.complete() || !with.complete()) state.SkipWithError("not installed");
  const double refreshes = static_cast<double>(state.iterations()) * together;
  state.counters["without_us"] = withoutFile / refreshes * 1e6;
  state.counters["with_us"] = withFile / refreshes * 1e6;
  state.counters["overhead_%"] = 100 * (withFile / withoutFile - 1);
}
BENCHMARK(refresh)->Args({66, 1})->Args({12, 11});

}  // namespace
}  // namespace Routing::Agent

BENCHMARK_MAIN();
