#include "agent/control/ControlRequest.h"

#include <nlohmann/json.hpp>
#include <vector>

namespace Routing::Agent {
namespace {

using Json = nlohmann::json;

[[noreturn]] void refuse(const std::string& text) {
  throw RequestError(RefusalCode::badRequest, text);
}

const std::string& textOf(const std::string& name, const Json& value) {
  if (!value.is_string()) refuse("'" + name + "' must be a string");
  return value.get_ref<const std::string&>();
}

ControlRequest::Command commandOf(const std::string& text) {
  if (text == "show") return ControlRequest::Command::show;
  if (text == "explain") return ControlRequest::Command::explain;
  if (text == "clear") return ControlRequest::Command::clear;
  if (text == "watch") return ControlRequest::Command::watch;
  if (text == "subscribe") return ControlRequest::Command::subscribe;
  if (text == "reload") return ControlRequest::Command::reload;
  if (text == "upgrade") return ControlRequest::Command::upgrade;
  if (text == "drain") return ControlRequest::Command::drain;
  if (text == "undrain") return ControlRequest::Command::undrain;
  refuse("unknown command '" + text + "'");
}

std::vector<std::string> textsOf(const std::string& name, const Json& value) {
  if (!value.is_array()) refuse("'" + name + "' must be a list of strings");
  std::vector<std::string> texts;
  for (const Json& element : value) texts.push_back(textOf(name, element));
  return texts;
}

AddressFamily familyOf(const std::string& text) {
  if (text == "ipv4") return AddressFamily::ipv4;
  if (text == "ipv6") return AddressFamily::ipv6;
  refuse("'family' must be ipv4 or ipv6");
}

VrfName vrfOf(const std::string& text) {
  const auto vrf = VrfName::fromText(text);
  if (!vrf) refuse("'vrf' is longer than a VRF name can be");
  return *vrf;
}

bool truthOf(const std::string& name, const Json& value) {
  if (!value.is_boolean()) refuse("'" + name + "' must be true or false");
  return value.get<bool>();
}

void take(ControlRequest& request, const std::string& name, const Json& value) {
  if (name == "command") {
    request.command = commandOf(textOf(name, value));
  } else if (name == "topic") {
    request.topic = textOf(name, value);
  } else if (name == "family") {
    request.af = familyOf(textOf(name, value));
    request.familyGiven = true;
  } else if (name == "vrf") {
    request.vrf = vrfOf(textOf(name, value));
    request.vrfGiven = true;
  } else if (name == "group") {
    request.group = textOf(name, value);
  } else if (name == "groups") {
    request.groups = textsOf(name, value);
  } else if (name == "zone") {
    request.zone = textOf(name, value);
  } else if (name == "rp") {
    request.rp = textOf(name, value);
  } else if (name == "neighbor") {
    request.neighbor = textOf(name, value);
  } else if (name == "snapshot") {
    request.snapshot = truthOf(name, value);
  } else {
    refuse("unknown member '" + name + "'");
  }
}

/// The members without which a command cannot be carried out.
std::vector<const char*> requiredMembers(ControlRequest::Command command) {
  using Command = ControlRequest::Command;
  if (command == Command::reload || command == Command::undrain) return {};
  const bool everywhere = command == Command::upgrade || command == Command::drain;
  if (everywhere || command == Command::subscribe) return {"topic"};
  return {"family", "topic"};
}

}  // namespace

ControlRequest parseControlRequest(std::string_view line) {
  const Json json = Json::parse(line, nullptr, false);
  if (!json.is_object()) refuse("not a JSON object");
  ControlRequest request;
  for (const auto& [name, value] : json.items()) take(request, name, value);
  if (!json.contains("command")) refuse("'command' is missing");
  for (const char* name : requiredMembers(request.command)) {
    if (!json.contains(name)) refuse(std::string("'") + name + "' is missing");
  }
  return request;
}

IpGenAddr addressFromText(const std::string& text, AddressFamily af) {
  const auto address = IpGenAddr::fromText(text);
  if (address && address->af() == af) return *address;
  const std::string family = af == AddressFamily::ipv4 ? "IPv4" : "IPv6";
  refuse("'" + text + "' is not an " + family + " address");
}

IpGenPrefix zoneFromText(const std::string& text, AddressFamily af) {
  const auto zone = IpGenPrefix::fromText(text);
  if (zone && zone->af() == af) return *zone;
  refuse("'" + text + "' is no zone of the family");
}

}  // namespace Routing::Agent
