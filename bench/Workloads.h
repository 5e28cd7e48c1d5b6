// What is measured, beside what it is measured against.

#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace Routing::Bench {

/// Does a thing so many times.
using Turns = std::function<void(std::uint64_t)>;

struct Workload {
  std::string what;
  std::string size;
  Turns turns;
  std::string against;  ///< name of the baseline
  Turns baseline;       ///< the same with the plainest means
};

/// How large the workloads are: all sizes, or one of each kind for where every instruction counts.
enum class Sizes : std::uint8_t { all, one };

std::vector<Workload> entityWorkloads(Sizes sizes);
std::vector<Workload> timerWorkloads(Sizes sizes);
std::vector<Workload> trieWorkloads(Sizes sizes);
std::vector<Workload> codecWorkloads(Sizes sizes);
std::vector<Workload> engineWorkloads(Sizes sizes);

/// All of them, in the order of the table.
inline std::vector<Workload> workloads(Sizes sizes) {
  std::vector<Workload> all;
  for (const auto make :
       {entityWorkloads, timerWorkloads, trieWorkloads, codecWorkloads, engineWorkloads}) {
    for (Workload& workload : make(sizes)) all.push_back(std::move(workload));
  }
  return all;
}

/// Keeps a value, and what memory holds, from being optimised away.
template <class T>
void keep(const T& value) {
  asm volatile("" : : "r,m"(value) : "memory");
}

/// All of them, or the one in the middle.
template <class Size>
std::vector<Size> chosen(Sizes sizes, std::vector<Size> all) {
  return sizes == Sizes::all ? all : std::vector<Size>{all[all.size() / 2]};
}

/// Numbers that are the same in every run (xorshift).
class Numbers {
 public:
  std::uint64_t next() {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 7;
    return state_ ^= state_ << 17;
  }
  std::uint64_t below(std::uint64_t limit) { return next() % limit; }

 private:
  std::uint64_t state_ = 88172645463325252U;
};

}  // namespace Routing::Bench
