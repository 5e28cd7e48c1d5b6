#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace Routing::Ctl {

using Json = nlohmann::json;

/// Seconds as "hh:mm:ss", more than 99 hours with more digits; "never" for null.
std::string durationText(const Json& seconds);
/// A string or number; "-" for null. Control characters become question marks.
std::string valueText(const Json& value);
/// A generation ID as eight hexadecimal digits; "-" for null.
std::string genIdText(const Json& value);
/// Strings separated by ", "; "-" if there are none.
std::string listText(const Json& values);
/// A text and a newline behind `indent` blanks, broken between words where it gets longer than 80
/// columns; further lines stand `hanging` blanks deeper.
std::string wrapped(const std::string& text, std::size_t indent, std::size_t hanging);
/// "VRF default, IPv4".
std::string instanceText(const Json& instance);
/// Which candidacies operators have taken from the router, as a line; empty if none.
std::string drainText(const Json& data);
/// "SUBJECT, VRF default, IPv4", as the first line of every answer, and an empty line.
std::string titleText(const std::string& subject, const Json& data);
/// "Zone 224.0.0.0/4 (global)" with a newline.
std::string zoneText(const Json& zone);

}  // namespace Routing::Ctl
