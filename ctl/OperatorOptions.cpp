#include "ctl/OperatorOptions.h"

#include <CLI/CLI.hpp>

#include "ctl/Options.h"

namespace Routing::Ctl {
namespace {

/// One leaf of a command, with what all of them take.
CLI::App* leaf(CLI::App& command, Options& options, const char* topic, const char* help) {
  CLI::App* app = command.add_subcommand(topic, help);
  app->fallthrough();
  app->add_option("--vrf", options.vrf, "The VRF")->capture_default_str();
  app->add_flag("--json", options.json, "JSON instead of text");
  app->add_flag("--ipv6", options.ipv6, "IPv6, where no address says it");
  app->final_callback([&options, command = command.get_name(), topic] {
    options.command = command;
    options.topic = topic;
    const std::string said = options.zone + options.group + options.rp + options.neighbor;
    options.family = options.ipv6 || said.find(':') != std::string::npos ? "ipv6" : "ipv4";
  });
  return app;
}

}  // namespace

void addExplain(CLI::App& app, Options& options) {
  CLI::App* explain = app.add_subcommand("explain", "Why things are as they are");
  explain->fallthrough();
  explain->require_subcommand(1);
  leaf(*explain, options, "bsr", "Who is BSR of a zone and why, or why nobody")
      ->add_option("ZONE", options.zone, "The zone; the global one unless given");
  CLI::App* rp = leaf(*explain, options, "rp", "Which RP serves a group and why, or why none");
  rp->add_option("GROUP", options.group, "A group address")->required();
  rp->add_option("--why-not", options.rp, "Why this RP does not serve it");
  leaf(*explain, options, "drops", "What was dropped lately, and why");
  leaf(*explain, options, "candidate", "This router's candidacies, and why some do not run");
}

void addClear(CLI::App& clear, Options& options) {
  CLI::App* rp = leaf(clear, options, "rp", "Withdraw an RP as BSR, else forget it");
  rp->add_option("ADDRESS", options.rp, "The RP, or all")->required();
  rp->add_option("--zone", options.zone, "In this zone alone");
  leaf(clear, options, "bsr", "Wait no longer for the BSR's next message")
      ->add_option("ZONE", options.zone, "The zone; all of them unless given");
  leaf(clear, options, "neighbor", "Forget a neighbour until it speaks, or greet all anew")
      ->add_option("ADDRESS", options.neighbor, "The neighbour; all of them unless given");
  leaf(clear, options, "counters", "All counters");
}

}  // namespace Routing::Ctl
