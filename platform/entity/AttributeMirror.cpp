#include "platform/entity/AttributeMirror.h"

#include <utility>

namespace Routing {
namespace {

/// The sign at the front of a line.
std::optional<Entity::Edit> readSign(ValueReader& in) {
  if (in.take("= ")) return Entity::Edit::assign;
  if (in.take("+ ")) return Entity::Edit::insert;
  if (in.take("- ")) return Entity::Edit::erase;
  return std::nullopt;
}

/// "4/" or "4-17/".
std::optional<std::pair<std::uint32_t, std::uint32_t>> readNumbers(ValueReader& in) {
  const auto text = in.rest().substr(0, in.rest().find('/'));
  const auto dash = text.find('-');
  const auto first = parseValue<std::uint32_t>(text.substr(0, dash));
  const auto last =
      dash == std::string_view::npos ? first : parseValue<std::uint32_t>(text.substr(dash + 1));
  if (!first || !last || *last < *first || !in.take(text) || !in.take("/")) return std::nullopt;
  return std::pair(*first, *last);
}

/// The name of an attribute: what stands before its key, value or child.
std::string_view readName(ValueReader& in) {
  const auto name = in.rest().substr(0, in.rest().find_first_of("[/ "));
  in.take(name);
  return name;
}

/// Shows the entities right below one.
template <class Show>
class EachChild final : public ChildVisitor {
 public:
  explicit EachChild(Show show) : show_(std::move(show)) {}
  void child(const ValueView*, const Entity& child) override { show_(child); }

 private:
  Show show_;
};

}  // namespace

AttributeMirror::AttributeMirror(std::shared_ptr<Entity> root) : root_(std::move(root)) {
  byNumber_.push_back(root_.get());
}

bool AttributeMirror::apply(std::string_view line) {
  ValueReader in(line);
  const auto edit = readSign(in);
  if (!edit) return false;
  return in.rest().starts_with('/') ? applyByPath(*edit, in) : applyByNumber(*edit, in);
}

bool AttributeMirror::applyByPath(Entity::Edit edit, ValueReader& in) {
  std::shared_ptr<Entity> at = root_;
  while (in.take("/")) {
    const auto name = readName(in);
    // Try the last step first: whether a '/' follows is only known behind the key.
    ValueReader probe = in;
    std::shared_ptr<Entity> below;
    if (at->edit(Entity::Edit::find, name, probe, below) && probe.rest().starts_with('/')) {
      at = std::move(below);
      in = probe;
      continue;
    }
    return this->edit(*at, edit, name, in, below);
  }
  return false;
}

bool AttributeMirror::applyByNumber(Entity::Edit edit, ValueReader& in) {
  const auto numbers = readNumbers(in);
  if (!numbers) return false;
  const auto attribute = readName(in);
  if (edit == Entity::Edit::assign) return assign(*numbers, attribute, in);
  Entity* const owner = numbered(numbers->first);
  if (owner == nullptr || numbers->first != numbers->second) return false;
  return edit == Entity::Edit::insert ? insert(*owner, attribute, in)
                                      : erase(*owner, attribute, in);
}

bool AttributeMirror::assign(const Numbers& numbers, std::string_view attribute,
                             const ValueReader& in) {
  for (std::uint64_t number = numbers.first; number <= numbers.second; ++number) {
    Entity* const entity = numbered(static_cast<std::uint32_t>(number));
    ValueReader value = in;
    std::shared_ptr<Entity> child;
    if (entity == nullptr || !edit(*entity, Entity::Edit::assign, attribute, value, child)) {
      return false;
    }
  }
  return true;
}

// What is there already has a number, or none that a journal knows of.
bool AttributeMirror::insert(Entity& owner, std::string_view attribute, ValueReader& in) {
  ValueReader probe = in;
  std::shared_ptr<Entity> child;
  if (owner.edit(Entity::Edit::find, attribute, probe, child)) return false;
  probe = in;
  if (!edit(owner, Entity::Edit::insert, attribute, in, child)) return false;
  owner.edit(Entity::Edit::find, attribute, probe, child);
  if (child == nullptr) return true;  // a member of a set
  numberOf_[child.get()] = static_cast<std::uint32_t>(byNumber_.size());
  byNumber_.push_back(child.get());
  return true;
}

bool AttributeMirror::erase(Entity& owner, std::string_view attribute, ValueReader& in) {
  ValueReader probe = in;
  std::shared_ptr<Entity> child;
  const bool found = owner.edit(Entity::Edit::find, attribute, probe, child);
  if (found && probe.atEnd()) forget(*child);
  return edit(owner, Entity::Edit::erase, attribute, in, child);
}

bool AttributeMirror::edit(Entity& entity, Entity::Edit edit, std::string_view attribute,
                           ValueReader& in, std::shared_ptr<Entity>& child) try {
  ++edits_;
  return entity.edit(edit, attribute, in, child);
} catch (const RangeError&) {
  return false;
}

Entity* AttributeMirror::numbered(std::uint32_t number) const {
  return number < byNumber_.size() ? byNumber_[number] : nullptr;
}

// No number may lead to an entity that is gone.
void AttributeMirror::forget(const Entity& entity) {
  EachChild below([this](const Entity& child) { forget(child); });
  entity.visit(below);
  const auto known = numberOf_.find(&entity);
  if (known == numberOf_.end()) return;
  byNumber_[known->second] = nullptr;
  numberOf_.erase(known);
}

}  // namespace Routing
