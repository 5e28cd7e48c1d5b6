#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "config/model/Finding.h"

namespace Routing::Agent {

struct YamlNode;
using YamlNodePtr = std::shared_ptr<const YamlNode>;

/// A YAML document as it stands in the file: scalars are text, and nothing is known of types. An
/// alias is the node that it stands for, with the line of the anchor.
struct YamlNode {
  enum class Kind : std::uint8_t { null, scalar, sequence, map };
  struct Entry {
    std::string key;
    unsigned line;
    YamlNodePtr value;
  };

  Kind kind = Kind::null;
  unsigned line = 1;
  std::string text;                ///< of a scalar, without control characters (see YamlLimits)
  std::vector<YamlNodePtr> items;  ///< of a sequence
  std::vector<Entry> entries;      ///< of a map in the order of the file; keys may repeat
};

/// Bounds on what is read, so that no file takes long or takes much memory.
struct YamlLimits {
  std::size_t bytes = 1 << 20;
  std::size_t depth = 32;
  std::size_t nodes = 100000;  ///< an alias counts as all that it stands for
  bool manyLines = false;      ///< whether a scalar may have several lines
};

/// Reads one document. Gives null and one finding if the text is not YAML, meets a bound, or uses
/// what a configuration has no use for: tags, several documents, keys that are not plain text,
/// control characters. No text at all is a document that is null.
YamlNodePtr readYaml(std::string_view text, Findings& findings, const YamlLimits& limits = {});

}  // namespace Routing::Agent
