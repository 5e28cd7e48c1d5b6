#include "agent/consumer/Child.h"

#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

namespace Routing::Agent {
namespace {

constexpr int cannotRun = 127;  // as shells say it

/// Between fork and exec, where only what is safe in a signal handler may be called.
[[noreturn]] void becomeProgram(const char* program, int input) {
  const std::array<char*, 2> arguments{const_cast<char*>(program), nullptr};
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL, 0, 0, 0);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGUSR1, SIGPIPE}) signal(number, SIG_DFL);
  dup2(input, STDIN_FILENO);
  execv(program, arguments.data());
  _exit(cannotRun);
}

[[noreturn]] void raiseErrno(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

Child startChild(const std::string& program) {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
    raiseErrno("socketpair");
  Child child;
  child.input = Fd(ends[0]);
  const Fd theirs(ends[1]);
  child.pid = fork();
  if (child.pid < 0) raiseErrno("fork");
  if (child.pid == 0) becomeProgram(program.c_str(), theirs.get());
  child.exit = Fd(static_cast<int>(syscall(SYS_pidfd_open, child.pid, 0)));
  if (child.exit.get() < 0) raiseErrno("pidfd_open");
  return child;
}

std::string endOf(pid_t pid) {
  int status = 0;
  if (waitpid(pid, &status, WNOHANG) != pid) return "unknown end";
  return WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                             : "exit code " + std::to_string(WEXITSTATUS(status));
}

}  // namespace Routing::Agent
