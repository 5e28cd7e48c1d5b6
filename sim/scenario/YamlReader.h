#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "config/file/YamlTree.h"
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
  /// The file's name must outlive the value.
  YamlValue(Agent::YamlNodePtr node, const std::string& file)
      : node_(std::move(node)), file_(&file) {}

  [[noreturn]] void fail(const std::string& what) const;
  bool isList() const { return node_->kind == Agent::YamlNode::Kind::sequence; }
  bool isMap() const { return node_->kind == Agent::YamlNode::Kind::map; }
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

  const Agent::YamlNodePtr& node() const { return node_; }
  const std::string& file() const { return *file_; }

 private:
  Agent::YamlNodePtr node_;
  const std::string* file_;
};

/// Reads a file's text; `name` stands for the file in errors, and must outlive the value.
YamlValue readYamlText(const std::string& text, const std::string& name);

/// A mapping whose every key must be asked for: done() complains about any other.
class YamlMap {
 public:
  explicit YamlMap(const YamlValue& value);

  const YamlValue& value() const { return value_; }
  bool has(const std::string& key) const;
  std::optional<YamlValue> get(const std::string& key);
  YamlValue need(const std::string& key);
  /// All keys with their values, asked for or not.
  std::vector<std::pair<YamlValue, YamlValue>> entries() const;
  void done() const;

 private:
  YamlValue value_;
  std::set<std::string> asked_;
};

}  // namespace Routing::Sim
