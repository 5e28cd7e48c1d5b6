#pragma once

#include <sys/types.h>

#include <asio/local/stream_protocol.hpp>
#include <string>

namespace Routing::Agent {

/// A listening Unix socket in the file system; its destructor removes the file, unless somebody has
/// replaced it since.
class ControlSocket {
 public:
  using Acceptor = asio::local::stream_protocol::acceptor;

  /// Creates the directory, replaces a socket that nobody listens on, listens with mode 0660.
  /// Raises std::system_error.
  ControlSocket(asio::io_context& loop, const std::string& path);
  ControlSocket(const ControlSocket&) = delete;
  ControlSocket& operator=(const ControlSocket&) = delete;
  ~ControlSocket();

  Acceptor& acceptor() { return acceptor_; }

 private:
  std::string path_;
  Acceptor acceptor_;
  dev_t device_ = 0;
  ino_t inode_ = 0;
};

}  // namespace Routing::Agent
