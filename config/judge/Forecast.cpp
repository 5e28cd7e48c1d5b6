#include "config/judge/Forecast.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "bsr/types/Config.h"
#include "bsr/types/PimBsr.h"

// Everything is counted from the last message of the lost BSR. It starts the BS timer of the router
// that takes over and, at the same instant, the hold times of its RPs, which a BSR announces in
// full however old the advertisements are. So it does not matter when between two messages the BSR
// died.
//
//   rpsLive   = 3 x interval of the candidate RP; where that is not above 2.5 x interval of the
//               BSMs: 3 x that; at most 65535
//   elected   = BS time-out + back-off
//   completed = elected + 2 x flooding + 2: the first message reaches the candidate RPs, they wait
//               for up to 2 s, and what they advertise comes back
//
//   rpsLive >= completed   no group is without RP
//   rpsLive > elected      the first message carries the RPs, so followers keep them; the next BSR
//                          is without from rpsLive to completed
//   else                   the first message is empty, and followers clear what they have: until
//                          then if it outlived the BS time-out, which refreshes it. The second
//                          message brings it back: after one interval, or sooner, 10 s after the
//                          advertisements.

namespace Routing::Agent {
namespace {

using RpIntervals = std::vector<std::uint16_t>;

constexpr double flooding = 0.5;        // seconds for a message to cross the domain
constexpr double advertisingDelay = 2;  // seconds in which candidate RPs greet a new BSR
constexpr double roundTrip = 2 * flooding + advertisingDelay;
constexpr double minInterval = 10;  // seconds to the message that announces a changed RP set
constexpr double holdFactor = 3;    // advertisements, or BSMs, in a hold time
constexpr double leastFactor = 2.5;
constexpr double longestHold = 65535;

IpGenAddr lastAddress(AddressFamily af) {
  constexpr std::uint64_t ones = ~std::uint64_t{0};
  return af == AddressFamily::ipv4 ? IpGenAddr::v4(~std::uint32_t{0}) : IpGenAddr::v6(ones, ones);
}

/// With the lowest address, against the best BSR that there can be.
double longestBackOff(const FailoverTerms& terms) {
  const Pim::Bsr::PimBsrWeight mine(terms.candidate.priority, IpGenAddr::zero(terms.af));
  const Pim::Bsr::PimBsrWeight best(255, lastAddress(terms.af));
  return Pim::Bsr::backOff(mine, best).delay;
}

/// Whether the BSR announces another hold time than this candidate RP.
bool isRaised(std::uint16_t rpInterval, std::uint32_t bsmInterval) {
  return holdFactor * rpInterval <= leastFactor * bsmInterval;
}

double announcedHold(std::uint16_t rpInterval, std::uint32_t bsmInterval) {
  const double interval = isRaised(rpInterval, bsmInterval) ? bsmInterval : rpInterval;
  return std::min(holdFactor * interval, longestHold);
}

double withoutRp(const Forecast& forecast) {
  const double rpsLive = forecast.rpsLive;
  const double atNextBsr = std::max(forecast.completed - rpsLive, 0.0);
  if (rpsLive > forecast.elected) return atNextBsr;
  const double cleared = rpsLive > forecast.terms.holdTime ? forecast.elected : rpsLive;
  const double wait = std::min<double>(forecast.terms.candidate.interval, roundTrip + minInterval);
  return std::max(atNextBsr, forecast.elected + wait + flooding - cleared);
}

std::optional<std::uint16_t> sufficientInterval(const Forecast& forecast) {
  const double interval = std::ceil(forecast.completed / holdFactor);
  if (interval > Pim::Bsr::CrpAdvInterval::max) return std::nullopt;
  return static_cast<std::uint16_t>(interval);
}

/// One that bears a lost message too.
std::optional<std::uint32_t> sufficientHoldTime(const Forecast& forecast) {
  const FailoverTerms& terms = forecast.terms;
  const double holdTime = std::floor(forecast.rpsLive - longestBackOff(terms) - roundTrip);
  if (holdTime < 2.0 * terms.candidate.interval + 10 || holdTime >= terms.holdTime) {
    return std::nullopt;
  }
  return static_cast<std::uint32_t>(holdTime);
}

Forecast forecastOf(const FailoverTerms& terms) {
  Forecast forecast{terms};
  forecast.elected =
      Pim::Bsr::bsTimeoutInForce(terms.holdTime, terms.candidate.interval) + longestBackOff(terms);
  forecast.completed = forecast.elected + roundTrip;
  forecast.rpsLive = announcedHold(terms.rpInterval, terms.candidate.interval);
  forecast.withoutRp = withoutRp(forecast);
  if (forecast.withoutRp == 0) return forecast;
  forecast.rpInterval = sufficientInterval(forecast);
  forecast.holdTime = sufficientHoldTime(forecast);
  return forecast;
}

/// The default, or less where a shorter hold time is twice the interval and 10.
std::uint32_t fittingInterval(std::uint32_t holdTime) {
  using Bounds = Pim::Bsr::BsrCandidateDefaults;
  constexpr std::uint32_t byDefault = ZoneSettings{}.interval;
  return std::clamp(std::max(holdTime, 10U) / 2 - 5, Bounds::minInterval, byDefault);
}

std::vector<ZoneSettings> candidatesOf(const FamilySettings& settings) {
  std::vector<ZoneSettings> candidates;
  for (const auto& [name, candidate] : settings.bsrCandidates) {
    for (const auto& [zone, value] : candidate.zones) candidates.push_back(value);
    for (const auto& [list, value] : candidate.accessLists) candidates.push_back(value);
  }
  return candidates;
}

/// In ascending order.
RpIntervals rpIntervalsOf(const FamilySettings& settings) {
  RpIntervals intervals;
  for (const auto& [name, candidate] : settings.rpCandidates) {
    intervals.push_back(candidate.interval);
  }
  std::sort(intervals.begin(), intervals.end());
  return intervals;
}

/// Those of which one gives the shortest hold time: the least, which a BSR may raise, and the least
/// that it leaves alone.
RpIntervals shortestHolds(const RpIntervals& intervals, std::uint32_t bsmInterval) {
  RpIntervals shortest{intervals.front()};
  const auto left =
      std::partition_point(intervals.begin(), intervals.end(),
                           [&](std::uint16_t interval) { return isRaised(interval, bsmInterval); });
  if (left != intervals.end()) shortest.push_back(*left);
  return shortest;
}

bool isBetter(const Forecast& a, const Forecast& b) {
  return std::pair(a.withoutRp, a.elected) < std::pair(b.withoutRp, b.elected);
}

}  // namespace

Forecast worstForecast(const FamilySettings& settings, AddressFamily af) {
  std::vector<ZoneSettings> candidates = candidatesOf(settings);
  RpIntervals rpIntervals = rpIntervalsOf(settings);
  FailoverTerms terms{af, settings.holdTime};
  terms.candidateAssumed = candidates.empty();
  terms.rpIntervalAssumed = rpIntervals.empty();
  if (candidates.empty()) candidates.push_back({.interval = fittingInterval(settings.holdTime)});
  if (rpIntervals.empty()) rpIntervals.push_back(terms.rpInterval);
  Forecast worst;
  for (const ZoneSettings& candidate : candidates) {
    terms.candidate = candidate;
    for (const std::uint16_t interval : shortestHolds(rpIntervals, candidate.interval)) {
      terms.rpInterval = interval;
      worst = std::max(worst, forecastOf(terms), isBetter);
    }
  }
  return worst;
}

}  // namespace Routing::Agent
