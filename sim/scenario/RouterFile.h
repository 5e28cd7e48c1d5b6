#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "config/file/YamlTree.h"
#include "config/model/DaemonConfig.h"
#include "sim/scenario/YamlReader.h"

namespace Routing::Sim {

/// Pieces of a configuration file in the vocabulary of pimbsr.yang, by family and key: what an
/// address family holds ("interface"), its "bsr" ("hold-time", "bsr-candidate", ...), or the top of
/// the file ("access-list"; "limits" and the like in the unset family).
using ConfigPieces = std::map<std::pair<AddressFamily, std::string>, Agent::YamlNodePtr>;

/// What a mapping says of each of the families, but for the keys "router" and "address-family".
/// Short forms become what they stand for:
///   - a candidate without "interface" is that on "lo";
///   - an interface of a candidate without "zone", "range" and "access-list" is meant for all
///     groups, and "priority" and the like, where they stand beside its name, for that zone or
///     range;
///   - an interface of a candidate that is called NAME1..9 stands for nine of them;
///   - an access list without family is one of each.
/// A key without value gives null.
ConfigPieces configPieces(const YamlMap& map, const std::vector<AddressFamily>& families);

/// NAME1, NAME2, ... for NAME1..9; any other name stands for itself. Raises ScenarioError for more
/// than 10,000 of them.
std::vector<std::string> namesIn(const YamlValue& name);

/// A router's configuration file, put together from pieces.
class RouterFile {
 public:
  /// What it says of these families is meant for one VRF, the default one; `name` is the file of
  /// the scenario that the pieces come from.
  RouterFile(const std::vector<AddressFamily>& families, const std::string& name)
      : families_(families), name_(name) {}

  /// Each piece takes the place of what was said under its key; null takes that away.
  void take(const ConfigPieces& pieces);
  /// What the file says, read and judged as a daemon's file is. Raises ScenarioError for what is
  /// wrong.
  Agent::DaemonConfig config() const;

  friend auto operator<=>(const RouterFile&, const RouterFile&) = default;

 private:
  Agent::YamlNodePtr family(AddressFamily af) const;
  Agent::YamlNodePtr document() const;

  std::vector<AddressFamily> families_;
  std::string name_;
  ConfigPieces said_;
};

}  // namespace Routing::Sim
