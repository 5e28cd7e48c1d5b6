#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace Routing::Ctl {

using Json = nlohmann::json;

/// The daemon's answer to a "show" as text for people. A topic without a text form of its own comes
/// as JSON. Raises nlohmann::json::exception if the answer is not shaped as documented.
std::string render(const std::string& topic, const Json& data);

std::string renderBsr(const Json& data);
std::string renderRpSet(const Json& data);
std::string renderRpHash(const Json& data);
std::string renderNeighbor(const Json& data);
std::string renderInterface(const Json& data);
std::string renderCounters(const Json& data);
std::string renderRpCandidate(const Json& data);
std::string renderEvents(const Json& data);
/// The daemon's answer to an "explain": first the answer, then the facts.
std::string renderExplanation(const Json& data);

/// Events, a line each with its time, behind so many blanks.
std::string eventLines(const Json& events, std::size_t indent);

}  // namespace Routing::Ctl
