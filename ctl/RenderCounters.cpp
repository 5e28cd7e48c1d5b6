#include <algorithm>
#include <nlohmann/json.hpp>

#include "ctl/Format.h"
#include "ctl/Render.h"
#include "ctl/Table.h"

namespace Routing::Ctl {
namespace {

using enum Table::Align;

std::string mechanismText(const Json& bsr, const Json& echoes) {
  if (bsr.is_null()) return "  No counters\n";
  Table tallies({{"Messages"}, {"All", right}, {"Good", right}, {"Error", right}});
  const auto add = [&](const char* title, const Json& tally) {
    tallies.row({title, valueText(tally.at("all")), valueText(tally.at("success")),
                 valueText(tally.at("error"))});
  };
  add("Received", bsr.at("received"));
  add("  Bootstrap", bsr.at("received-bsm"));
  add("  Candidate-RP advertisement", bsr.at("received-candidate-rp-advertisement"));
  add("Sent", bsr.at("sent"));
  Table errors({{"Receive errors"}, {"Count", right}, {"Echoes", right}});
  for (const auto& [name, count] : bsr.at("receive-errors").items()) {
    const std::uint64_t copies = echoes.value(name, std::uint64_t{0});
    const auto all = count.get<std::uint64_t>();
    errors.row({name, std::to_string(all - std::min(all, copies)), std::to_string(copies)});
  }
  return tallies.text(2) + "\n" + errors.text(2);
}

std::string messagesText(const Json& messages, const Json& overflows) {
  const Json& received = messages.at("received");
  const Json& sent = messages.at("sent");
  Table kinds({{"Messages"}, {"Received", right}, {"Sent", right}});
  const auto add = [&](const char* title, const char* name) {
    kinds.row({title, valueText(received.at(name)), valueText(sent.at(name))});
  };
  add("Hello", "hello");
  add("Bootstrap", "bsr");
  add("Candidate-RP advertisement", "candidate-rp-advertisement");
  kinds.row({"Other", valueText(received.at("other")), "-"});
  kinds.row({"Could not be sent", "-", valueText(sent.at("error"))});
  kinds.row({"Lost in the kernel", valueText(overflows), "-"});
  Table drops({{"Dropped"}, {"Count", right}});
  for (const auto& [reason, count] : messages.at("dropped").items()) {
    drops.row({reason, valueText(count)});
  }
  return kinds.text(2) + "\n" + (drops.empty() ? "  Nothing dropped\n" : drops.text(2));
}

std::string interfacesText(const Json& interfaces) {
  Table table({{"Interface"},
               {"Hello", right},
               {"Bootstrap", right},
               {"C-RP", right},
               {"Echoes", right},
               {"Dropped", right},
               {"Hello sent", right},
               {"Bootstrap sent", right},
               {"Errors", right}});
  for (const Json& intf : interfaces) {
    table.row({valueText(intf.at("interface")), valueText(intf.at("received-hello")),
               valueText(intf.at("received-bsr")),
               valueText(intf.at("received-candidate-rp-advertisement")),
               valueText(intf.at("echoes")), valueText(intf.at("dropped")),
               valueText(intf.at("sent-hello")), valueText(intf.at("sent-bsr")),
               valueText(intf.at("send-errors"))});
  }
  return table.empty() ? "" : "\nBy interface\n" + table.text(2);
}

std::string limitsText(const Json& limits) {
  Table table({{"Learned from neighbors"}, {"Limit", right}, {"Refused", right}});
  const auto add = [&](const char* title, const char* name) {
    const Json& limit = limits.at(name);
    table.row({title, valueText(limit.at("limit")), valueText(limit.at("refused"))});
  };
  add("Zones", "zones");
  add("Group ranges", "groups");
  add("RPs", "rps");
  add("Incomplete group ranges", "fragments");
  add("Ranges and RPs of kept messages", "kept");
  return table.text(2);
}

}  // namespace

std::string renderCounters(const Json& data) {
  return titleText("PIM counters", data) + "Counted for " + durationText(data.at("since-cleared")) +
         "\n\n" + "BSR mechanism\n" + mechanismText(data.at("bsr"), data.at("echoes")) +
         "\nPacket layer\n" + messagesText(data.at("messages"), data.at("kernel-overflows")) +
         interfacesText(data.at("interfaces")) + "\nLimits\n" + limitsText(data.at("limits"));
}

}  // namespace Routing::Ctl
