#include "platform/entity/AttributeJournal.h"

#include <utility>

#include "platform/entity/Assertion.h"

namespace Routing {

AttributeJournal::AttributeJournal(std::shared_ptr<const Entity> root, LeaveOut leaveOut)
    : root_(std::move(root)), leaveOut_(std::move(leaveOut)) {
  ROUTING_ASSERT_TEXT(!root_->journaled_, "a tree has one journal");
  subscription_ = root_->observers_.subscribe<TreeChange>(
      Entity::journalList, [this](const TreeChange& change) { write(change); });
  restart();
}

AttributeJournal::~AttributeJournal() {
  root_->leaveJournal();
}

void AttributeJournal::restart() {
  clear();
  runs_.fill({});
  edits_ = 0;
  nextNumber_ = 0;
  number(*root_);
  writeTree();
  writeRuns();
}

// Numbers go level by level, and come before all values: so entities of one kind are neighbours,
// and what they have in common makes long runs.
void AttributeJournal::writeTree() {
  tree_ = {root_.get()};
  for (std::size_t i = 0; i < tree_.size(); ++i) show(*tree_[i], Pass::structure);
  for (const Entity* entity : tree_) show(*entity, Pass::values);
  tree_.clear();
}

std::string_view AttributeJournal::lines() {
  if (open_) writeRuns();
  return lines_;
}

void AttributeJournal::write(const TreeChange& change) {
  at_ = &change.entity;
  at_->visitChange(change.attribute, change.key, *this);
}

void AttributeJournal::show(const Entity& entity, Pass pass) {
  at_ = &entity;
  pass_ = pass;
  entity.visit(*this);
  pass_ = Pass::changes;
}

void AttributeJournal::number(const Entity& entity) {
  entity.journaled_ = true;
  entity.journalNumber_ = nextNumber_++;
}

// --- what is seen of a change, or of the whole tree -------------------------------------------

void AttributeJournal::value(std::string_view attribute, const ValueView& value) {
  if (pass_ == Pass::structure) return;
  const std::uint32_t number = at_->journalNumber_;
  const SmallValue& small = value.small();
  if (!small.hasValue()) {
    startLine("= ", number, attribute);
    lines_ += ' ';
    value.notation(lines_);
    return endLine();
  }
  Run& run = runOf(attribute);
  if (run.last + 1 == number && run.value == small && run.attribute != nullptr) {
    run.last = number;
    return;
  }
  writeRun(run);
  run = {attribute.data(), attribute.size(), number, number, small};
  open_ = true;
}

void AttributeJournal::member(const ValueView& key) {
  if (pass_ == Pass::values) return;
  startContentLine("+ ", &key);
  endLine();
}

void AttributeJournal::entry(const ValueView& key, const ValueView& value) {
  if (pass_ == Pass::values) return;
  startContentLine("= ", &key);
  lines_ += ' ';
  value.notation(lines_);
  endLine();
}

void AttributeJournal::child(const ValueView* key, const Entity& child) {
  if (pass_ == Pass::values || (leaveOut_ && leaveOut_(child))) return;
  startContentLine("+ ", key);
  if (key == nullptr) lines_.append(" ").append(child.keyText());
  endLine();
  number(child);
  if (pass_ == Pass::structure) tree_.push_back(&child);  // else it is as it was made
}

void AttributeJournal::gone(const ValueView* key) {
  startContentLine("- ", key);
  endLine();
}

// --- lines ------------------------------------------------------------------------------------

void AttributeJournal::startLine(std::string_view sign, std::uint32_t number,
                                 std::string_view attribute) {
  lines_ += sign;
  writeValue(lines_, number);
  lines_ += '/';
  lines_ += attribute;
}

// What the runs hold was said of entities that may be gone after this line.
void AttributeJournal::startContentLine(std::string_view sign, const ValueView* key) {
  writeRuns();
  startLine(sign, at_->journalNumber_, attribute_);
  if (key == nullptr) return;
  lines_ += '[';
  key->notation(lines_);
  lines_ += ']';
}

void AttributeJournal::endLine() {
  lines_ += '\n';
  ++edits_;
}

// --- runs -------------------------------------------------------------------------------------

/// The attribute's run, else one that is free or has to make room. Names are literals: where they
/// lie tells them apart.
AttributeJournal::Run& AttributeJournal::runOf(std::string_view attribute) {
  if (runs_[lastRun_].attribute == attribute.data()) return runs_[lastRun_];
  std::size_t room = (lastRun_ + 1) % runs_.size();
  for (std::size_t i = runs_.size(); i > 0; --i) {
    if (runs_[i - 1].attribute == attribute.data()) return runs_[lastRun_ = i - 1];
    if (runs_[i - 1].attribute == nullptr) room = i - 1;
  }
  return runs_[lastRun_ = room];
}

void AttributeJournal::writeRun(Run& run) {
  if (run.attribute == nullptr) return;
  lines_ += "= ";
  writeValue(lines_, run.first);
  if (run.last != run.first) {
    lines_ += '-';
    writeValue(lines_, run.last);
  }
  lines_.append("/").append(run.attribute, run.attributeSize).append(" ");
  run.value.notation(lines_);
  lines_ += '\n';
  edits_ += run.last - run.first + 1;
  run.attribute = nullptr;
}

void AttributeJournal::writeRuns() {
  for (Run& run : runs_) writeRun(run);
  open_ = false;
}

}  // namespace Routing
