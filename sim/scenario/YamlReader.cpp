#include "sim/scenario/YamlReader.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iomanip>
#include <sstream>

namespace Routing::Sim {

using YamlKind = Agent::YamlNode::Kind;

YamlValue readYamlText(const std::string& text, const std::string& name) {
  Agent::Findings findings;
  Agent::YamlLimits limits;
  limits.manyLines = true;
  Agent::YamlNodePtr node = Agent::readYaml(text, findings, limits);
  if (!node) throw ScenarioError(Agent::fileText(name, findings.front()));
  return {std::move(node), name};
}

void YamlValue::fail(const std::string& what) const {
  throw ScenarioError(*file_ + ":" + std::to_string(node_->line) + ": " + what);
}

std::string YamlValue::text() const {
  if (node_->kind != YamlKind::scalar) fail("a single value is expected here");
  return node_->text;
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
  if (!isList()) return {*this};
  std::vector<YamlValue> values;
  for (const Agent::YamlNodePtr& item : node_->items) values.emplace_back(item, *file_);
  return values;
}

YamlMap::YamlMap(const YamlValue& value) : value_(value) {
  if (!value.isMap()) value.fail("keys with values are expected here");
  std::set<std::string> seen;
  for (const auto& [key, said] : entries()) {
    if (!seen.insert(key.text()).second) key.fail("\"" + key.text() + "\" stands here twice");
  }
}

std::vector<std::pair<YamlValue, YamlValue>> YamlMap::entries() const {
  std::vector<std::pair<YamlValue, YamlValue>> all;
  for (const Agent::YamlNode::Entry& entry : value_.node()->entries) {
    const Agent::YamlNode key{YamlKind::scalar, entry.line, entry.key, {}, {}};
    all.emplace_back(YamlValue(std::make_shared<Agent::YamlNode>(key), value_.file()),
                     YamlValue(entry.value, value_.file()));
  }
  return all;
}

bool YamlMap::has(const std::string& key) const {
  const auto& entries = value_.node()->entries;
  return std::any_of(entries.begin(), entries.end(),
                     [&](const auto& entry) { return entry.key == key; });
}

std::optional<YamlValue> YamlMap::get(const std::string& key) {
  asked_.insert(key);
  for (const auto& [name, value] : entries()) {
    if (name.text() == key) return value;
  }
  return std::nullopt;
}

YamlValue YamlMap::need(const std::string& key) {
  const auto found = get(key);
  if (!found) value_.fail("\"" + key + "\" is missing");
  return *found;
}

void YamlMap::done() const {
  for (const auto& [key, value] : entries()) {
    if (asked_.contains(key.text())) continue;
    std::string known;
    for (const std::string& name : asked_) known += (known.empty() ? "" : ", ") + name;
    key.fail("\"" + key.text() + "\" is not known here; known are " + known);
  }
}

}  // namespace Routing::Sim
