#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace Routing::Ctl {

/// Exit codes of the client.
enum ExitCode : int {
  exitGood = 0,
  exitProblem = 1,      ///< the daemon's answer is that something is not as it should be
  exitUsage = 2,        ///< the command line makes no sense
  exitUnreachable = 3,  ///< no daemon answers there
  exitTimedOut = 4,
  exitBadConfig = 78,  ///< the configuration file cannot be used; sysexits.h has the number
};

/// What the command line asks for.
struct Options {
  std::string socket = "/run/pimbsrd/control.sock";
  std::optional<double> timeout;  ///< seconds; none: the command's own
  bool json = false;

  /// "show", "explain", "clear", "watch", "subscribe", "observe", "check", "reload", "upgrade",
  /// "drain" or "undrain"
  std::string command;
  std::string family;  ///< "ipv4" or "ipv6"
  std::string topic;
  std::string vrf = "default";
  std::optional<std::string> onlyVrf;  ///< of a subscription; none: all
  std::string group;                   ///< of the topic "rp"
  std::vector<std::string> groups;     ///< of the topic "rp-hash"
  bool ipv6 = false;                   ///< where no address says the family
  std::string zone;                    ///< to explain or to clear
  std::string rp;                      ///< to clear, or to explain why not
  std::string neighbor;                ///< to clear; all if empty
  bool snapshot = true;                ///< of a watch
  bool raw = false;                    ///< of a watch: the log of attributes
  std::string file;                    ///< to check, or to observe: then it may be an interface
  bool strict = false;                 ///< of a check: warnings are problems
  std::optional<double> wait;          ///< seconds, of a drain; none: not at all
};

/// What to say instead of running: help, the version, or what is wrong with the command line.
struct EarlyExit {
  int code = exitGood;
  std::string text;
};

/// Reads the command line; the environment variable PIMBSR_SOCKET stands for --socket.
std::variant<Options, EarlyExit> parseOptions(int argc, const char* const* argv);

}  // namespace Routing::Ctl
