// One line a workload: what, its size, nanoseconds, its baseline, nanoseconds of that, the ratio,
// and what it takes from the heap a turn; tabs between. Processor time; a ratio is that of the
// shortest of turns that alternate, so that what else runs on the machine disturbs little.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <new>

#include "bench/Workloads.h"

namespace {

std::uint64_t allocations = 0;

}  // namespace

void* operator new(std::size_t octets) {
  ++allocations;
  if (void* const block = std::malloc(octets == 0 ? 1 : octets)) return block;
  throw std::bad_alloc();
}
void operator delete(void* block) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}

namespace Routing::Bench {
namespace {

constexpr double shortest = 2e6;  // nanoseconds that one measurement is to last
constexpr std::size_t rounds = 11;

double nanoseconds(const Turns& turns, std::uint64_t count) {
  const std::clock_t before = std::clock();
  turns(count);
  return static_cast<double>(std::clock() - before) * (1e9 / CLOCKS_PER_SEC);
}

std::uint64_t enough(const Turns& turns) {
  std::uint64_t count = 1;
  while (nanoseconds(turns, count) < shortest) count *= 2;
  return count;
}

double least(const std::vector<double>& values) {
  return *std::min_element(values.begin(), values.end());
}

double allocationsOf(const Turns& turns) {
  constexpr std::uint64_t some = 100;
  turns(some);
  const std::uint64_t before = allocations;
  turns(some);
  return static_cast<double>(allocations - before) / some;
}

void print(const Workload& workload) {
  const std::uint64_t count = enough(workload.turns);
  const std::uint64_t plainCount = enough(workload.baseline);
  std::vector<double> own;
  std::vector<double> plain;
  for (std::size_t i = 0; i < rounds; ++i) {
    own.push_back(nanoseconds(workload.turns, count) / static_cast<double>(count));
    plain.push_back(nanoseconds(workload.baseline, plainCount) / static_cast<double>(plainCount));
  }
  std::printf("%s\t%s\t%.1f\t%s\t%.1f\t%.2f\t%.2f\n", workload.what.c_str(), workload.size.c_str(),
              least(own), workload.against.c_str(), least(plain), least(own) / least(plain),
              allocationsOf(workload.turns));
  std::fflush(stdout);
}

}  // namespace
}  // namespace Routing::Bench

int main() {
  for (const auto& workload : Routing::Bench::workloads(Routing::Bench::Sizes::all)) {
    Routing::Bench::print(workload);
  }
}
