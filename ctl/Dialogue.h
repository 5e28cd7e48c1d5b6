#pragma once

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

}  // namespace Routing::Ctl
