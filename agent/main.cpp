#include <spdlog/spdlog.h>
#include <systemd/sd-daemon.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <optional>
#include <variant>

#include "agent/EventLoop.h"
#include "agent/LogSink.h"
#include "agent/Options.h"
#include "agent/Router.h"
#include "agent/control/ControlServer.h"

namespace Routing::Agent {
namespace {

/// The daemon from its command line to its exit code.
class Daemon {
 public:
  explicit Daemon(const Options& options)
      : options_(options),
        logSink_(loop_.clock(), startLogging(options.logLevel)),
        router_(loop_, options, [this] { start(); }) {
    traceThresholdIs("", 0);
    for (const auto& [facility, level] : options.traces) traceThresholdIs(facility, level);
    for (const int signal : {SIGTERM, SIGINT}) loop_.onSignal(signal, [this] { shutdown(); });
    loop_.onSignal(SIGHUP, [] { spdlog::info("there is no configuration file to read again"); });
  }

  int run() {
    loop_.run();
    return exitCode_;
  }

 private:
  void start() try {
    router_.start();
    control_.emplace(loop_.io(), router_, options_.control);
    spdlog::info("ready");
    sd_notify(0, "READY=1");
  } catch (const std::exception& error) {
    spdlog::critical("cannot start: {}", error.what());
    exitCode_ = EXIT_FAILURE;
    loop_.stop();
  }

  void shutdown() {
    spdlog::info("shutting down");
    sd_notify(0, "STOPPING=1");
    control_.reset();
    router_.shutdown();
    loop_.stop();
  }

  const Options options_;
  EventLoop loop_;
  LogSink logSink_;
  Router router_;
  std::optional<ControlServer> control_;
  int exitCode_ = EXIT_SUCCESS;
};

int run(const Options& options) try {
  std::signal(SIGPIPE, SIG_IGN);  // a reader of the log or of the control socket may go away
  return Daemon(options).run();
} catch (const std::exception& error) {
  spdlog::critical("cannot start: {}", error.what());
  return EXIT_FAILURE;
}

}  // namespace
}  // namespace Routing::Agent

int main(int argc, char** argv) {
  const auto options = Routing::Agent::parseOptions(argc, argv);
  if (const int* code = std::get_if<int>(&options)) return *code;
  return Routing::Agent::run(std::get<Routing::Agent::Options>(options));
}
