#include "platform/entity/AttributeLog.h"

#include <utility>
#include <vector>

namespace Routing {
namespace {

/// Path of an entity below a root: "/cbsr[224.0.0.0/4]", or nothing for the root itself.
std::string pathBelow(const Entity& root, const Entity& entity) {
  if (&entity == &root || entity.parent() == nullptr) return {};
  std::string path = pathBelow(root, *entity.parent());
  path += '/';
  path += entity.parentAttribute();
  if (entity.keyedInParent()) path.append("[").append(entity.keyText()).append("]");
  return path;
}

class LogVisitor final : public EntityVisitor {
 public:
  LogVisitor(std::string path, const AttributeLog::Sink& sink)
      : path_(std::move(path)), sink_(sink) {}

  void value(std::string_view attribute, const ValueView& value) override {
    std::string line = start("= ", attribute);
    line += ' ';
    value.notation(line);
    sink_(line);
  }
  void begin(std::string_view attribute, AttributeKind) override { attribute_ = attribute; }
  void end() override {}
  void member(const ValueView& key) override { sink_(keyed("+ ", &key)); }
  void entry(const ValueView& key, const ValueView& value) override {
    std::string line = keyed("= ", &key);
    line += ' ';
    value.notation(line);
    sink_(line);
  }
  void child(const ValueView* key, const Entity& child) override {
    std::string line = keyed("+ ", key);
    const std::string path = line.substr(2);
    if (key == nullptr) line.append(" ").append(child.keyText());
    sink_(line);
    LogVisitor below(path, sink_);
    child.visit(below);
  }
  void gone(const ValueView* key) override { sink_(keyed("- ", key)); }

 private:
  std::string start(std::string_view sign, std::string_view attribute) const {
    std::string line(sign);
    line.append(path_).append("/").append(attribute);
    return line;
  }
  std::string keyed(std::string_view sign, const ValueView* key) const {
    std::string line = start(sign, attribute_);
    if (key == nullptr) return line;
    line += '[';
    key->notation(line);
    line += ']';
    return line;
  }

  std::string path_;
  const AttributeLog::Sink& sink_;
  std::string_view attribute_;
};

}  // namespace

AttributeLog::AttributeLog(std::shared_ptr<const Entity> root, Sink sink)
    : root_(std::move(root)), sink_(std::move(sink)) {
  LogVisitor snapshot({}, sink_);
  root_->visit(snapshot);
  changes_ = root_->treeReactor([this](const TreeChange& change) {
    LogVisitor delta(pathBelow(*root_, change.entity), sink_);
    change.entity.visitChange(change.attribute, change.key, delta);
  });
}

bool AttributeMirror::apply(std::string_view line) {
  ValueReader in(line);
  Entity::Edit edit = Entity::Edit::assign;
  if (in.take("+ ")) {
    edit = Entity::Edit::insert;
  } else if (in.take("- ")) {
    edit = Entity::Edit::erase;
  } else if (!in.take("= ")) {
    return false;
  }
  Entity* at = root_.get();
  while (in.take("/")) {
    const auto name = in.rest().substr(0, in.rest().find_first_of("[/ "));
    in.take(name);
    // Try the last step first: whether a '/' follows is only known behind the key.
    ValueReader probe = in;
    Entity* below = nullptr;
    if (at->edit(Entity::Edit::find, name, probe, below) && probe.rest().starts_with('/')) {
      at = below;
      in = probe;
      continue;
    }
    try {
      return at->edit(edit, name, in, below);
    } catch (const RangeError&) {
      return false;
    }
  }
  return false;
}

std::string treeText(const Entity& root) {
  std::string out;
  const AttributeLog::Sink sink = [&out](std::string_view line) { out.append(line).append("\n"); };
  LogVisitor visitor({}, sink);
  root.visit(visitor);
  return out;
}

}  // namespace Routing
