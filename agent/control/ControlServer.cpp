#include "agent/control/ControlServer.h"

#include <asio.hpp>

#include "agent/control/ControlPeer.h"
#include "agent/control/ControlSocket.h"

namespace Routing::Agent {

/// Accepts connections until it is stopped; outlives the server while handlers are under way.
class ControlServer::Listener : public std::enable_shared_from_this<Listener> {
 public:
  Listener(asio::io_context& loop, const ControlTarget& target, const std::string& path,
           const ControlLimits& limits)
      : hub_(std::make_shared<ControlHub>(ControlHub{.target = target, .limits = limits})),
        retry_(loop),
        socket_(std::in_place, loop, path) {}

  const ControlHub& hub() const { return *hub_; }

  void accept() {
    socket_->acceptor().async_accept(
        [self = shared_from_this()](const std::error_code& error, ControlPeer::Socket socket) {
          self->handleAccept(error, std::move(socket));
        });
  }

  void stop() {
    socket_.reset();
    retry_.cancel();
    const auto peers = hub_->peers;
    for (const auto& peer : peers) peer->close();
  }

 private:
  void handleAccept(const std::error_code& error, ControlPeer::Socket socket) {
    if (!socket_) return;
    if (error) return acceptLater();
    if (hub_->peers.size() < hub_->limits.peers) {
      std::make_shared<ControlPeer>(hub_, std::move(socket))->start();
    } else {
      turnAway(socket);
    }
    accept();
  }

  /// Out of descriptors, for example: trying again at once would only spin.
  void acceptLater() {
    retry_.expires_after(std::chrono::seconds(1));
    retry_.async_wait([self = shared_from_this()](const std::error_code& error) {
      if (!error && self->socket_) self->accept();
    });
  }

  static void turnAway(ControlPeer::Socket& socket) {
    const std::string line = refusalLine(RefusalCode::busy, "too many connections").append("\n");
    std::error_code ignored;
    socket.non_blocking(true, ignored);
    socket.send(asio::buffer(line), 0, ignored);
  }

  std::shared_ptr<ControlHub> hub_;
  asio::steady_timer retry_;
  std::optional<ControlSocket> socket_;
};

ControlServer::ControlServer(asio::io_context& loop, const AgentView& view, AgentCommands& commands,
                             RpFeed& feed, const std::string& path, const ControlLimits& limits)
    : listener_(
          std::make_shared<Listener>(loop, ControlTarget{view, commands, feed}, path, limits)) {
  listener_->accept();
}

ControlServer::~ControlServer() {
  listener_->stop();
}

std::size_t ControlServer::peers() const {
  return listener_->hub().peers.size();
}

std::size_t ControlServer::buffered() const {
  return listener_->hub().buffered;
}

}  // namespace Routing::Agent
