#pragma once

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>

namespace Routing::Ctl {

/// The daemon cannot be talked to; carries the exit code of the client.
class ConnectionError : public std::runtime_error {
 public:
  ConnectionError(int exitCode, const std::string& text)
      : std::runtime_error(text), exitCode_(exitCode) {}
  int exitCode() const { return exitCode_; }

 private:
  int exitCode_;
};

/// A connection to the daemon's control socket that exchanges lines. Every call gives up at the
/// deadline with a ConnectionError.
class Connection {
 public:
  using Deadline = std::optional<std::chrono::steady_clock::time_point>;

  Connection(const std::string& path, Deadline deadline);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection();

  /// Sends a line; the newline is added.
  void send(std::string line);
  /// The next line without its newline; none once the daemon has closed the connection.
  std::optional<std::string> readLine();

 private:
  void connect(const std::string& path);
  void await(short events);

  int fd_;
  Deadline deadline_;
  std::string input_;
  std::size_t scanned_ = 0;  // no newline before this point of `input_`
};

}  // namespace Routing::Ctl
