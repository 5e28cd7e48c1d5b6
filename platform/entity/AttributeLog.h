#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/entity/Entity.h"

namespace Routing {

/// Writes every attribute change of a tree as one line of text, in the order in which the changes
/// happen; a tree made from the log of another is equal to it. The lines:
///   = /path/attribute VALUE       an attribute has this value
///   = /path/attribute[KEY] VALUE  a map has this entry
///   + /path/attribute[KEY]        a set has this member, a collection this entry
///   + /path/attribute ARGUMENT    the single child exists
///   - /path/attribute[KEY]        the member, entry or child is gone
/// Attributes still at their default are part of the snapshot, so that it can be laid over a tree
/// that exists already.
class ROUTING_API AttributeLog {
 public:
  /// Gets each line, without newline. Runs inside the setter that made the change; it may change
  /// the tree, of which it is told afterwards, and end the log, and is then told nothing more.
  using Sink = std::function<void(std::string_view line)>;

  /// Writes the whole tree to the sink at once, then every change until destruction. Holds the
  /// root.
  AttributeLog(std::shared_ptr<const Entity> root, Sink sink);
  AttributeLog(const AttributeLog&) = delete;
  AttributeLog& operator=(const AttributeLog&) = delete;
  ~AttributeLog();

 private:
  class Writer;

  const std::shared_ptr<Writer> writer_;
  Subscription changes_;
};

}  // namespace Routing
