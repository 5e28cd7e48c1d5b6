#pragma once

#include <libyang/libyang.h>

#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "config/file/Schema.h"
#include "config/file/YamlTree.h"
#include "config/model/Finding.h"

namespace Routing::Agent {

/// Where a piece of configuration stands in the file.
struct Origin {
  unsigned line = 0;
  std::string path;
  std::string text;  ///< of a leaf, as written
};

/// A configuration as libyang's data, with the defaults of the schema filled in. It belongs to the
/// schema's context, so the schema must outlive it.
class ConfigTree {
 public:
  /// Checks a document against the schema and says everything that is wrong with it. The tree is
  /// complete only if there are no findings.
  ConfigTree(const Schema& schema, const YamlNode& document, Findings& findings);

  /// The first node at the top of the file; the others are its siblings.
  const lyd_node* top() const { return lyd_child(top_.get()); }
  /// Empty for what is there by default only.
  const Origin& origin(const lyd_node* node) const;
  /// The line of every path that the document gives.
  std::map<std::string, unsigned> lines() const;

 private:
  struct Free {
    void operator()(lyd_node* node) const { lyd_free_all(node); }
  };

  void validate(const Schema& schema, Findings& findings);
  /// What the schema demands of a node, and of all below it, beyond the type ("must").
  void sayBroken(const lyd_node& node, Findings& findings) const;

  std::unique_ptr<lyd_node, Free> top_;
  std::unordered_map<const lyd_node*, Origin> origins_;
};

}  // namespace Routing::Agent
