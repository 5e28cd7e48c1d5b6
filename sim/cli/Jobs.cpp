#include "sim/cli/Jobs.h"

#include <sys/wait.h>
#include <unistd.h>

#include <iostream>
#include <sstream>
#include <system_error>
#include <vector>

namespace Routing::Sim {
namespace {

using Run = std::function<bool(std::uint64_t, std::ostream&)>;

/// The seeds first, first + step, ...; the number of failures.
std::uint64_t everyNth(const Options& options, std::uint64_t first, std::uint64_t step,
                       const Run& run) {
  std::uint64_t failed = 0;
  for (std::uint64_t seed = first; seed <= options.lastSeed; seed += step) {
    std::ostringstream text;
    if (!run(seed, text)) ++failed;
    if (!text.str().empty()) std::cout << text.str() << std::flush;
    if (options.lastSeed - seed < step) break;
  }
  return failed;
}

struct Child {
  pid_t pid;
  int result;
};

// The library's random numbers belong to the process, so that runs share none.
Child launch(const Options& options, std::uint64_t first, std::uint64_t step, const Run& run) {
  int ends[2];
  if (::pipe(ends) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  std::cout.flush();
  const pid_t pid = ::fork();
  if (pid < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (pid == 0) {
    const std::uint64_t failed = everyNth(options, first, step, run);
    const bool told = ::write(ends[1], &failed, sizeof failed) == sizeof failed;
    ::_exit(told ? 0 : 1);
  }
  ::close(ends[1]);
  return {pid, ends[0]};
}

std::uint64_t collect(const Child& child) {
  std::uint64_t failed = 0;
  const bool told = ::read(child.result, &failed, sizeof failed) == sizeof failed;
  ::close(child.result);
  int status = 0;
  ::waitpid(child.pid, &status, 0);
  if (told) return failed;
  std::cout << "a run died; again with --jobs 1 to see which\n";
  return 1;
}

}  // namespace

std::uint64_t eachSeed(const Options& options, const Run& run) {
  const std::uint64_t jobs =
      std::min<std::uint64_t>(options.jobs, options.lastSeed - options.firstSeed + 1);
  if (jobs <= 1) return everyNth(options, options.firstSeed, 1, run);
  std::vector<Child> children;
  for (std::uint64_t i = 0; i < jobs; ++i) {
    children.push_back(launch(options, options.firstSeed + i, jobs, run));
  }
  std::uint64_t failed = 0;
  for (const Child& child : children) failed += collect(child);
  return failed;
}

}  // namespace Routing::Sim
