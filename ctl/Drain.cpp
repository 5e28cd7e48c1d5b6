#include "ctl/Drain.h"

#include <ostream>

#include "ctl/Dialogue.h"
#include "ctl/Format.h"

namespace Routing::Ctl {
namespace {

bool isDrained(const Json& data) {
  return !drainText(data).empty();
}

bool isComplete(const Json& data) {
  return data.at("complete");
}

std::string zoneLine(const Json& zone) {
  const Json& bsr = zone.at("bsr");
  return "  " + instanceText(zone) + ", zone " + valueText(zone.at("zone")) + ": " +
         (bsr.is_null() ? "no other BSR yet" : "BSR " + valueText(bsr)) + "\n";
}

std::string rpLine(const Json& rp) {
  const bool withdrawn = rp.at("withdrawn");
  return "  " + instanceText(rp) + ", RP " + valueText(rp.at("rp-address")) + ": " +
         (withdrawn ? "withdrawn\n" : "still in the RP set\n");
}

void print(const Options& options, const Json& data, std::ostream& out) {
  if (options.json) {
    out << data.dump(2) << "\n";
    return;
  }
  out << (isDrained(data) ? drainText(data) : "This router is not drained\n");
  for (const Json& zone : data.at("zones")) out << zoneLine(zone);
  for (const Json& rp : data.at("rps")) out << rpLine(rp);
}

}  // namespace

int drain(const Options& options, Connection& daemon, std::ostream& out) {
  Json data = answerTo(daemon, {{"command", "drain"}, {"topic", options.topic}});
  if (options.wait) {
    // Somebody may end the drain meanwhile.
    data = pollUntil(daemon, {{"command", "drain"}, {"topic", "status"}}, std::move(data),
                     *options.wait,
                     [](const Json& now) { return isComplete(now) || !isDrained(now); });
  }
  print(options, data, out);
  const bool good = isDrained(data) && (isComplete(data) || !options.wait);
  return good ? exitGood : exitProblem;
}

int undrain(const Options& options, Connection& daemon, std::ostream& out) {
  print(options, answerTo(daemon, {{"command", "undrain"}}), out);
  return exitGood;
}

}  // namespace Routing::Ctl
