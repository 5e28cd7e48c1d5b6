#include <cmath>

#include "config/judge/Forecast.h"
#include "config/judge/Judge.h"

namespace Routing::Agent {
namespace {

std::string secondsText(double seconds) {
  return std::to_string(static_cast<std::uint64_t>(std::ceil(seconds)));
}

std::string figures(const Forecast& forecast) {
  return "a failover takes up to " + secondsText(forecast.completed) + " s (" +
         secondsText(forecast.elected) + " to the next BSR), RPs live " +
         secondsText(forecast.rpsLive) + " s: ";
}

std::string remedies(const Forecast& forecast) {
  const std::string interval =
      forecast.rpInterval ? "raise rp-candidate interval to " + secondsText(*forecast.rpInterval)
                          : "";
  const std::string holdTime =
      forecast.holdTime ? "lower hold-time to " + secondsText(*forecast.holdTime) : "";
  if (interval.empty() && holdTime.empty()) return "lower the intervals and hold-time";
  return interval + (interval.empty() || holdTime.empty() ? "" : " or ") + holdTime;
}

std::string assumptions(const FailoverTerms& terms) {
  std::string text = " (assumed: the lost BSR has priority 255, ";
  if (terms.candidateAssumed) {
    text += "the next one priority " + std::to_string(terms.candidate.priority) + " and interval " +
            std::to_string(terms.candidate.interval) + ", ";
  }
  if (terms.rpIntervalAssumed) {
    text += "candidate RPs have interval " + std::to_string(terms.rpInterval) + ", ";
  }
  return text + "others are configured alike)";
}

}  // namespace

void judgeFailover(FamilyJudge& judge) {
  const Forecast forecast = worstForecast(judge.settings, judge.af);
  const std::string path = judge.bsrPath() + "/hold-time";
  const std::string end = assumptions(forecast.terms);
  if (forecast.withoutRp == 0) {
    return judge.inform(path, figures(forecast) + "groups keep their RP" + end);
  }
  judge.warn(path, figures(forecast) + "groups are without RP for up to " +
                       secondsText(forecast.withoutRp) + " s; " + remedies(forecast) + end);
}

}  // namespace Routing::Agent
