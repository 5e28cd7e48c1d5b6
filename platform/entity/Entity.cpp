#include "platform/entity/Entity.h"

#include "platform/entity/AttributeJournal.h"
#include "platform/entity/Attributes.h"
#include "platform/entity/FirstError.h"
#include "platform/entity/SchemaDetail.h"

namespace Routing {
namespace {

class JsonVisitor final : public EntityVisitor {
 public:
  explicit JsonVisitor(std::string& out) : out_(out) {}
  void value(std::string_view attribute, const ValueView& value) override {
    name(attribute);
    value.json(out_);
  }
  void begin(std::string_view attribute, AttributeKind kind) override {
    name(attribute);
    kind_ = kind;
    inner_ = false;
    if (kind == AttributeKind::set) out_ += '[';
    if (kind == AttributeKind::map || kind == AttributeKind::collection) out_ += '{';
  }
  void member(const ValueView& key) override {
    separate(inner_);
    key.json(out_);
  }
  void entry(const ValueView& key, const ValueView& value) override {
    keyed(key);
    value.json(out_);
  }
  void child(const ValueView* key, const Entity& child) override {
    if (key != nullptr) keyed(*key);
    out_ += treeJson(child);
    inner_ = true;
  }
  void end() override {
    if (kind_ == AttributeKind::set) out_ += ']';
    if (kind_ == AttributeKind::map || kind_ == AttributeKind::collection) out_ += '}';
    if (kind_ == AttributeKind::child && !inner_) out_ += "null";
  }

 private:
  void separate(bool& notFirst) {
    if (notFirst) out_ += ',';
    notFirst = true;
  }
  void name(std::string_view attribute) {
    separate(outer_);
    writeJsonString(out_, attribute);
    out_ += ':';
  }
  void keyed(const ValueView& key) {
    if (out_.back() != '{') out_ += ',';
    std::string text;
    key.json(text);
    if (text.starts_with('"')) {
      out_ += text;
    } else {
      writeJsonString(out_, text);
    }
    out_ += ':';
  }

  std::string& out_;
  AttributeKind kind_ = AttributeKind::value;
  bool outer_ = false;
  bool inner_ = false;
};

}  // namespace

namespace {
thread_local Entity::Watch* innermost = nullptr;
}

Entity::Watch::Watch(const Entity& entity)
    : entity_(&entity), outer_(std::exchange(innermost, this)), nested_(entity.watched_) {
  entity.watched_ = true;
}

Entity::Watch::~Watch() {
  innermost = outer_;
  if (entity_ != nullptr) entity_->watched_ = nested_;
}

Entity::~Entity() {
  for (Watch* watch = watched_ ? innermost : nullptr; watch != nullptr; watch = watch->outer_) {
    if (watch->entity_ == this) watch->entity_ = nullptr;
  }
}

std::string_view Entity::parentAttribute() const {
  return parent_ == nullptr ? std::string_view{} : parent_->attributeName(attributeInParent_);
}

void Entity::tell(std::size_t attribute, const void* key) {
  if (logged_) [[unlikely]]
    return tellAll(attribute, key);
  tellOwn(attribute, key);
}

void Entity::tellAll(std::size_t attribute, const void* key) {
  if (!inObservedTree()) return tellOwn(attribute, key);
  const Watch watch(*this);
  FirstError error;
  error.run([&] { tellTrees({{*this, attribute, key}, watch}); });
  if (watch.alive()) {
    error.run([&] { tellOwn(attribute, key); });
  }
  error.rethrow();
}

void Entity::tellTrees(const TreeNotice& notice) const {
  FirstError error;
  for (const Entity* at = this; at != nullptr && notice.watch.alive();) {
    if (!at->observers_.observed(treeList)) {
      at = at->parent_;
      continue;
    }
    const Watch watch(*at);
    error.run([&] { at->observers_.notify(treeList, &notice); });
    at = watch.alive() ? at->parent_ : nullptr;
  }
  error.rethrow();
}

// The mark outlives the tree reactors that it was made for: a walk up costs less than to mark the
// tree anew for one who comes and goes with each of its changes.
bool Entity::inObservedTree() const {
  const Entity* at = this;
  while (at != nullptr && !at->observers_.observed(treeList)) at = at->parent_;
  return at != nullptr;
}

bool Entity::within(const Entity& tree) const {
  const Entity* at = this;
  while (at != nullptr && at != &tree) at = at->parent_;
  return at != nullptr;
}

void Entity::adopt(Entity& child, std::size_t attribute, bool keyed) {
  child.keyed_ = keyed;
  child.parent_ = this;
  child.attributeInParent_ = static_cast<std::uint8_t>(attribute);
  if (logged_) child.logTree();
}

void Entity::logTree() const {
  struct Marker final : ChildVisitor {
    void child(const ValueView*, const Entity& child) override { child.logTree(); }
  };
  if (logged_) return;
  logged_ = true;
  Marker marker;
  visit(marker);
}

void Entity::writeToJournal(std::size_t attribute, const void* key) const {
  AttributeJournal::numbered(journal_).write(*this, attribute, key);
}

void Entity::writeToJournal(std::size_t attribute, SmallValue value) const {
  AttributeJournal::numbered(journal_).write(*this, attribute, value);
}

void Entity::leaveJournal() const {
  struct Leaver final : ChildVisitor {
    void child(const ValueView*, const Entity& child) override {
      if (child.journal_ != 0) child.leaveJournal();
    }
  };
  journal_ = 0;
  Leaver leaver;
  visit(leaver);
}

std::string treeJson(const Entity& root) {
  std::string out = "{";
  JsonVisitor visitor(out);
  root.visit(visitor);
  return out += '}';
}

void refuseNull(std::string_view attribute, std::string_view owner) {
  std::string text = "null _";
  text.append(attribute).append(" parameter to mutator for ").append(owner).append("::");
  text.append(attribute).append(" not allowed\"");
  throw RangeError(text);
}

namespace {

[[noreturn]] void refuse(std::string_view type, std::string_view value, std::string_view minText,
                         std::string_view maxText) {
  std::string text(type);
  text.append("::").append(value).append(" < ").append(minText).append(" or > ");
  text.append(maxText).append(" not allowed");
  throw RangeError(text);
}

}  // namespace

void detail::refuseValue(std::string_view typeName, std::uint64_t min, std::uint64_t max) {
  refuse(typeName, "value", std::to_string(min), std::to_string(max));
}

void detail::refuseOutOfBounds(const Entity& owner, std::string_view attribute,
                               std::string_view minText, std::string_view maxText) {
  std::string_view type = owner.typeName();
  type.remove_prefix(type.rfind(':') + 1);
  refuse(type, attribute, minText, maxText);
}

}  // namespace Routing
