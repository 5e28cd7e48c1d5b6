#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

#include "agent/feed/RpFeed.h"
#include "agent/view/AgentCommands.h"
#include "agent/view/AgentView.h"

namespace asio {
class io_context;
}

namespace Routing::Agent {

/// What the peers of a control socket can take up.
struct ControlLimits {
  std::size_t peers = 16;
  std::size_t watchers = 8;                 ///< of the peers, so that some can always ask
  std::size_t requestBytes = 64 * 1024;     ///< of one line
  std::size_t watchBytes = 4 << 20;         ///< changes that wait for one watching peer
  std::size_t bufferedBytes = 64 << 20;     ///< answers that wait for all peers together
  std::chrono::milliseconds idle{30'000};   ///< from connection, or the last answer, to a request
  std::chrono::milliseconds drain{30'000};  ///< to read an answer, or what a watch has gathered
};

/// Answers operators on a Unix stream socket: one JSON request a line, one JSON answer a line
/// (docs/control-protocol.md). Peers never hold the event loop up: whoever reads too slowly, sends
/// too much or nothing at all is told so where possible, and disconnected.
class ControlServer {
 public:
  /// Listens at once, with mode 0660; a missing directory is created, a socket on which nobody
  /// listens replaced. Raises std::system_error if the path cannot be used, because another daemon
  /// listens there or it is no socket, for example. All must outlive the server.
  ControlServer(asio::io_context& loop, const AgentView& view, AgentCommands& commands,
                RpFeed& feed, const std::string& path, const ControlLimits& limits = {});
  ControlServer(const ControlServer&) = delete;
  ControlServer& operator=(const ControlServer&) = delete;
  /// Disconnects all peers and removes the socket.
  ~ControlServer();

  std::size_t peers() const;
  /// Octets that wait to be read by peers.
  std::size_t buffered() const;

 private:
  class Listener;

  std::shared_ptr<Listener> listener_;
};

}  // namespace Routing::Agent
