#include "agent/daemon/Options.h"

#include <algorithm>
#include <filesystem>
#include <iostream>

#include "cli/CommandLine.h"
#include "platform/trace/Trace.h"
#include "platform/trace/TraceFacilities.h"

namespace Routing::Agent {
namespace {

constexpr double holdtimePeriods = 3.5;  // Hellos that may be lost (RFC 7761 section 4.11)

/// What the built-in configuration is made of.
struct BuiltIn {
  std::vector<std::string> interfaces;
  bool ipv4Only = false;
  bool ipv6Only = false;
  InterfaceSettings interface;
  LimitSettings limits;
};

void requireFacility(const std::string& prefix) {
  const auto names = traceFacilities();
  const auto begins = [&](const std::string& name) { return name.starts_with(prefix); };
  if (std::any_of(names.begin(), names.end(), begins)) return;
  const auto near = Cli::nearest(prefix, names);
  throw CLI::ValidationError("--trace", "no facility begins with " + prefix +
                                            (near ? ", did you mean " + *near + "?" : ";") +
                                            " choices: " + CLI::detail::join(names, ", "));
}

std::pair<std::string, int> traceOf(const std::string& text) {
  const auto equals = text.find('=');
  int level = 0;
  const bool good = equals != std::string::npos &&
                    CLI::detail::lexical_cast(text.substr(equals + 1), level) &&
                    level >= TraceHandle::off && level <= TraceHandle::maxLevel;
  if (!good)
    throw CLI::ValidationError("--trace", "needs FACILITY=LEVEL with a level from -1 to 9");
  const std::string facility = text.substr(0, equals);
  requireFacility(facility);
  return {facility, level};
}

/// CLI::Range lets through what is no number at all.
std::string checkHelloPeriod(const std::string& text) {
  double seconds = 0;
  const bool good = CLI::detail::lexical_cast(text, seconds) && seconds >= 0.1 && seconds <= 18000;
  return good ? "" : "needs a number of seconds from 0.1 to 18000";
}

/// The options that take the place of a file.
void addBuiltIn(CLI::App& app, BuiltIn& builtIn, CLI::Option& file) {
  std::vector<CLI::Option*> options{
      app.add_option("--interface", builtIn.interfaces,
                     "Without a file: interface to run PIM on; may be repeated")
          ->allow_extra_args(false)
          ->type_name("NAME"),
      app.add_flag("--ipv4-only", builtIn.ipv4Only, "Leave IPv6 alone"),
      app.add_flag("--ipv6-only", builtIn.ipv6Only, "Leave IPv4 alone"),
      app.add_option("--hello-period", builtIn.interface.helloInterval,
                     "Seconds between Hellos (30)")
          ->check(checkHelloPeriod)
          ->type_name("SECONDS"),
      app.add_option("--dr-priority", builtIn.interface.drPriority, "Priority in DR elections (0)")
          ->type_name("NUMBER"),
      app.add_option("--max-zones", builtIn.limits.zones, "Scoped zones to learn at most")
          ->type_name("NUMBER"),
      app.add_option("--max-groups", builtIn.limits.groups, "Group ranges to hold at most")
          ->type_name("NUMBER"),
      app.add_option("--max-rps", builtIn.limits.rps, "RPs to hold at most")->type_name("NUMBER"),
      app.add_option("--max-fragments", builtIn.limits.fragments,
                     "Incomplete group ranges to hold at most")
          ->type_name("NUMBER")};
  options[1]->excludes(options[2]);
  for (CLI::Option* option : options) option->excludes(&file);
}

void addOverrides(CLI::App& app, Options& options, std::vector<std::string>& traces) {
  app.add_option("--bs-timeout", options.timeouts.bsTimeout,
                 "Seconds after which a silent BSR is forgotten, whatever is configured")
      ->check(CLI::Range(1U, 65535U))
      ->type_name("SECONDS");
  app.add_option("--sz-timeout", options.timeouts.szTimeout,
                 "Seconds after which a silent scoped zone is forgotten, whatever is configured")
      ->check(CLI::Range(1U, 655350U))
      ->type_name("SECONDS");
  app.add_option("--control", options.control, "Control socket (/run/pimbsrd/control.sock)")
      ->type_name("PATH");
  app.add_option("--state-directory", options.stateDirectory,
                 "Where state is kept for the next start, or none (/run/pimbsrd/control.state)")
      ->type_name("PATH");
  app.add_option(
         "--log-level", options.logLevel,
         "What is logged at least: debug, info (unless given), warning, error, critical or off")
      ->type_name("LEVEL")
      ->check(CLI::IsMember({"debug", "info", "warning", "error", "critical", "off"}));
  app.add_option("--trace", traces,
                 "Trace the facilities whose names begin so, up to a level from -1 (off) to 9")
      ->allow_extra_args(false)
      ->type_name("FACILITY=LEVEL");
}

// The longest period gives 63000, well below 65535, which never expires.
std::uint16_t holdtimeOf(double helloPeriod) {
  return static_cast<std::uint16_t>(std::max(helloPeriod * holdtimePeriods, 1.0));
}

DaemonConfig configOf(BuiltIn& builtIn) {
  builtIn.interface.helloHoldtime = holdtimeOf(builtIn.interface.helloInterval);
  FamilySettings family;
  for (const std::string& name : builtIn.interfaces) family.interfaces[name] = builtIn.interface;
  DaemonConfig config;
  config.limits = builtIn.limits;
  VrfSettings& vrf = config.vrfs[VrfName(std::string(VrfName::defaultName))];
  if (!builtIn.ipv6Only) vrf[AddressFamily::ipv4] = family;
  if (!builtIn.ipv4Only) vrf[AddressFamily::ipv6] = family;
  return config;
}

}  // namespace

std::variant<Options, int> parseOptions(int argc, const char* const* argv) {
  Options options;
  BuiltIn builtIn;
  std::vector<std::string> traces;
  CLI::App app("Bootstrap router for PIM (RFC 5059)", "pimbsrd");
  app.set_version_flag("--version", "pimbsrd " PIMBSR_VERSION);
  CLI::Option* file = app.add_option("--config", options.configFile, "Configuration file (YAML)")
                          ->type_name("FILE");
  addBuiltIn(app, builtIn, *file);
  addOverrides(app, options, traces);
  app.final_callback([&] {
    for (const std::string& text : traces) options.traces.push_back(traceOf(text));
    if (options.configFile.empty() && builtIn.interfaces.empty()) {
      throw CLI::RequiredError("--config or --interface");
    }
  });
  if (const auto early = Cli::parse(app, argc, argv)) {
    (early->code == 0 ? std::cout : std::cerr) << early->text;
    return early->code;
  }
  if (!options.configFile.empty()) {
    options.configFile = std::filesystem::absolute(options.configFile).string();
  } else {
    options.builtIn = configOf(builtIn);
  }
  return options;
}

}  // namespace Routing::Agent
