#include "sim/scenario/RouterFile.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <set>

#include "config/file/ConfigFile.h"
#include "config/file/Schema.h"

namespace Routing::Sim {
namespace {

using Agent::YamlNode;
using Agent::YamlNodePtr;
using NodeKind = YamlNode::Kind;

constexpr unsigned mostOfAName = 10'000;
const std::string accessLists = "access-list";

// --- YAML that nobody has written --------------------------------------------------------------

YamlNodePtr scalar(unsigned line, const std::string& text) {
  return std::make_shared<YamlNode>(YamlNode{NodeKind::scalar, line, text, {}, {}});
}

YamlNodePtr listOf(unsigned line, std::vector<YamlNodePtr> items) {
  return std::make_shared<YamlNode>(YamlNode{NodeKind::sequence, line, "", std::move(items), {}});
}

YamlNodePtr mapOf(unsigned line, std::vector<YamlNode::Entry> entries) {
  return std::make_shared<YamlNode>(YamlNode{NodeKind::map, line, "", {}, std::move(entries)});
}

const YamlNode::Entry* entryOf(const YamlNode& map, std::string_view key) {
  const auto found = std::find_if(map.entries.begin(), map.entries.end(),
                                  [&](const auto& entry) { return entry.key == key; });
  return found == map.entries.end() ? nullptr : &*found;
}

// --- short forms -------------------------------------------------------------------------------

/// How candidates of a kind say for which groups they stand.
struct CandidateKind {
  std::string key;
  std::string groups;              // the list of an interface's zones or ranges
  std::set<std::string> settings;  // of a zone or range
};

const CandidateKind candidateKinds[] = {
    {"bsr-candidate", "zone", {"priority", "hash-mask-length", "interval"}},
    {"rp-candidate", "range", {"priority"}}};

/// An interface for all groups, unless it says for which.
YamlNodePtr withGroups(const YamlNodePtr& intf, const CandidateKind& kind, AddressFamily af) {
  if (intf->kind != NodeKind::map || entryOf(*intf, kind.groups) || entryOf(*intf, accessLists)) {
    return intf;
  }
  const std::string all = IpGenPrefix::multicast(af).text();
  std::vector<YamlNode::Entry> ofAll{{"group", intf->line, scalar(intf->line, all)}};
  std::vector<YamlNode::Entry> others;
  for (const YamlNode::Entry& entry : intf->entries) {
    (kind.settings.contains(entry.key) ? ofAll : others).push_back(entry);
  }
  others.push_back({kind.groups, intf->line, listOf(intf->line, {mapOf(intf->line, ofAll)})});
  return mapOf(intf->line, others);
}

/// One interface for each of its names.
std::vector<YamlNodePtr> eachOf(const YamlNodePtr& intf, const std::string& file) {
  const YamlNode::Entry* name = intf->kind == NodeKind::map ? entryOf(*intf, "name") : nullptr;
  if (name == nullptr || name->value->kind != NodeKind::scalar) return {intf};
  std::vector<YamlNodePtr> all;
  for (const std::string& one : namesIn({name->value, file})) {
    YamlNode named = *intf;
    for (YamlNode::Entry& entry : named.entries) {
      if (entry.key == "name") entry.value = scalar(name->value->line, one);
    }
    all.push_back(std::make_shared<YamlNode>(std::move(named)));
  }
  return all;
}

YamlNodePtr candidatesIn(const YamlValue& value, const CandidateKind& kind, AddressFamily af) {
  YamlNodePtr said = value.node();
  const unsigned line = said->line;
  if (said->kind != NodeKind::map) return said;
  const YamlNode::Entry* interfaces = entryOf(*said, "interface");
  std::vector<YamlNodePtr> all;
  if (interfaces == nullptr) {
    std::vector<YamlNode::Entry> entries = said->entries;
    entries.insert(entries.begin(), {"name", line, scalar(line, "lo")});
    all.push_back(withGroups(mapOf(line, entries), kind, af));
    return mapOf(line, {{"interface", line, listOf(line, all)}});
  }
  if (interfaces->value->kind != NodeKind::sequence) return said;
  for (const YamlNodePtr& intf : interfaces->value->items) {
    for (const YamlNodePtr& one : eachOf(intf, value.file())) {
      all.push_back(withGroups(one, kind, af));
    }
  }
  YamlNode candidates = *said;
  for (YamlNode::Entry& entry : candidates.entries) {
    if (entry.key == "interface") entry.value = listOf(entry.line, all);
  }
  return std::make_shared<YamlNode>(std::move(candidates));
}

YamlNodePtr accessListsIn(const YamlValue& value, AddressFamily af) {
  if (!value.isList()) value.fail("a list is expected here, an item for each access list");
  std::vector<YamlNodePtr> lists;
  for (const YamlNodePtr& list : value.node()->items) {
    YamlNode whole = *list;
    if (whole.kind == NodeKind::map && !entryOf(whole, "address-family")) {
      const std::string family(enumName(af));
      whole.entries.push_back({"address-family", list->line, scalar(list->line, family)});
    }
    lists.push_back(std::make_shared<YamlNode>(std::move(whole)));
  }
  return listOf(value.node()->line, lists);
}

YamlNodePtr piece(const std::string& key, const YamlValue& value, AddressFamily af) {
  if (value.node()->kind == NodeKind::null) return nullptr;
  for (const CandidateKind& kind : candidateKinds) {
    if (key == kind.key) return candidatesIn(value, kind, af);
  }
  return key == accessLists ? accessListsIn(value, af) : value.node();
}

/// Of the daemon as a whole, not of a family. Lists of access stand there too, but each is of one.
bool isOfTheTop(const std::string& key) {
  static const Agent::Schema schema;
  return key != accessLists && schema.child(schema.root(), key) != nullptr;
}

}  // namespace

ConfigPieces configPieces(const YamlMap& map, const std::vector<AddressFamily>& families) {
  ConfigPieces pieces;
  for (const auto& [name, value] : map.entries()) {
    const std::string key = name.text();
    if (key == "router" || key == "address-family") continue;
    for (const AddressFamily af : families) {
      const AddressFamily of = isOfTheTop(key) ? AddressFamily::unset : af;
      pieces[{of, key}] = piece(key, value, af);
    }
  }
  return pieces;
}

std::vector<std::string> namesIn(const YamlValue& name) {
  const std::string text = name.text();
  const auto dots = text.find("..");
  const auto digits = text.find_last_not_of("0123456789", dots == 0 ? 0 : dots - 1) + 1;
  if (dots == std::string::npos || digits >= dots) return {text};
  const auto number = [&](std::size_t from, std::size_t to) {
    unsigned value = 0;
    const auto [end, error] = std::from_chars(text.data() + from, text.data() + to, value);
    return error == std::errc{} && end == text.data() + to ? std::optional(value) : std::nullopt;
  };
  const auto first = number(digits, dots);
  const auto last = number(dots + 2, text.size());
  if (!first || !last || *last < *first || *last - *first >= mostOfAName) {
    name.fail("\"" + text + "\" names no row of interfaces as in \"rp1..9\"");
  }
  std::vector<std::string> names;
  for (unsigned n = *first; n <= *last; ++n) {
    names.push_back(text.substr(0, digits) + std::to_string(n));
  }
  return names;
}

void RouterFile::take(const ConfigPieces& pieces) {
  for (const auto& [key, node] : pieces) {
    node ? void(said_[key] = node) : void(said_.erase(key));
  }
}

YamlNodePtr RouterFile::family(AddressFamily af) const {
  std::vector<YamlNode::Entry> family{{"address-family", 0, scalar(0, std::string(enumName(af)))}};
  std::vector<YamlNode::Entry> bsr;
  for (const auto& [key, node] : said_) {
    if (key.first != af || key.second == accessLists) continue;
    (key.second == "interface" ? family : bsr).push_back({key.second, node->line, node});
  }
  family.push_back({"bsr", 0, mapOf(0, bsr)});
  return mapOf(0, family);
}

YamlNodePtr RouterFile::document() const {
  std::vector<YamlNode::Entry> top;
  std::vector<YamlNodePtr> lists;
  for (const auto& [key, node] : said_) {
    if (key.first == AddressFamily::unset) top.push_back({key.second, node->line, node});
    if (key.second != accessLists) continue;
    lists.insert(lists.end(), node->items.begin(), node->items.end());
  }
  std::vector<YamlNodePtr> families;
  for (const AddressFamily af : families_) families.push_back(family(af));
  const auto vrf = mapOf(0, {{"name", 0, scalar(0, std::string(VrfName::defaultName))},
                             {"address-family", 0, listOf(0, families)}});
  top.push_back({accessLists, 0, listOf(0, lists)});
  top.push_back({"vrf", 0, listOf(0, {vrf})});
  return mapOf(0, top);
}

Agent::DaemonConfig RouterFile::config() const {
  const Agent::LoadedConfig loaded = Agent::readConfig(*document());
  if (!loaded.config) throw ScenarioError(Agent::fileText(name_, loaded.findings.front()));
  return *loaded.config;
}

}  // namespace Routing::Sim
