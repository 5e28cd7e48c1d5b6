#include "sim/scenario/YamlReader.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iomanip>
#include <sstream>

namespace Routing::Sim {

void YamlValue::fail(const std::string& what) const {
  throw ScenarioError(*file_ + ":" + std::to_string(node_.Mark().line + 1) + ": " + what);
}

std::string YamlValue::text() const {
  if (!node_.IsScalar()) fail("a single value is expected here");
  const std::string& said = node_.Scalar();
  const auto control = [](unsigned char c) { return (c < ' ' && c != '\n') || c == 0x7f; };
  if (std::any_of(said.begin(), said.end(), control)) fail("control characters have no place here");
  return said;
}

double YamlValue::number(double low, double high) const {
  const std::string said = text();
  double value = 0;
  const auto [end, error] = std::from_chars(said.data(), said.data() + said.size(), value);
  if (error != std::errc{} || end != said.data() + said.size() || !std::isfinite(value)) {
    fail("\"" + said + "\" is not a number");
  }
  if (value < low || value > high) {
    std::ostringstream text;
    text << std::setprecision(15) << said << " is not from " << low << " to " << high;
    fail(text.str());
  }
  return value;
}

std::uint32_t YamlValue::whole(std::uint32_t low, std::uint32_t high) const {
  const double value = number(low, high);
  if (value != std::floor(value)) fail("\"" + text() + "\" is not a whole number");
  return static_cast<std::uint32_t>(value);
}

bool YamlValue::yes() const {
  const std::string said = text();
  if (said != "true" && said != "false") fail("\"" + said + "\" is neither true nor false");
  return said == "true";
}

double YamlValue::share() const {
  std::string said = text();
  if (said.empty() || said.back() != '%') return number(0, 1);
  said.pop_back();
  double value = 0;
  const auto [end, error] = std::from_chars(said.data(), said.data() + said.size(), value);
  if (error != std::errc{} || end != said.data() + said.size() || !(value >= 0 && value <= 100)) {
    fail("\"" + text() + "\" is not a share from 0% to 100%");
  }
  return value / 100;
}

IpGenAddr YamlValue::address() const {
  const auto value = IpGenAddr::fromText(text());
  if (!value || value->af() == AddressFamily::unset) fail("\"" + text() + "\" is not an address");
  return *value;
}

IpGenPrefix YamlValue::prefix() const {
  const auto value = IpGenPrefix::fromText(text());
  if (!value || value->isNone()) fail("\"" + text() + "\" is not a prefix");
  return *value;
}

std::vector<YamlValue> YamlValue::list() const {
  if (!node_.IsSequence()) return {*this};
  std::vector<YamlValue> values;
  for (const YAML::Node& entry : node_) values.emplace_back(entry, *file_);
  return values;
}

YamlMap::YamlMap(const YamlValue& value) : value_(value) {
  if (!value.isMap()) value.fail("keys with values are expected here");
  std::set<std::string> seen;
  for (const auto& entry : value.node()) {
    const YamlValue key(entry.first, value.file());
    if (!seen.insert(key.text()).second) key.fail("\"" + key.text() + "\" stands here twice");
  }
}

bool YamlMap::has(const std::string& key) const {
  return static_cast<bool>(value_.node()[key]);
}

std::optional<YamlValue> YamlMap::get(const std::string& key) {
  asked_.insert(key);
  const YAML::Node node = value_.node()[key];
  if (!node) return std::nullopt;
  return YamlValue(node, value_.file());
}

YamlValue YamlMap::need(const std::string& key) {
  const auto found = get(key);
  if (!found) value_.fail("\"" + key + "\" is missing");
  return *found;
}

void YamlMap::done() const {
  for (const auto& entry : value_.node()) {
    const YamlValue key(entry.first, value_.file());
    if (asked_.contains(key.text())) continue;
    std::string known;
    for (const std::string& name : asked_) known += (known.empty() ? "" : ", ") + name;
    key.fail("\"" + key.text() + "\" is not known here; known are " + known);
  }
}

}  // namespace Routing::Sim
