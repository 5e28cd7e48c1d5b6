#pragma once

#include <optional>

#include "agent/consumer/Consumer.h"
#include "agent/control/ControlServer.h"
#include "agent/daemon/ConfigSource.h"
#include "agent/daemon/LogSink.h"
#include "agent/daemon/Reloader.h"
#include "agent/daemon/ServiceManager.h"
#include "agent/feed/RpFeed.h"
#include "agent/kernel/EventLoop.h"
#include "agent/metrics/MetricsServer.h"
#include "agent/router/Router.h"
#include "agent/view/AgentCommands.h"

namespace Routing::Agent {

/// The daemon from its configuration to its exit code.
class Daemon final : public AgentCommands {
 public:
  /// `loaded` has a configuration. Raises std::system_error if the kernel cannot be reached.
  Daemon(const ConfigSource& source, const TimeoutOverrides& timeouts, const LoadedConfig& loaded);

  /// Runs until a signal ends it: SIGTERM or SIGINT, after which others know that it is gone, or
  /// SIGUSR1, after which they do not. On SIGHUP it reads the configuration again.
  int run();

 private:
  void start();
  void shutdown();
  void leave();
  void end(const char* words);
  void reload(ReloadDone done) override;
  ReloadOutcome apply(const LoadedConfig& loaded);
  void prepareUpgrade() override;
  void drain(const Candidacies& kinds) override;
  std::size_t clear(const ClearOrder& order) override { return router_.clear(order); }
  EventFeed& eventFeed() override { return router_.eventFeed(); }
  void undrain() override;
  void configIs(const DaemonConfig& config);
  void tellOthers(const DaemonConfig& config);
  void log(const Findings& findings) const;

  const ConfigSource source_;
  EventLoop loop_;
  LogSink logSink_;
  Router router_;
  ServiceManager serviceManager_;
  RpFeed feed_;
  Consumer consumer_;
  MetricsServer metrics_;
  Reloader reloader_;
  std::optional<ControlServer> control_;
  int exitCode_ = 0;
};

}  // namespace Routing::Agent
