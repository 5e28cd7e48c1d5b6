#include "ctl/Options.h"

#include <string_view>

#include "cli/CommandLine.h"
#include "ctl/OperatorOptions.h"

namespace Routing::Ctl {
namespace {

struct Topic {
  const char* name;
  const char* help;
};

constexpr Topic showTopics[] = {
    {"bsr", "The elected BSR of every zone, and this router's candidacy"},
    {"rp-set", "The RPs by zone and group range, and the mappings in use"},
    {"rp-hash", "Which RP serves a group, and why not the others"},
    {"neighbor", "PIM neighbours"},
    {"interface", "PIM interfaces"},
    {"counters", "Messages received, sent and dropped; bounds that were met"},
    {"rp-candidate", "This router's candidate RPs, and candidates that do not run"},
    {"events", "What has happened lately, and why"},
    {"yang", "The operational state as RFC 9128 models it, as JSON"},
    {"status", "Everything the daemon holds, as JSON"},
};

constexpr Topic clearTopics[] = {
    {"counters", "All counters"},
};

constexpr Topic drainTopics[] = {
    {"bsr", "As BSR and candidate BSR"},
    {"rp", "As candidate RP"},
    {"all", "As both"},
};

constexpr Topic watchTopics[] = {
    {"bsr", "Zones, elections, candidate BSRs"},
    {"rp-set", "The RPs in use, candidate RPs, limits"},
    {"neighbor", "PIM neighbours"},
    {"events", "All that happens"},
    {"counters", "The counters of the BSR mechanism, raw"},
    {"status", "All of the BSR mechanism's status, raw"},
};

constexpr Topic subscribeTopics[] = {
    {"rp-mappings", "The RP mappings in use, whole and settled, as JSON"},
    {"events", "What happens, as JSON"},
};

struct Family {
  const char* word;
  const char* name;
  const char* help;
};
constexpr Family families[] = {{"ip", "ipv4", "IPv4"}, {"ipv6", "ipv6", "IPv6"}};

std::string checkSeconds(const std::string& text) {
  double seconds = 0;
  const bool good = CLI::detail::lexical_cast(text, seconds) && seconds > 0 && seconds < 1e9;
  return good ? "" : "needs a number of seconds above 0";
}

/// Options stand before or behind the words of a command.
CLI::App* word(CLI::App& parent, const char* name, const char* help) {
  CLI::App* app = parent.add_subcommand(name, help);
  app->fallthrough();
  return app;
}

template <class Topics>
void addTopics(CLI::App& pim, const Topics& topics, Options& options, const char* command,
               const char* family) {
  pim.require_subcommand(1);
  for (const Topic& topic : topics) {
    CLI::App* leaf = word(pim, topic.name, topic.help);
    leaf->add_option("--vrf", options.vrf, "The VRF")->capture_default_str()->type_name("NAME");
    leaf->add_flag("--json", options.json, "JSON instead of text");
    if (std::string_view(topic.name) == "rp-hash") {
      leaf->add_option("GROUP", options.groups, "Group addresses")->required();
    }
    if (std::string_view(command) == "watch") {
      leaf->add_flag("--raw", options.raw, "The log of attributes, for programs");
      leaf->add_flag("!--changes-only", options.snapshot, "Leave the present state out");
    }
    leaf->final_callback([&options, command, family, name = topic.name] {
      options.command = command;
      options.family = family;
      options.topic = name;
    });
  }
}

template <class Topics>
CLI::App& addCommand(CLI::App& app, const char* name, const char* help, const Topics& topics,
                     Options& options) {
  CLI::App* command = word(app, name, help);
  command->require_subcommand(1);
  for (const Family& family : families) {
    CLI::App* ip = word(*command, family.word, family.help);
    ip->require_subcommand(1);
    addTopics(*word(*ip, "pim", "Protocol Independent Multicast"), topics, options, name,
              family.name);
  }
  return *command;
}

void addSubscribe(CLI::App& app, Options& options) {
  CLI::App* subscribe = word(app, "subscribe", "Stream what programs need, one JSON object a line");
  subscribe->require_subcommand(1);
  for (const Topic& topic : subscribeTopics) {
    CLI::App* leaf = word(*subscribe, topic.name, topic.help);
    leaf->add_option("--vrf", options.onlyVrf, "One VRF alone");
    leaf->add_option("--family", options.family, "One address family alone")
        ->check(CLI::IsMember({"ipv4", "ipv6"}));
    leaf->final_callback([&options, name = topic.name] {
      options.command = "subscribe";
      options.topic = name;
    });
  }
}

void addCheck(CLI::App& app, Options& options) {
  CLI::App* check = word(app, "check", "Check a configuration file; needs no daemon");
  check->add_option("FILE", options.file, "The file")->required();
  check->add_flag("--json", options.json, "JSON instead of text");
  check->add_flag("--strict", options.strict, "Exit with 1 if there are warnings");
  check->final_callback([&options] { options.command = "check"; });
}

void addObserve(CLI::App& app, Options& options) {
  CLI::App* observe = word(app, "observe", "Say what goes on in a network; needs no daemon");
  observe->add_option("SOURCE", options.file, "An interface, or a capture file")->required();
  observe->add_flag("--json", options.json, "JSON instead of text");
  observe->final_callback([&options] { options.command = "observe"; });
}

void addReload(CLI::App& app, Options& options) {
  CLI::App* reload = word(app, "reload", "Have the daemon read its configuration file again");
  reload->add_flag("--json", options.json, "JSON instead of text");
  reload->final_callback([&options] { options.command = "reload"; });
}

void addUpgrade(CLI::App& app, Options& options) {
  CLI::App* upgrade = word(app, "upgrade", "Replace the daemon without a gap");
  upgrade->require_subcommand(1);
  CLI::App* prepare = word(*upgrade, "prepare", "Wait until the daemon can be replaced");
  prepare->add_flag("--json", options.json, "JSON instead of text");
  prepare->final_callback([&options] { options.command = "upgrade"; });
}

void addDrain(CLI::App& app, Options& options) {
  CLI::App* drain =
      word(app, "drain", "Leave office as if deconfigured, until undrain or a reload");
  drain->require_subcommand(1);
  for (const Topic& topic : drainTopics) {
    CLI::App* leaf = word(*drain, topic.name, topic.help);
    leaf->add_flag("--json", options.json, "JSON instead of text");
    leaf->add_option("--wait", options.wait,
                     "Seconds to wait until others have taken over; exit with 1 if they have not")
        ->check(checkSeconds)
        ->type_name("SECONDS");
    leaf->final_callback([&options, name = topic.name] {
      options.command = "drain";
      options.topic = name;
    });
  }
  CLI::App* undrain = word(app, "undrain", "End a drain: be a candidate as configured");
  undrain->add_flag("--json", options.json, "JSON instead of text");
  undrain->final_callback([&options] { options.command = "undrain"; });
}

void addAll(CLI::App& app, Options& options) {
  app.require_subcommand(1);
  app.set_version_flag("--version", "pimbsrctl " PIMBSR_VERSION);
  app.add_option("--socket", options.socket, "The daemon's control socket")
      ->envname("PIMBSR_SOCKET")
      ->type_name("PATH")
      ->capture_default_str();
  app.add_option("--timeout", options.timeout,
                 "Seconds to wait for the answer (5), to get ready (30), or to watch (for ever)")
      ->check(checkSeconds)
      ->type_name("SECONDS");
  addCommand(app, "show", "Show what the daemon knows", showTopics, options);
  addExplain(app, options);
  addClear(
      addCommand(app, "clear", "Forget RPs, BSRs, neighbours or counters", clearTopics, options),
      options);
  addCommand(app, "watch", "Follow changes as they happen", watchTopics, options);
  addSubscribe(app, options);
  addCheck(app, options);
  addObserve(app, options);
  addReload(app, options);
  addUpgrade(app, options);
  addDrain(app, options);
}

}  // namespace

std::variant<Options, EarlyExit> parseOptions(int argc, const char* const* argv) {
  Options options;
  CLI::App app{"Shows and follows what pimbsrd knows, and has it follow its configuration"};
  app.name("pimbsrctl");
  addAll(app, options);
  if (auto early = Cli::parse(app, argc, argv)) return EarlyExit{early->code, early->text};
  return options;
}

}  // namespace Routing::Ctl
