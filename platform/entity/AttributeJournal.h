#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Export.h"
#include "platform/entity/Entity.h"

namespace Routing {

/// The attribute log of a tree in short form, gathered until it is taken: for a file that is to
/// cost little. An AttributeMirror reads it. Entities bear numbers in place of paths, 0 for the
/// root and the next one for every entity that comes; and what several entities one after another
/// have in common is one line:
///   = 4/attribute VALUE       an attribute of entity 4 has this value
///   = 4-17/attribute VALUE    the same in each of these
///   = 4/attribute[KEY] VALUE  a map has this entry
///   + 4/attribute[KEY]        a set has this member; or a collection this entry: the next number
///   + 4/attribute ARGUMENT    the single child exists: the next number
///   - 4/attribute[KEY]        the member, entry or child is gone
/// Different attributes may change places between two lines of comings and goings.
///
/// It runs inside the setter that makes the change, before all reactors. A tree has one journal.
class ROUTING_API AttributeJournal final : private EntityVisitor {
 public:
  /// Says of an entity below the root whether it is left out with all below it.
  using LeaveOut = std::function<bool(const Entity&)>;

  /// Begins with the whole tree. Holds the root.
  explicit AttributeJournal(std::shared_ptr<const Entity> root, LeaveOut leaveOut = nullptr);
  AttributeJournal(const AttributeJournal&) = delete;
  AttributeJournal& operator=(const AttributeJournal&) = delete;
  ~AttributeJournal() override;

  bool empty() const { return lines_.empty() && !open_; }
  /// The lines since the last clear(), each with its newline. Valid until the next change.
  std::string_view lines();
  void clear() { lines_.clear(); }
  /// Begins anew with the whole tree, and with new numbers.
  void restart();
  /// How many edits a reader of all lines since the last restart() makes.
  std::uint64_t edits() const { return edits_; }

 private:
  enum class Pass : std::uint8_t { changes, structure, values };

  /// Neighbouring entities whose attribute got the same value.
  struct Run {
    const char* attribute = nullptr;  // null: not in use
    std::size_t attributeSize = 0;
    std::uint32_t first = 0;
    std::uint32_t last = 0;
    SmallValue value;
  };

  void write(const TreeChange& change);
  void writeTree();
  void value(std::string_view attribute, const ValueView& value) override;
  void begin(std::string_view attribute, AttributeKind) override { attribute_ = attribute; }
  void member(const ValueView& key) override;
  void entry(const ValueView& key, const ValueView& value) override;
  void child(const ValueView* key, const Entity& child) override;
  void end() override {}
  void gone(const ValueView* key) override;

  void number(const Entity& entity);
  void show(const Entity& entity, Pass pass);
  void startLine(std::string_view sign, std::uint32_t number, std::string_view attribute);
  void startContentLine(std::string_view sign, const ValueView* key);
  void endLine();
  Run& runOf(std::string_view attribute);
  void writeRun(Run& run);
  void writeRuns();

  std::shared_ptr<const Entity> root_;
  Subscription subscription_;
  LeaveOut leaveOut_;
  std::string lines_;
  std::uint64_t edits_ = 0;
  std::uint32_t nextNumber_ = 0;
  Pass pass_ = Pass::changes;
  const Entity* at_ = nullptr;
  std::vector<const Entity*> tree_;  // by number, while the whole tree is written
  std::string_view attribute_;
  std::array<Run, 8> runs_;
  std::size_t lastRun_ = 0;
  bool open_ = false;  // some run is in use
};

}  // namespace Routing
