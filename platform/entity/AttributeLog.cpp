#include "platform/entity/AttributeLog.h"

#include <utility>

#include "platform/entity/FirstError.h"

namespace Routing {
namespace {

/// Appends the path of an entity below a root: "/cbsr[224.0.0.0/4]", or nothing for the root
/// itself.
void appendPath(std::string& out, const Entity& root, const Entity& entity) {
  if (&entity == &root || entity.parent() == nullptr) return;
  appendPath(out, root, *entity.parent());
  out.append("/").append(entity.parentAttribute());
  if (entity.keyedInParent()) out.append("[").append(entity.keyText()).append("]");
}

/// Appends a line for each thing that it is shown of an entity and of all below it.
class LogVisitor final : public EntityVisitor {
 public:
  LogVisitor(std::string path, std::string& out) : path_(std::move(path)), out_(out) {}

  void value(std::string_view attribute, const ValueView& value) override {
    attribute_ = attribute;
    line("= ", nullptr, &value);
  }
  void begin(std::string_view attribute, AttributeKind) override { attribute_ = attribute; }
  void end() override {}
  void member(const ValueView& key) override { line("+ ", &key, nullptr); }
  void entry(const ValueView& key, const ValueView& value) override { line("= ", &key, &value); }
  void child(const ValueView* key, const Entity& child) override {
    out_ += "+ ";
    const std::size_t path = out_.size();
    name(key);
    LogVisitor below(out_.substr(path), out_);
    if (key == nullptr) out_.append(" ").append(child.keyText());
    out_ += '\n';
    child.visit(below);
  }
  void gone(const ValueView* key) override { line("- ", key, nullptr); }

 private:
  void name(const ValueView* key) {
    out_.append(path_).append("/").append(attribute_);
    if (key == nullptr) return;
    out_ += '[';
    key->notation(out_);
    out_ += ']';
  }
  void line(std::string_view sign, const ValueView* key, const ValueView* value) {
    out_ += sign;
    name(key);
    if (value != nullptr) {
      out_ += ' ';
      value->notation(out_);
    }
    out_ += '\n';
  }

  const std::string path_;
  std::string& out_;
  std::string_view attribute_;
};

}  // namespace

/// What a log shares with its subscription, so that a sink may end the log. The lines of a change
/// are complete before the sink gets the first: it may change the tree again.
class AttributeLog::Writer {
 public:
  Writer(std::shared_ptr<const Entity> root, Sink sink)
      : root_(std::move(root)), sink_(std::move(sink)) {}

  const Entity& root() const { return *root_; }
  void close() { open_ = false; }
  void writeTree() {
    LogVisitor visitor({}, pending_);
    root_->visit(visitor);
    deliver();
    lines_.shrink_to_fit();
  }
  void write(const TreeChange& change) {
    std::string path;
    appendPath(path, *root_, change.entity);
    LogVisitor visitor(std::move(path), pending_);
    change.entity.visitChange(change.attribute, change.key, visitor);
    deliver();
  }

 private:
  void deliver() {
    if (std::exchange(delivering_, true)) return;
    FirstError error;
    while (open_ && !pending_.empty()) {
      lines_.clear();
      lines_.swap(pending_);
      for (std::string_view rest = lines_; open_ && !rest.empty();) {
        const std::size_t length = rest.find('\n');
        error.run([&] { sink_(rest.substr(0, length)); });
        rest.remove_prefix(length + 1);
      }
    }
    lines_.clear();
    delivering_ = false;
    error.rethrow();
  }

  const std::shared_ptr<const Entity> root_;
  const Sink sink_;
  std::string lines_;    // being delivered, each with its newline
  std::string pending_;  // to be delivered behind them
  bool delivering_ = false;
  bool open_ = true;
};

AttributeLog::AttributeLog(std::shared_ptr<const Entity> root, Sink sink)
    : writer_(std::make_shared<Writer>(std::move(root), std::move(sink))) {
  changes_ = writer_->root().treeReactor(
      [writer = writer_](const TreeChange& change) { writer->write(change); });
  writer_->writeTree();
}

AttributeLog::~AttributeLog() {
  writer_->close();
}

std::string treeText(const Entity& root) {
  std::string out;
  LogVisitor visitor({}, out);
  root.visit(visitor);
  return out;
}

}  // namespace Routing
