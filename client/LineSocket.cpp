#include "client/LineSocket.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <system_error>

namespace Routing::Client {
namespace {

using SteadyTime = std::chrono::steady_clock;

[[noreturn]] void raise(int error, const char* what) {
  throw std::system_error(error, std::generic_category(), what);
}

sockaddr_un addressOf(std::string_view path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) raise(ENAMETOOLONG, "control socket");
  std::memcpy(address.sun_path, path.data(), path.size());
  return address;
}

/// Milliseconds until an instant, rounded up; -1 where there is none.
int untilEnd(const std::optional<SteadyTime::time_point>& end) {
  if (!end) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(*end - SteadyTime::now());
  return static_cast<int>(std::max<std::int64_t>(left.count(), 0));
}

}  // namespace

LineSocket::LineSocket(std::string_view path)
    : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  if (fd_ < 0) raise(errno, "socket");
  try {
    const sockaddr_un address = addressOf(path);
    if (connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      raise(errno, "connect");
    }
  } catch (...) {
    ::close(fd_);
    throw;
  }
}

LineSocket::~LineSocket() {
  ::close(fd_);
}

void LineSocket::send(std::string line) const {
  line += '\n';
  const ssize_t sent = ::send(fd_, line.data(), line.size(), MSG_NOSIGNAL);
  if (sent != static_cast<ssize_t>(line.size())) raise(sent < 0 ? errno : EMSGSIZE, "send");
}

std::optional<std::string> LineSocket::next(int timeoutMs) {
  std::optional<SteadyTime::time_point> end;
  if (timeoutMs >= 0) end = SteadyTime::now() + std::chrono::milliseconds(timeoutMs);
  while (true) {
    if (auto found = line()) return found;
    pollfd ready{fd_, POLLIN, 0};
    const int count = poll(&ready, 1, untilEnd(end));
    if (count < 0 && errno != EINTR) raise(errno, "poll");
    if (count == 0) return std::nullopt;
    if (count > 0 && !readMore()) throw std::runtime_error("the daemon closed the connection");
  }
}

std::optional<std::string> LineSocket::line() {
  const auto end = input_.find('\n', scanned_);
  if (end == std::string::npos) {
    input_.erase(0, start_);
    start_ = 0;
    scanned_ = input_.size();
    if (scanned_ > longestLine) throw std::runtime_error("the daemon sends no lines");
    return std::nullopt;
  }
  std::string found = input_.substr(start_, end - start_);
  start_ = scanned_ = end + 1;
  return found;
}

bool LineSocket::readMore() {
  std::array<char, 65536> chunk;
  const ssize_t length = recv(fd_, chunk.data(), chunk.size(), MSG_DONTWAIT);
  if (length < 0) {
    if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR) return true;
    raise(errno, "recv");
  }
  input_.append(chunk.data(), static_cast<std::size_t>(length));
  return length > 0;
}

}  // namespace Routing::Client
