#include "sim/cli/Jobs.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <sstream>
#include <system_error>

namespace Routing::Sim {
namespace {

using Run = std::function<RunResult(std::uint64_t, std::ostream&)>;

/// The seeds first, first + step, ... up to last.
struct Share {
  std::uint64_t first;
  std::uint64_t last;
  std::uint64_t step;

  bool empty() const { return first > last; }
  void next() { first = last - first < step ? last + 1 : first + step; }
};

RunResult runAndPrint(std::uint64_t seed, const Run& run) {
  std::ostringstream text;
  const RunResult result = run(seed, text);
  if (!text.str().empty()) std::cout << text.str() << std::flush;
  return result;
}

struct Child {
  pid_t pid;
  int results;  // the end of a pipe from which they are read
  Share share;  // without the seeds of which the results are known
};

// The library's random numbers belong to the process, so that runs share none.
Child launch(const Share& share, const Run& run) {
  int ends[2];
  if (::pipe(ends) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  std::cout.flush();
  const pid_t pid = ::fork();
  if (pid < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (pid == 0) {
    bool told = true;
    for (Share left = share; told && !left.empty(); left.next()) {
      const RunResult result = runAndPrint(left.first, run);
      told = ::write(ends[1], &result, sizeof result) == sizeof result;
    }
    ::_exit(told ? 0 : 1);
  }
  ::close(ends[1]);
  return {pid, ends[0], share};
}

/// Reads the results of a child until it is done or dead.
void collect(Child& child, std::vector<RunResult>& results) {
  RunResult result;
  while (::read(child.results, &result, sizeof result) == sizeof result) {
    results.push_back(result);
    child.share.next();
  }
  ::close(child.results);
  ::waitpid(child.pid, nullptr, 0);
}

}  // namespace

std::vector<RunResult> eachSeed(const Options& options, const Run& run) {
  std::vector<RunResult> results;
  const std::uint64_t seeds = options.lastSeed - options.firstSeed + 1;
  const std::uint64_t jobs = std::min<std::uint64_t>(options.jobs, seeds);
  std::vector<Child> children;
  for (std::uint64_t i = 0; i < jobs; ++i) {
    children.push_back(launch({options.firstSeed + i, options.lastSeed, jobs}, run));
  }
  for (std::size_t i = 0; i < children.size(); ++i) {
    collect(children[i], results);
    Share left = children[i].share;
    if (left.empty()) continue;
    results.push_back({left.first, false, true});
    left.next();
    if (!left.empty()) children.push_back(launch(left, run));
  }
  std::sort(results.begin(), results.end(),
            [](const RunResult& a, const RunResult& b) { return a.seed < b.seed; });
  return results;
}

}  // namespace Routing::Sim
