#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/Export.h"
#include "platform/entity/Entity.h"

namespace Routing {

/// The far side of an attribute log or of an attribute journal: applies its lines to a tree of the
/// same type. The tree of a journal is empty at first, and nobody else changes it meanwhile.
class ROUTING_API AttributeMirror {
 public:
  explicit AttributeMirror(std::shared_ptr<Entity> root);
  /// Applies one line. False if the line is malformed, names something that the schema or the tree
  /// does not have, or holds a value out of bounds; nothing has changed then, but for the entities
  /// before the one that refuses its part of a line for several.
  bool apply(std::string_view line);
  /// How many edits the lines have made.
  std::uint64_t edits() const { return edits_; }

 private:
  using Numbers = std::pair<std::uint32_t, std::uint32_t>;  // first and last

  bool applyByPath(Entity::Edit edit, ValueReader& in);
  bool applyByNumber(Entity::Edit edit, ValueReader& in);
  bool assign(const Numbers& numbers, std::string_view attribute, const ValueReader& in);
  bool insert(Entity& owner, std::string_view attribute, ValueReader& in);
  bool erase(Entity& owner, std::string_view attribute, ValueReader& in);
  bool edit(Entity& entity, Entity::Edit edit, std::string_view attribute, ValueReader& in,
            std::shared_ptr<Entity>& child);
  Entity* numbered(std::uint32_t number) const;
  void forget(const Entity& entity);

  std::shared_ptr<Entity> root_;
  std::vector<Entity*> byNumber_;  // null: gone
  std::unordered_map<const Entity*, std::uint32_t> numberOf_;
  std::uint64_t edits_ = 0;
};

}  // namespace Routing
