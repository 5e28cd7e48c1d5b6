#include "platform/entity/AttributeJournal.h"

#include <stdexcept>
#include <utility>

#include "platform/entity/Assertion.h"

namespace Routing {

constinit std::array<AttributeJournal*, AttributeJournal::most + 1> AttributeJournal::all{};

AttributeJournal::AttributeJournal(std::shared_ptr<const Entity> root, LeaveOut leaveOut)
    : root_(std::move(root)), journal_(newNumber()), leaveOut_(std::move(leaveOut)) {
  try {
    restart();
  } catch (...) {
    leave();
    throw;
  }
}

AttributeJournal::~AttributeJournal() {
  leave();
}

void AttributeJournal::leave() const {
  root_->leaveJournal();
  all[journal_] = nullptr;
}

// The next that is free, in turn; 0 is for entities without a journal.
std::uint16_t AttributeJournal::newNumber() {
  ROUTING_ASSERT_TEXT(root_->journal_ == 0, "a tree has one journal");
  static std::uint16_t latest = 0;
  for (std::size_t tries = 0; tries <= most; ++tries) {
    if (++latest == 0 || all[latest] != nullptr) continue;
    all[latest] = this;
    return latest;
  }
  throw std::length_error("there are too many journals");
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

void AttributeJournal::write(const Entity& entity, std::size_t attribute, const void* key) {
  at_ = &entity;
  entity.visitChange(attribute, key, *this);
}

void AttributeJournal::writeAnew(const Entity& entity, std::size_t attribute,
                                 const SmallValue& value) {
  at_ = &entity;
  Run& run = addToRun(entity.attributeName(attribute), value);
  run.type = &typeid(entity);
  run.attributeIndex = attribute;
}

void AttributeJournal::show(const Entity& entity, Pass pass) {
  at_ = &entity;
  pass_ = pass;
  entity.visit(*this);
  pass_ = Pass::changes;
}

void AttributeJournal::number(const Entity& entity) {
  entity.journal_ = journal_;
  entity.journalNumber_ = nextNumber_++;
}

// --- what is seen of a change, or of the whole tree -------------------------------------------

void AttributeJournal::value(std::string_view attribute, const ValueView& value) {
  if (pass_ == Pass::structure) return;
  if (value.small().hasValue()) {
    addToRun(attribute, value.small());
    return;
  }
  startLine("= ", at_->journalNumber_, attribute);
  lines_ += ' ';
  value.notation(lines_);
  endLine();
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

/// Adds the value to the attribute's run, or begins a new one.
AttributeJournal::Run& AttributeJournal::addToRun(std::string_view attribute,
                                                  const SmallValue& value) {
  const std::uint32_t number = at_->journalNumber_;
  Run& run = runOf(attribute);
  if (!run.attribute.empty() && run.goesOnWith(number, value)) {
    run.last = number;
    return run;
  }
  writeRun(run);
  run = {attribute, number, number, value};
  open_ = true;
  return run;
}

/// The attribute's run, else one that is free or has to make room.
AttributeJournal::Run& AttributeJournal::runOf(std::string_view attribute) {
  if (runs_[lastRun_].attribute == attribute) return runs_[lastRun_];
  std::size_t room = (lastRun_ + 1) % runs_.size();
  for (std::size_t i = runs_.size(); i > 0; --i) {
    if (runs_[i - 1].attribute == attribute) return runs_[lastRun_ = i - 1];
    if (runs_[i - 1].attribute.empty()) room = i - 1;
  }
  return runs_[lastRun_ = room];
}

void AttributeJournal::writeRun(Run& run) {
  if (run.attribute.empty()) return;
  lines_ += "= ";
  writeValue(lines_, run.first);
  if (run.last != run.first) {
    lines_ += '-';
    writeValue(lines_, run.last);
  }
  lines_.append("/").append(run.attribute).append(" ");
  run.value.notation(lines_);
  lines_ += '\n';
  edits_ += run.last - run.first + 1;
  run.attribute = {};
  run.type = nullptr;
}

void AttributeJournal::writeRuns() {
  for (Run& run : runs_) writeRun(run);
  open_ = false;
}

}  // namespace Routing
