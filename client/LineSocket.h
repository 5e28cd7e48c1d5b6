#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Routing::Client {

/// A connection to a Unix stream socket that exchanges lines.
class LineSocket {
 public:
  /// Where pimbsrd listens unless it is told otherwise.
  static constexpr const char* usualPath = "/run/pimbsrd/control.sock";
  /// A line that is longer ends the connection.
  static constexpr std::size_t longestLine = 1 << 20;

  /// Raises std::system_error if nobody listens there.
  explicit LineSocket(std::string_view path);
  LineSocket(const LineSocket&) = delete;
  LineSocket& operator=(const LineSocket&) = delete;
  ~LineSocket();

  int fd() const { return fd_; }
  /// Sends a short line; raises std::system_error if it does not leave at once.
  void send(std::string line) const;
  /// The next line, without its newline; none if it does not come within `timeoutMs` (-1: for
  /// ever). Raises std::system_error or std::runtime_error once the connection is of no more use.
  std::optional<std::string> next(int timeoutMs);

 private:
  std::optional<std::string> line();
  bool readMore();

  const int fd_;
  std::string input_;
  std::size_t start_ = 0;    // of the next line in `input_`
  std::size_t scanned_ = 0;  // no newline between the start and this point
};

}  // namespace Routing::Client
