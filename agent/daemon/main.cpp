#include <spdlog/spdlog.h>
#include <sys/resource.h>

#include <csignal>
#include <exception>
#include <iostream>
#include <variant>

#include "agent/daemon/ConfigSource.h"
#include "agent/daemon/Daemon.h"
#include "agent/daemon/LogSink.h"
#include "agent/daemon/Options.h"

namespace Routing::Agent {
namespace {

constexpr int badConfig = 78;  // sysexits.h: EX_CONFIG

/// Each interface takes a socket for a family: as many as the system grants at all.
void allowManySockets() {
  rlimit files{};
  if (getrlimit(RLIMIT_NOFILE, &files) != 0) return;
  files.rlim_cur = files.rlim_max;
  setrlimit(RLIMIT_NOFILE, &files);
}

int run(const Options& options) try {
  const ConfigSource source(options);
  LoadedConfig loaded = source.load();
  if (!loaded.config) {
    for (const Finding& finding : loaded.findings) {
      std::cerr << "pimbsrd: " << fileText(source.file(), finding) << "\n";
    }
    return badConfig;
  }
  std::signal(SIGPIPE, SIG_IGN);  // a reader of the log or of the control socket may go away
  allowManySockets();
  return Daemon(source, options.timeouts, loaded).run();
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
