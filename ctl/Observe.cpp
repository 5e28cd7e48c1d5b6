#include "ctl/Observe.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <ostream>

#include "ctl/RenderObserve.h"
#include "observe/Capture.h"
#include "observe/Frame.h"
#include "observe/Observer.h"

namespace Routing::Ctl {
namespace {

volatile std::sig_atomic_t interrupted = 0;

void interrupt(int) {
  interrupted = 1;
}

Observe::Observer observed(const Options& options) {
  using SteadyTime = std::chrono::steady_clock;
  const auto start = SteadyTime::now();
  const std::chrono::duration<double> patience(options.timeout.value_or(1e9));
  Observe::Capture capture(options.file);
  Observe::Observer observer;
  const int linkType = capture.linkType();
  const auto take = [&](double time, std::span<const std::uint8_t> frame) {
    if (const auto packet = Observe::pimOf(linkType, frame)) observer.heard(time, *packet);
  };
  if (capture.live()) std::signal(SIGINT, interrupt);
  while (interrupted == 0 && capture.read(take)) {
    if (capture.live() && SteadyTime::now() - start > patience) break;
  }
  return observer;
}

}  // namespace

int observe(const Options& options, std::ostream& out, std::ostream& err) try {
  const Json report = observed(options).report();
  out << (options.json ? report.dump(2) + "\n" : renderObserve(report)) << std::flush;
  return looksWell(report) ? exitGood : exitProblem;
} catch (const Observe::CaptureError& error) {
  err << "pimbsrctl: " << error.what() << "\n";
  return exitUnreachable;
}

}  // namespace Routing::Ctl
