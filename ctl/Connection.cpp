#include "ctl/Connection.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <thread>

#include "ctl/Options.h"

namespace Routing::Ctl {
namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void unreachable(const std::string& what) {
  throw ConnectionError(exitUnreachable, what + ": " + std::strerror(errno));
}

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address{};
  if (path.size() >= sizeof(address.sun_path)) {
    errno = ENAMETOOLONG;
    unreachable("control socket " + path);
  }
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, path.size());
  return address;
}

/// Milliseconds left, as poll() takes them.
int timeLeft(const Connection::Deadline& deadline) {
  if (!deadline) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now()).count();
  if (left <= 0) throw ConnectionError(exitTimedOut, "timed out waiting for the daemon");
  return static_cast<int>(std::min<std::int64_t>(left, 1'000'000'000));
}

bool wouldBlock() {
  return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

}  // namespace

Connection::Connection(const std::string& path, Deadline deadline)
    : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)), deadline_(deadline) {
  if (fd_ < 0) unreachable("control socket");
  try {
    connect(path);
  } catch (...) {
    close(fd_);
    throw;
  }
}

Connection::~Connection() {
  close(fd_);
}

void Connection::connect(const std::string& path) {
  const sockaddr_un address = addressOf(path);
  // A full queue of connections reads as EAGAIN, and nothing tells when it has room again.
  while (::connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
    if (!wouldBlock()) unreachable("cannot reach the daemon at " + path);
    timeLeft(deadline_);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

void Connection::await(short events) {
  pollfd wanted{fd_, events, 0};
  if (poll(&wanted, 1, timeLeft(deadline_)) < 0 && errno != EINTR) unreachable("poll");
}

void Connection::send(std::string line) {
  line += '\n';
  for (std::size_t sent = 0; sent < line.size();) {
    const auto n = ::send(fd_, line.data() + sent, line.size() - sent, MSG_NOSIGNAL);
    if (n >= 0) {
      sent += static_cast<std::size_t>(n);
    } else if (errno == EPIPE) {
      return;  // what the daemon said before it closed can still be read
    } else if (wouldBlock()) {
      await(POLLOUT);
    } else {
      unreachable("cannot send to the daemon");
    }
  }
}

std::optional<std::string> Connection::readLine() {
  for (;;) {
    const auto end = input_.find('\n', scanned_);
    if (end != std::string::npos) {
      std::string line = input_.substr(0, end);
      input_.erase(0, end + 1);
      scanned_ = 0;
      return line;
    }
    scanned_ = input_.size();
    await(POLLIN);
    std::array<char, 65536> chunk;
    const auto n = recv(fd_, chunk.data(), chunk.size(), 0);
    if (n > 0) {
      input_.append(chunk.data(), static_cast<std::size_t>(n));
    } else if (n == 0 || errno == ECONNRESET) {
      return std::nullopt;
    } else if (!wouldBlock()) {
      unreachable("cannot read from the daemon");
    }
  }
}

}  // namespace Routing::Ctl
