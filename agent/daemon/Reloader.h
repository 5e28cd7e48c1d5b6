#pragma once

#include <functional>
#include <thread>
#include <vector>

#include "agent/daemon/ConfigSource.h"
#include "agent/view/AgentCommands.h"

namespace asio {
class io_context;
}

namespace Routing::Agent {

/// Reads the configuration again while the daemon runs. A thread of its own reads and judges the
/// file, which may take half a second, and touches nothing but values; the event loop goes on, and
/// takes the result over.
///
/// Whoever asks during a reading waits for the next one, together with all others, because the file
/// may have changed since the present one began.
class Reloader {
 public:
  using Addressed = std::function<AddressedInterfaces()>;
  using Apply = std::function<ReloadOutcome(LoadedConfig)>;

  /// `apply` runs in the event loop once for each reading. The loop must outlive the reloader.
  Reloader(asio::io_context& loop, const ConfigSource& source, Addressed addressed, Apply apply);
  Reloader(const Reloader&) = delete;
  Reloader& operator=(const Reloader&) = delete;
  /// Waits for a reading that is under way; nobody hears of it.
  ~Reloader();

  /// `done` runs in the event loop, later.
  void reload(ReloadDone done);

 private:
  void read();
  void handleRead(LoadedConfig loaded);

  asio::io_context& loop_;
  const ConfigSource source_;
  const Addressed addressed_;
  const Apply apply_;
  std::thread reading_;
  std::vector<ReloadDone> served_;   // by the reading that is under way
  std::vector<ReloadDone> waiting_;  // for the next one
};

}  // namespace Routing::Agent
