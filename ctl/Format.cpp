#include "ctl/Format.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace Routing::Ctl {

std::string durationText(const Json& seconds) {
  if (seconds.is_null()) return "never";
  constexpr double longest = 1e15;
  const auto all = static_cast<std::uint64_t>(std::clamp(seconds.get<double>(), 0.0, longest));
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "%02" PRIu64 ":%02" PRIu64 ":%02" PRIu64, all / 3600,
                all / 60 % 60, all % 60);
  return text.data();
}

std::string valueText(const Json& value) {
  if (value.is_null()) return "-";
  if (!value.is_string()) return value.dump();
  std::string text = value.get<std::string>();
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = '?';
  }
  return text;
}

std::string genIdText(const Json& value) {
  if (value.is_null()) return "-";
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "0x%08" PRIx32, value.get<std::uint32_t>());
  return text.data();
}

std::string listText(const Json& values) {
  std::string text;
  for (const Json& value : values) {
    if (!text.empty()) text += ", ";
    text += valueText(value);
  }
  return text.empty() ? "-" : text;
}

std::string wrapped(const std::string& text, std::size_t indent, std::size_t hanging) {
  constexpr std::size_t columns = 80;
  std::string out;
  std::string line(indent, ' ');
  std::size_t start = line.size();
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t blank = std::min(text.find(' ', at), text.size());
    const std::string word = text.substr(at, blank - at);
    if (line.size() > start && line.size() + 1 + word.size() > columns) {
      out += line + "\n";
      line.assign(indent + hanging, ' ');
      start = line.size();
    }
    if (line.size() > start) line += ' ';
    line += word;
    at = blank + 1;
  }
  return out + line + "\n";
}

std::string instanceText(const Json& instance) {
  const bool v4 = instance.at("address-family") == "ipv4";
  return "VRF " + valueText(instance.at("vrf")) + (v4 ? ", IPv4" : ", IPv6");
}

std::string drainText(const Json& data) {
  const Json& drained = data.at("drained");
  Json offices = Json::array();
  if (drained.at("bsr")) offices.push_back("no candidate BSR");
  if (drained.at("rp")) offices.push_back("no candidate RP");
  return offices.empty() ? "" : "Drained: this router is " + listText(offices) + "\n";
}

std::string titleText(const std::string& subject, const Json& data) {
  return subject + ", " + instanceText(data) + "\n\n";
}

std::string zoneText(const Json& zone) {
  const bool global = zone.at("scope") == "global";
  return "Zone " + valueText(zone.at("zone")) + (global ? " (global)\n" : " (admin-scoped)\n");
}

}  // namespace Routing::Ctl
