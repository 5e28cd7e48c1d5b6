#include "sim/sweep/SeedProcess.h"

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <iostream>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

namespace Routing::Sim {
namespace {

RunResult resultOf(const Run& run, std::uint64_t seed) {
  std::ostringstream text;
  RunResult result = run(seed, text);
  result.text = std::move(text).str();
  return result;
}

void writeAll(int to, std::string_view octets) {
  while (!octets.empty()) {
    const ssize_t written = ::write(to, octets.data(), octets.size());
    if (written <= 0) ::_exit(1);
    octets.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace

SeedProcess::SeedProcess(SeedBlock block, const Run& run) : run_(run), left_(block) {
  launch();
}

SeedProcess::~SeedProcess() {
  if (pid_ > 0) ::kill(pid_, SIGKILL);
  end();
}

void SeedProcess::launch() {
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  std::cout.flush();
  pid_ = ::fork();
  if (pid_ < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (pid_ == 0) {
    tellResults(ends[1]);
    ::_exit(0);
  }
  ::close(ends[1]);
  fd_ = ends[0];
}

void SeedProcess::tellResults(int to) const {
  for (SeedBlock left = left_; !left.empty(); ++left.first) {
    std::string octets;
    writeResult(resultOf(run_, left.first), octets);
    writeAll(to, octets);
  }
}

void SeedProcess::end() {
  if (pid_ <= 0) return;
  ::close(fd_);
  ::waitpid(pid_, nullptr, 0);
  pid_ = -1;
}

bool SeedProcess::listen(std::vector<RunResult>& results) {
  std::array<char, 65536> octets;
  const ssize_t count = ::read(fd_, octets.data(), octets.size());
  if (count > 0) {
    unread_.append(octets.data(), static_cast<std::size_t>(count));
    for (; auto result = takeResult(unread_); ++left_.first) results.push_back(std::move(*result));
    return true;
  }
  end();
  if (!left_.empty()) {
    results.push_back({.seed = left_.take(1).first, .died = true, .figures = {}});
    unread_.clear();
  }
  if (left_.empty()) return false;
  launch();
  return true;
}

}  // namespace Routing::Sim
