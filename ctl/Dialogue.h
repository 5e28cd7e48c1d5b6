#pragma once

#include <functional>
#include <nlohmann/json.hpp>

#include "ctl/Connection.h"

namespace Routing::Ctl {

using Json = nlohmann::json;

/// Sends a request. Raises a ConnectionError if that cannot be done.
void send(Connection& daemon, const Json& request);
/// The next line of the daemon. Raises a ConnectionError if there is none, or Json::exception.
Json readAnswer(Connection& daemon);
/// Raises a ConnectionError if the daemon refuses.
void expectGood(const Json& answer);
/// Sends a request and gives the data of the answer, raising as all of the above.
Json answerTo(Connection& daemon, const Json& request);
/// Repeats a request, after whose first answer `data`, until the data satisfies `done` or so many
/// seconds are over; gives the last data.
Json pollUntil(Connection& daemon, const Json& request, Json data, double seconds,
               const std::function<bool(const Json&)>& done);

}  // namespace Routing::Ctl
