#pragma once

#include <memory>
#include <string>

#include "agent/view/AgentView.h"

namespace asio {
class io_context;
}

namespace Routing::Agent {

/// Serves /metrics over HTTP, for scrapers. Requests come in on a thread of the HTTP server's own
/// and are answered in the event loop; one that is not answered within two seconds gets nothing.
class MetricsServer {
 public:
  /// Both must outlive the server.
  MetricsServer(asio::io_context& loop, const AgentView& view);
  ~MetricsServer();
  MetricsServer(const MetricsServer&) = delete;
  MetricsServer& operator=(const MetricsServer&) = delete;

  /// Listens at "127.0.0.1:9593" or "[::1]:9593" from now on, nowhere if it is empty; what cannot
  /// be used is logged.
  void listenAt(const std::string& address);

 private:
  class Collector;
  class Listener;

  const std::shared_ptr<Collector> collector_;
  std::string address_;
  std::unique_ptr<Listener> listener_;
};

}  // namespace Routing::Agent
