#include "agent/events/Journal.h"

#include <spdlog/spdlog.h>
#include <sys/stat.h>
#define SD_JOURNAL_SUPPRESS_LOCATION
#include <sys/uio.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>
#include <vector>

namespace Routing::Agent {
namespace {

/// Whether standard error is a stream of the journal (systemd.exec(5)).
bool underJournal() {
  const char* stream = std::getenv("JOURNAL_STREAM");
  struct stat status {};
  if (stream == nullptr || fstat(STDERR_FILENO, &status) != 0) return false;
  return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == stream;
}

std::string instanceText(const Event& event) {
  return "VRF " + event.vrf.text() + (event.af == AddressFamily::ipv4 ? " IPv4: " : " IPv6: ");
}

/// Names and values of what an event says; nothing of what it does not.
std::vector<std::string> fieldsOf(const Event& event) {
  std::vector<std::string> fields{"MESSAGE=" + instanceText(event) + textOf(event),
                                  "PRIORITY=" + std::to_string(severityOf(event)),
                                  "VRF=" + event.vrf.text(),
                                  "AF=" + std::string(enumName(event.af)),
                                  "EVENT=" + std::string(enumName(event.kind)),
                                  "CAUSE=" + std::string(enumName(event.cause))};
  if (!event.zone.isNone()) fields.push_back("ZONE=" + event.zone.text());
  if (!event.bsr.isUnset()) fields.push_back("BSR=" + event.bsr.text());
  if (!event.neighbor.isUnset()) fields.push_back("NEIGHBOR=" + event.neighbor.text());
  if (!event.intf.isUnset()) fields.push_back("INTERFACE=" + event.intf.text());
  if (!event.rp.isUnset()) fields.push_back("RP=" + event.rp.text());
  return fields;
}

bool sendToJournal(const Event& event) {
  std::vector<std::string> fields = fieldsOf(event);
  std::vector<iovec> pieces;
  pieces.reserve(fields.size());
  for (std::string& field : fields) pieces.push_back({field.data(), field.size()});
  return sd_journal_sendv(pieces.data(), static_cast<int>(pieces.size())) == 0;
}

}  // namespace

Journal::Journal(const Clock& clock)
    : limiter_(clock, eventsPerSecond, eventsAtOnce), structured_(underJournal()) {}

void Journal::write(const Event& event) {
  const std::string_view kind = enumName(event.kind);
  const auto verdict = limiter_.admit(kind);
  if (verdict.suppressed > 0)
    spdlog::warn("{}: {} events were suppressed", kind, verdict.suppressed);
  if (!verdict.admitted || (structured_ && sendToJournal(event))) return;
  const auto level = severityOf(event) <= 4 ? spdlog::level::warn : spdlog::level::info;
  spdlog::log(level, "{}{}", instanceText(event), textOf(event));
}

}  // namespace Routing::Agent
