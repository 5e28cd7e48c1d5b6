// Does each workload a fixed number of times, in a function of its own, so that callgrind can tell
// how many instructions that takes (scripts/check-instructions). Prints what it did, a line each.

#include <cstdio>

#include "bench/Workloads.h"

namespace {

constexpr std::uint64_t counted = 500;

}  // namespace

extern "C" __attribute__((noinline)) void countedTurns(const Routing::Bench::Workload& workload) {
  workload.turns(counted);
}

int main() {
  for (const auto& workload : Routing::Bench::workloads(Routing::Bench::Sizes::one)) {
    workload.turns(counted);  // what is done once is not counted
    countedTurns(workload);
    std::printf("%s, %s\n", workload.what.c_str(), workload.size.c_str());
  }
}
