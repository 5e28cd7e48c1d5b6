#pragma once

#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "config/file/ConfigTree.h"

namespace Routing::Agent {

/// Puts a YAML document into libyang's data, node by node along the schema. What does not fit is
/// left out and said, each with its line.
class ConfigTreeBuilder {
 public:
  using Origins = std::unordered_map<const lyd_node*, Origin>;

  ConfigTreeBuilder(const Schema& schema, Origins& origins, Findings& findings)
      : schema_(schema), origins_(origins), findings_(findings) {}

  /// The data, an instance of the schema's root, to be freed by the caller.
  lyd_node* build(const YamlNode& document);

 private:
  /// A place in the data under which something is to be put.
  struct Place {
    lyd_node* data;
    const lysc_node& schema;
    std::string path;  // empty at the root
    unsigned line;
  };
  using Given = std::map<std::string, unsigned>;

  void putMap(const Place& place, const YamlNode& map);
  void putNode(const Place& place, const lysc_node& schema, const YamlNode::Entry& entry);
  void putContainer(const Place& place, const lysc_node& schema, const YamlNode::Entry& entry);
  void putList(const Place& place, const lysc_node& schema, const YamlNode::Entry& entry);
  void putListEntry(const Place& place, const lysc_node& schema, const YamlNode& entry,
                    const std::string& index, Given& before);
  void putLeaf(const Place& place, const lysc_node& schema, const YamlNode& value);
  void putLeafList(const Place& place, const lysc_node& schema, const YamlNode::Entry& entry);
  lyd_node* newListEntry(const Place& place, const lysc_node& schema,
                         const std::vector<const YamlNode*>& keys, const std::string& path);
  lyd_node* newTerm(const Place& place, const lysc_node& schema, const YamlNode& value,
                    const std::string& path);
  std::vector<const YamlNode*> keyValues(const lysc_node& schema, const YamlNode& entry,
                                         const std::string& path);

  void requireMandatory(const Place& place, const YamlNode& map);
  bool isNewInMap(const Place& place, const YamlNode::Entry& entry, Given& before);
  std::string allowedNames(const lysc_node& parent) const;
  void say(unsigned line, const std::string& path, const std::string& text);

  const Schema& schema_;
  Origins& origins_;
  Findings& findings_;
};

}  // namespace Routing::Agent
