#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "platform/entity/ValueText.h"
#include "platform/net/AddressFamily.h"
#include "platform/net/IntfId.h"
#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/net/VrfName.h"

namespace Routing::Agent {

enum class EventKind : std::uint8_t {
  started,
  zoneAppeared,
  zoneVanished,
  bsrNew,
  bsrChanged,
  bsrGone,
  electionWon,
  electionLost,
  candidateBsrStarted,
  candidateBsrStopped,
  candidateRpStarted,
  candidateRpStopped,
  neighborUp,
  neighborDown,
  neighborRestarted,
  rpSetChanged,
  limitHit,
  foreignAdvertiser,
};

enum class EventCause : std::uint8_t {
  none,
  resumed,          ///< the state of an earlier life was taken up
  cold,             ///< there was none
  firstHeard,       ///< somebody speaks where nobody did
  better,           ///< by priority, then by address
  resigned,         ///< it announced priority 0
  silent,           ///< it was not heard from until its time-out
  backOffEnded,     ///< nobody better spoke while this router waited
  priorityChanged,  ///< it announces another priority
  withdrawn,        ///< deconfigured or drained
  noAddress,        ///< the interface is down, gone or without an address
  cleared,          ///< an operator cleared it
  goodbye,
  expired,
  interfaceDown,
  newGenerationId,
};

/// Something that an operator wants to know of, once. What a kind does not need is unset.
struct Event {
  EventKind kind = EventKind::started;
  EventCause cause = EventCause::none;
  VrfName vrf = {};
  AddressFamily af = AddressFamily::unset;
  double time = 0.0;  ///< on the event loop's clock
  std::chrono::system_clock::time_point wall = {};

  IpGenPrefix zone = {};
  IpGenAddr bsr = {};        ///< that is followed, or is gone
  IpGenAddr bsrBefore = {};  ///< in whose place
  std::uint16_t priority = 0;
  IpGenAddr neighbor = {};
  IntfId intf = {};
  IpGenAddr rp = {};         ///< a candidate of this router, or of others
  std::string limit = {};    ///< what there is no room for
  std::uint64_t digest = 0;  ///< of the RP set in use
  std::size_t ranges = 0;
  std::size_t rps = 0;
};

using EventSink = std::function<void(const Event&)>;

/// Severity by RFC 5424: 4 warning, 5 notice, 6 information.
int severityOf(const Event& event);
/// What has happened and why, for people, in one line.
std::string textOf(const Event& event);
/// The cause in a few words; empty if there is none.
std::string causeText(EventCause cause);
/// "2026-11-22T07:24:16Z".
std::string timeText(std::chrono::system_clock::time_point wall);

}  // namespace Routing::Agent

template <>
struct Routing::EnumText<Routing::Agent::EventKind> {
  static constexpr std::array names{"started",
                                    "zone-appeared",
                                    "zone-vanished",
                                    "bsr-new",
                                    "bsr-changed",
                                    "bsr-gone",
                                    "election-won",
                                    "election-lost",
                                    "candidate-bsr-started",
                                    "candidate-bsr-stopped",
                                    "candidate-rp-started",
                                    "candidate-rp-stopped",
                                    "neighbor-up",
                                    "neighbor-down",
                                    "neighbor-restarted",
                                    "rp-set-changed",
                                    "limit-hit",
                                    "foreign-advertiser"};
};
template <>
struct Routing::EnumText<Routing::Agent::EventCause> {
  static constexpr std::array names{"none",
                                    "resumed",
                                    "cold",
                                    "first-heard",
                                    "better",
                                    "resigned",
                                    "silent",
                                    "back-off-ended",
                                    "priority-changed",
                                    "withdrawn",
                                    "no-address",
                                    "cleared",
                                    "goodbye",
                                    "expired",
                                    "interface-down",
                                    "new-generation-id"};
};
