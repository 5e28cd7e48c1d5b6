#include "agent/daemon/Daemon.h"

#include <spdlog/spdlog.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <utility>

namespace Routing::Agent {

Daemon::Daemon(const ConfigSource& source, const TimeoutOverrides& timeouts,
               const LoadedConfig& loaded)
    : source_(source),
      logSink_(loop_.clock(), startLogging()),
      router_(loop_, timeouts, [this] { start(); }),
      serviceManager_(loop_.timerWheel(), router_),
      feed_(router_),
      consumer_(loop_, feed_),
      metrics_(loop_.io(), router_),
      reloader_(
          loop_.io(), source, [this] { return router_.addressedInterfaces(); },
          [this](const LoadedConfig& loaded) { return apply(loaded); }) {
  logLevelIs(loaded.config->logLevel);
  tracesAre(loaded.config->traces);
  log(loaded.findings);
  router_.configIs(*loaded.config);
  for (const int signal : {SIGTERM, SIGINT}) loop_.onSignal(signal, [this] { shutdown(); });
  loop_.onSignal(SIGUSR1, [this] { leave(); });
  loop_.onSignal(SIGHUP, [this] { reload([](const ReloadOutcome&) {}); });
}

int Daemon::run() {
  loop_.run();
  return exitCode_;
}

void Daemon::start() try {
  router_.start();
  router_.onTurnEnd([this] { feed_.settle(); });
  tellOthers(router_.config());
  control_.emplace(loop_.io(), router_, *this, feed_, router_.config().controlSocket);
  spdlog::info("ready");
  serviceManager_.ready();
} catch (const std::exception& error) {
  spdlog::critical("cannot start: {}", error.what());
  exitCode_ = EXIT_FAILURE;
  loop_.stop();
}

void Daemon::shutdown() {
  end("shutting down");
  router_.shutdown();
}

// The next process takes the state up where this one leaves it.
void Daemon::leave() {
  end("leaving without a word");
}

void Daemon::end(const char* words) {
  spdlog::info(words);
  serviceManager_.stopping();
  control_.reset();
  loop_.stop();
}

void Daemon::reload(ReloadDone done) {
  if (!source_.file().empty()) {
    serviceManager_.reloading();
    return reloader_.reload(std::move(done));
  }
  spdlog::info("there is no configuration file to read again");
  done({.file = "pimbsrd", .findings = {{Severity::error, 0, "", "started without a file"}}});
}

ReloadOutcome Daemon::apply(const LoadedConfig& loaded) {
  ReloadOutcome outcome{.file = source_.file(), .findings = loaded.findings};
  if (loaded.config) {
    outcome.good = true;
    outcome.changed = *loaded.config != router_.config();
    outcome.undrained = !router_.drained().none();
    configIs(*loaded.config);
  }
  log(outcome.findings);
  const char* result = !outcome.good ? "refused" : outcome.changed ? "applied" : "unchanged";
  spdlog::info("configuration {} {}{}", source_.file(), result,
               outcome.undrained ? ", no longer drained" : "");
  serviceManager_.ready();
  return outcome;
}

void Daemon::prepareUpgrade() {
  if (!router_.upgrade().prepared()) spdlog::info("preparing an upgrade");
  router_.upgrade().prepare();
}

void Daemon::drain(const Candidacies& kinds) {
  router_.drain(kinds);
  const Candidacies& drained = router_.drained();
  spdlog::info("drained{}{}", drained.bsr ? ", no candidate BSR" : "",
               drained.rp ? ", no candidate RP" : "");
}

void Daemon::undrain() {
  if (!router_.drained().none()) spdlog::info("no longer drained");
  router_.undrain();
}

void Daemon::configIs(const DaemonConfig& config) {
  const DaemonConfig& before = router_.config();
  if (config.logLevel != before.logLevel) logLevelIs(config.logLevel);
  if (config.traces != before.traces) tracesAre(config.traces);
  if (config.controlSocket != before.controlSocket) {
    spdlog::warn("another control-socket is used from the next start on");
  }
  if (stateDirectoryOf(config) != stateDirectoryOf(before)) {
    spdlog::warn("another state-directory is used from the next start on");
  }
  router_.configIs(config);
  tellOthers(config);
}

void Daemon::tellOthers(const DaemonConfig& config) {
  consumer_.programIs(config.consumer);
  metrics_.listenAt(config.metrics);
}

void Daemon::log(const Findings& findings) const {
  for (const Finding& finding : findings) {
    const auto level = finding.severity == Severity::error     ? spdlog::level::err
                       : finding.severity == Severity::warning ? spdlog::level::warn
                                                               : spdlog::level::debug;
    spdlog::log(level, "{}", placeText(source_.file(), finding));
  }
}

}  // namespace Routing::Agent
