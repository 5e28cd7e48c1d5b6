#include "sim/sweep/Sweep.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <list>
#include <system_error>

#include "sim/sweep/Ranks.h"
#include "sim/sweep/ResultsInOrder.h"
#include "sim/sweep/SeedProcess.h"

namespace Routing::Sim {
namespace {

using Processes = std::list<SeedProcess>;

/// Waits until one of the processes has something to say.
Processes::iterator awaitOne(Processes& processes) {
  std::vector<pollfd> ends;
  for (const SeedProcess& process : processes) ends.push_back({process.fd(), POLLIN, 0});
  while (::poll(ends.data(), ends.size(), -1) < 0) {
    if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "poll");
  }
  const auto ready =
      std::find_if(ends.begin(), ends.end(), [](const pollfd& end) { return end.revents != 0; });
  return std::next(processes.begin(), ready - ends.begin());
}

}  // namespace

std::vector<RunResult> eachSeed(const SeedBlock& seeds, unsigned jobs, const Run& run) {
  if (Ranks::count() > 1) return eachSeedOfRanks(seeds, run);
  const std::uint64_t portion = blockSize(seeds, jobs);
  SeedBlock queue = seeds;
  Processes processes;
  ResultsInOrder results(seeds);
  while (!results.complete()) {
    while (processes.size() < jobs && !queue.empty())
      processes.emplace_back(queue.take(portion), run);
    const auto ready = awaitOne(processes);
    std::vector<RunResult> news;
    if (!ready->listen(news)) processes.erase(ready);
    results.add(std::move(news));
  }
  return results.take();
}

}  // namespace Routing::Sim
