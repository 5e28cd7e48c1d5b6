#include "agent/Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "platform/trace/Trace.h"

namespace Routing::Agent {
namespace {

constexpr int usageError = 2;
constexpr double holdtimePeriods = 3.5;  // Hellos that may be lost (RFC 7761 section 4.11)

std::pair<std::string, int> traceOf(const std::string& text) {
  const auto equals = text.find('=');
  int level = 0;
  const bool good = equals != std::string::npos &&
                    CLI::detail::lexical_cast(text.substr(equals + 1), level) &&
                    level >= TraceHandle::off && level <= TraceHandle::maxLevel;
  if (!good)
    throw CLI::ValidationError("--trace", "needs FACILITY=LEVEL with a level from -1 to 9");
  return {text.substr(0, equals), level};
}

/// CLI::Range lets through what is no number at all.
std::string checkHelloPeriod(const std::string& text) {
  double seconds = 0;
  const bool good = CLI::detail::lexical_cast(text, seconds) && seconds >= 0.1 && seconds <= 18000;
  return good ? "" : "needs a number of seconds from 0.1 to 18000";
}

void addInstanceOptions(CLI::App& app, InstanceOptions& options) {
  app.add_option("--bs-timeout", options.bsTimeout,
                 "Seconds after which a silent BSR is forgotten (130)")
      ->check(CLI::Range(1U, 65535U));
  app.add_option("--sz-timeout", options.szTimeout,
                 "Seconds after which a silent scoped zone is forgotten (1300)")
      ->check(CLI::Range(1U, 655350U));
  app.add_option("--hello-period", options.hello.helloPeriod, "Seconds between Hellos (30)")
      ->check(checkHelloPeriod);
  app.add_option("--dr-priority", options.hello.drPriority, "Priority in DR elections (1)");
  app.add_option("--max-zones", options.maxZones, "Scoped zones to learn at most");
  app.add_option("--max-groups", options.maxGroups, "Group ranges to hold at most");
  app.add_option("--max-rps", options.maxRps, "RPs to hold at most");
  app.add_option("--max-fragments", options.maxFragments,
                 "Incomplete group ranges to hold at most");
}

std::uint16_t holdtimeOf(double helloPeriod) {
  constexpr double longest = 65534;  // the next number stands for ever
  return static_cast<std::uint16_t>(std::clamp(helloPeriod * holdtimePeriods, 1.0, longest));
}

}  // namespace

std::variant<Options, int> parseOptions(int argc, const char* const* argv) {
  Options options;
  std::vector<std::string> traces;
  bool ipv4Only = false;
  bool ipv6Only = false;
  CLI::App app("Bootstrap router for PIM (RFC 5059)", "pimbsrd");
  app.set_version_flag("--version", "pimbsrd " PIMBSR_VERSION);
  app.add_option("--interface", options.interfaces, "Interface to run PIM on; may be repeated")
      ->required()
      ->allow_extra_args(false);
  auto* ipv4 = app.add_flag("--ipv4-only", ipv4Only, "Leave IPv6 alone");
  app.add_flag("--ipv6-only", ipv6Only, "Leave IPv4 alone")->excludes(ipv4);
  addInstanceOptions(app, options.instance);
  app.add_option("--control", options.control, "Control socket (" + options.control + ")");
  app.add_option("--log-level", options.logLevel, "What is logged at least (info)")
      ->check(CLI::IsMember({"debug", "info", "warning", "error", "critical", "off"}));
  app.add_option("--trace", traces, "FACILITY=LEVEL: trace facilities of this prefix up to a level")
      ->allow_extra_args(false);
  try {
    app.parse(argc, argv);
    for (const std::string& text : traces) options.traces.push_back(traceOf(text));
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : usageError;
  }
  options.instance.hello.holdtime = holdtimeOf(options.instance.hello.helloPeriod);
  if (!ipv6Only) options.families.push_back(AddressFamily::ipv4);
  if (!ipv4Only) options.families.push_back(AddressFamily::ipv6);
  return options;
}

}  // namespace Routing::Agent
