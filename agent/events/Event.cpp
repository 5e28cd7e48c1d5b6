#include "agent/events/Event.h"

#include <ctime>

#include "platform/pim/rp/RpSetDigest.h"

namespace Routing::Agent {
namespace {

constexpr int warning = 4;
constexpr int notice = 5;
constexpr int information = 6;

std::string bsrText(const Event& event) {
  return "BSR " + event.bsr.text() + ", priority " + std::to_string(event.priority);
}

std::string whatText(const Event& event) {
  const std::string neighbor = "neighbor " + event.neighbor.text() + " on " + event.intf.text();
  switch (event.kind) {
    case EventKind::started:
      return "started";
    case EventKind::zoneAppeared:
      return "appeared";
    case EventKind::zoneVanished:
      return "forgotten";
    case EventKind::bsrNew:
      return bsrText(event);
    case EventKind::bsrChanged:
      return bsrText(event) +
             (event.bsrBefore.isUnset() ? "" : ", in place of " + event.bsrBefore.text());
    case EventKind::bsrGone:
      return "BSR " + event.bsr.text() + " is gone";
    case EventKind::electionWon:
      return "this router is the BSR, " + event.bsr.text() + ", priority " +
             std::to_string(event.priority);
    case EventKind::electionLost:
      if (event.priority == 0) return "this router is the BSR no more";
      return bsrText(event) + ", in place of this router";
    case EventKind::candidateBsrStarted:
      return "candidate BSR " + event.bsr.text() + " starts";
    case EventKind::candidateBsrStopped:
      return "candidate BSR " + event.bsr.text() + " stops";
    case EventKind::candidateRpStarted:
      return "candidate RP " + event.rp.text() + " starts";
    case EventKind::candidateRpStopped:
      return "candidate RP " + event.rp.text() + " stops";
    case EventKind::neighborUp:
      return neighbor + " is up";
    case EventKind::neighborDown:
      return neighbor + " is down";
    case EventKind::neighborRestarted:
      return neighbor + " restarted";
    case EventKind::rpSetChanged:
      return "RP set " + Pim::rpSetDigestText(event.digest) + ": " + std::to_string(event.ranges) +
             " ranges, " + std::to_string(event.rps) + " RPs";
    case EventKind::limitHit:
      return "no room for more " + event.limit;
    case EventKind::foreignAdvertiser:
      return "RP " + event.rp.text() + " is advertised by another address, " +
             event.neighbor.text();
  }
  return {};
}

/// Of the causes that are somebody's deed: whose.
std::string subjectText(const Event& event) {
  if (event.cause != EventCause::resigned && event.cause != EventCause::silent) return {};
  return event.bsrBefore.isUnset() ? "it " : "the one before ";
}

}  // namespace

int severityOf(const Event& event) {
  switch (event.kind) {
    case EventKind::bsrGone:
    case EventKind::limitHit:
      return warning;
    case EventKind::neighborDown:
      return event.cause == EventCause::expired ? warning : notice;
    case EventKind::candidateBsrStopped:
    case EventKind::candidateRpStopped:
      return event.cause == EventCause::noAddress ? warning : notice;
    case EventKind::rpSetChanged:
    case EventKind::started:
      return information;
    default:
      return notice;
  }
}

std::string causeText(EventCause cause) {
  switch (cause) {
    case EventCause::none:
      return {};
    case EventCause::resumed:
      return "with the state of its earlier life";
    case EventCause::cold:
      return "without an earlier state";
    case EventCause::firstHeard:
      return "heard for the first time";
    case EventCause::better:
      return "better by priority, then address";
    case EventCause::resigned:
      return "resigned";
    case EventCause::silent:
      return "fell silent";
    case EventCause::backOffEnded:
      return "nobody better spoke";
    case EventCause::priorityChanged:
      return "its priority changed";
    case EventCause::withdrawn:
      return "deconfigured or drained";
    case EventCause::noAddress:
      return "its interface has no address";
    case EventCause::cleared:
      return "cleared by an operator";
    case EventCause::goodbye:
      return "it said goodbye";
    case EventCause::expired:
      return "no Hello within its hold time";
    case EventCause::interfaceDown:
      return "the interface went down";
    case EventCause::newGenerationId:
      return "new generation ID";
  }
  return {};
}

std::string textOf(const Event& event) {
  const std::string zone = event.zone.isNone() ? "" : "zone " + event.zone.text() + ": ";
  const std::string cause = subjectText(event) + causeText(event.cause);
  return zone + whatText(event) + (cause.empty() ? "" : " (" + cause + ")");
}

std::string timeText(std::chrono::system_clock::time_point wall) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(wall);
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &utc);
  return text.data();
}

}  // namespace Routing::Agent
