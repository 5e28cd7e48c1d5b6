#pragma once

#include <yaml-cpp/yaml.h>

#include <cstdint>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/net/IpGenPrefix.h"

namespace Routing::Sim {

/// What is wrong with a scenario file, as "FILE:LINE: TEXT".
class ScenarioError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A value of a scenario file. All readers raise ScenarioError with its place.
class YamlValue {
 public:
  YamlValue(const YAML::Node& node, const std::string& file) : node_(node), file_(&file) {}

  [[noreturn]] void fail(const std::string& what) const;
  bool isList() const { return node_.IsSequence(); }
  bool isMap() const { return node_.IsMap(); }
  std::string text() const;
  /// A number within bounds, both included.
  double number(double low, double high) const;
  std::uint32_t whole(std::uint32_t low, std::uint32_t high) const;
  bool yes() const;
  /// A share of one: "2%" or 0.02.
  double share() const;
  IpGenAddr address() const;
  IpGenPrefix prefix() const;
  /// The list's values; a value that is no list stands for a list of one.
  std::vector<YamlValue> list() const;

  const YAML::Node& node() const { return node_; }
  const std::string& file() const { return *file_; }

 private:
  YAML::Node node_;
  const std::string* file_;
};

/// A mapping whose every key must be asked for: done() complains about any other.
class YamlMap {
 public:
  explicit YamlMap(const YamlValue& value);

  const YamlValue& value() const { return value_; }
  bool has(const std::string& key) const;
  std::optional<YamlValue> get(const std::string& key);
  YamlValue need(const std::string& key);
  void done() const;

 private:
  YamlValue value_;
  std::set<std::string> asked_;
};

}  // namespace Routing::Sim
