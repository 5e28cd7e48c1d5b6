#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <typeinfo>
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
/// It runs inside the setter that makes the change, before all reactors. A tree has one journal,
/// whose number each of its entities knows:
///
///   entity   journal 2, number 17
///                    v
///   all      [ . | x | x | . ... ]
///                      |
///   journal            runs of values, lines
///
/// A value that goes on with the latest run, as in a refresh of many RPs, costs no more than to see
/// that. Numbers are the program's: all journals begin and end in one thread.
class ROUTING_API AttributeJournal final : private EntityVisitor {
 public:
  /// Says of an entity below the root whether it is left out with all below it.
  using LeaveOut = std::function<bool(const Entity&)>;

  /// Journals at a time; beyond, the constructor raises std::length_error.
  static constexpr std::size_t most = 65'535;

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
  friend class Entity;

  enum class Pass : std::uint8_t { changes, structure, values };

  /// Neighbouring entities whose attribute got the same value.
  struct Run {
    std::string_view attribute;  // empty: not in use
    std::uint32_t first = 0;
    std::uint32_t last = 0;
    SmallValue value;
    // Of whom the last one was, to know the next one by; null while the whole tree is written.
    const std::type_info* type = nullptr;
    std::size_t attributeIndex = 0;

    bool goesOnWith(std::uint32_t number, const SmallValue& next) const {
      return last + 1 == number && value == next;
    }
  };

  static AttributeJournal& numbered(std::uint16_t number) { return *all[number]; }
  std::uint16_t newNumber();
  void leave() const;
  void write(const Entity& entity, std::size_t attribute, const void* key);
  void write(const Entity& entity, std::size_t attribute, const SmallValue& value);
  void writeAnew(const Entity& entity, std::size_t attribute, const SmallValue& value);
  void writeTree();
  void value(std::string_view attribute, const ValueView& value) override;
  void begin(std::string_view attribute, AttributeKind) override { attribute_ = attribute; }
  void member(const ValueView& key) override;
  void entry(const ValueView& key, const ValueView& value) override;
  void child(const ValueView* key, const Entity& child) override;
  void end() override {}
  void gone(const ValueView* key) override;

  Run& addToRun(std::string_view attribute, const SmallValue& value);
  void number(const Entity& entity);
  void show(const Entity& entity, Pass pass);
  void startLine(std::string_view sign, std::uint32_t number, std::string_view attribute);
  void startContentLine(std::string_view sign, const ValueView* key);
  void endLine();
  Run& runOf(std::string_view attribute);
  void writeRun(Run& run);
  void writeRuns();

  static std::array<AttributeJournal*, most + 1> all;  // null: not in use

  std::shared_ptr<const Entity> root_;
  const std::uint16_t journal_;  // the number of this one
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

inline void AttributeJournal::write(const Entity& entity, std::size_t attribute,
                                    const SmallValue& value) {
  Run& latest = runs_[lastRun_];
  if (latest.type == &typeid(entity) && latest.attributeIndex == attribute &&
      latest.goesOnWith(entity.journalNumber_, value)) {
    latest.last = entity.journalNumber_;
  } else {
    writeAnew(entity, attribute, value);
  }
}

}  // namespace Routing
