#include "sim/cli/Jobs.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <sstream>
#include <string>
#include <system_error>
#include <utility>

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
  RunResult result = run(seed, text);
  if (!text.str().empty()) std::cout << text.str() << std::flush;
  return result;
}

/// A result on its way through a pipe; its figures follow.
struct Record {
  std::uint64_t seed;
  std::uint64_t digest;
  std::uint64_t figures;
  std::uint32_t judged;
  std::uint32_t skipped;
  bool passed;
};

bool writeAll(int to, const void* from, std::size_t octets) {
  const auto* next = static_cast<const char*>(from);
  while (octets > 0) {
    const ssize_t written = ::write(to, next, octets);
    if (written <= 0) return false;
    next += written;
    octets -= static_cast<std::size_t>(written);
  }
  return true;
}

bool tell(int to, const RunResult& result) {
  const Record record{result.seed,   result.digest,  result.figures.size(),
                      result.judged, result.skipped, result.passed};
  return writeAll(to, &record, sizeof record) &&
         writeAll(to, result.figures.data(), result.figures.size() * sizeof(double));
}

struct Child {
  pid_t pid;
  int results;  // the end of a pipe from which they are read
  Share share;  // without the seeds of which the results are known
  std::string unread;
};

// A run that dies takes its process with it, but no other run.
Child launch(const Share& share, const Run& run) {
  int ends[2];
  if (::pipe(ends) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  std::cout.flush();
  const pid_t pid = ::fork();
  if (pid < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (pid == 0) {
    bool told = true;
    for (Share left = share; told && !left.empty(); left.next()) {
      told = tell(ends[1], runAndPrint(left.first, run));
    }
    ::_exit(told ? 0 : 1);
  }
  ::close(ends[1]);
  return {pid, ends[0], share, {}};
}

/// Takes the whole results out of what was read.
void take(Child& child, std::vector<RunResult>& results) {
  Record record;
  while (child.unread.size() >= sizeof record) {
    std::memcpy(&record, child.unread.data(), sizeof record);
    const std::size_t length = sizeof record + record.figures * sizeof(double);
    if (child.unread.size() < length) return;
    RunResult result{record.seed,
                     record.passed,
                     false,
                     record.digest,
                     record.judged,
                     record.skipped,
                     std::vector<double>(record.figures)};
    std::memcpy(result.figures.data(), child.unread.data() + sizeof record,
                record.figures * sizeof(double));
    child.unread.erase(0, length);
    results.push_back(std::move(result));
    child.share.next();
  }
}

/// Reads what a child has to say. False once it is done or dead.
bool listen(Child& child, std::vector<RunResult>& results) {
  char octets[65536];
  const ssize_t count = ::read(child.results, octets, sizeof octets);
  if (count > 0) {
    child.unread.append(octets, static_cast<std::size_t>(count));
    take(child, results);
    return true;
  }
  ::close(child.results);
  ::waitpid(child.pid, nullptr, 0);
  return false;
}

/// Waits until one of the children has something to say.
std::size_t awaitOne(const std::vector<Child>& children) {
  std::vector<pollfd> ends;
  ends.reserve(children.size());
  for (const Child& child : children) ends.push_back({child.results, POLLIN, 0});
  while (::poll(ends.data(), ends.size(), -1) < 0) {
    if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "poll");
  }
  std::size_t ready = 0;
  while (ends[ready].revents == 0) ++ready;
  return ready;
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
  while (!children.empty()) {
    const std::size_t ready = awaitOne(children);
    if (listen(children[ready], results)) continue;
    Share left = children[ready].share;
    children.erase(children.begin() + static_cast<std::ptrdiff_t>(ready));
    if (left.empty()) continue;
    results.push_back({left.first, false, true, 0, 0, 0, {}});
    left.next();
    if (!left.empty()) children.push_back(launch(left, run));
  }
  std::sort(results.begin(), results.end(),
            [](const RunResult& a, const RunResult& b) { return a.seed < b.seed; });
  return results;
}

}  // namespace Routing::Sim
