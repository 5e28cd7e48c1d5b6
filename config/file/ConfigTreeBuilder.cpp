#include "config/file/ConfigTreeBuilder.h"

namespace Routing::Agent {
namespace {

std::string join(const std::string& path, std::string_view name) {
  return path.empty() ? std::string(name) : path + '/' + std::string(name);
}

std::string allowedText(const lysc_node& leaf) {
  return " (allowed: " + allowedValues(leaf) + ')';
}

std::vector<const lysc_node*> keysOf(const Schema& schema, const lysc_node& list) {
  std::vector<const lysc_node*> keys;
  for (const lysc_node* child : schema.children(list)) {
    if ((child->flags & LYS_KEY) != 0) keys.push_back(child);
  }
  return keys;
}

const YamlNode::Entry* find(const YamlNode& map, std::string_view name) {
  for (const YamlNode::Entry& entry : map.entries) {
    if (entry.key == name) return &entry;
  }
  return nullptr;
}

/// "[KEY]", or "[KEY KEY]" where there are two, of an entry that has nothing else yet.
std::string keyText(const lyd_node* entry) {
  std::string text = "[";
  for (const lyd_node* child = lyd_child(entry); child != nullptr; child = child->next) {
    if (text.size() > 1) text += ' ';
    text += lyd_get_value(child);
  }
  return text + ']';
}

}  // namespace

lyd_node* ConfigTreeBuilder::build(const YamlNode& document) {
  const lysc_node& root = schema_.root();
  lyd_node* data = nullptr;
  lyd_new_inner(nullptr, schema_.module(), root.name, 0, &data);
  if (document.kind == YamlNode::Kind::map) {
    putMap({data, root, "", document.line}, document);
  } else if (document.kind != YamlNode::Kind::null) {
    say(document.line, "", "must hold \"NAME: VALUE\" pairs" + allowedNames(root));
  }
  return data;
}

void ConfigTreeBuilder::putMap(const Place& place, const YamlNode& map) {
  Given given;
  for (const YamlNode::Entry& entry : map.entries) {
    if (!isNewInMap(place, entry, given)) continue;
    if (const lysc_node* schema = schema_.child(place.schema, entry.key)) {
      putNode(place, *schema, entry);
    } else {
      say(entry.line, join(place.path, printable(entry.key)),
          "unknown" + allowedNames(place.schema));
    }
  }
  requireMandatory(place, map);
}

bool ConfigTreeBuilder::isNewInMap(const Place& place, const YamlNode::Entry& entry,
                                   Given& before) {
  const auto [found, isNew] = before.emplace(entry.key, entry.line);
  if (!isNew) {
    say(entry.line, join(place.path, printable(entry.key)),
        "given twice, first in line " + std::to_string(found->second));
  }
  return isNew;
}

void ConfigTreeBuilder::requireMandatory(const Place& place, const YamlNode& map) {
  for (const lysc_node* child : schema_.children(place.schema)) {
    const bool needed = child->nodetype == LYS_LEAF && (child->flags & LYS_MAND_TRUE) != 0 &&
                        (child->flags & LYS_KEY) == 0;
    if (needed && find(map, child->name) == nullptr) {
      say(place.line, join(place.path, child->name), "missing" + allowedText(*child));
    }
  }
}

void ConfigTreeBuilder::putNode(const Place& place, const lysc_node& schema,
                                const YamlNode::Entry& entry) {
  switch (schema.nodetype) {
    case LYS_CONTAINER:
      return putContainer(place, schema, entry);
    case LYS_LIST:
      return putList(place, schema, entry);
    case LYS_LEAFLIST:
      return putLeafList(place, schema, entry);
    default:
      if ((schema.flags & LYS_KEY) == 0) putLeaf(place, schema, *entry.value);
  }
}

void ConfigTreeBuilder::putContainer(const Place& place, const lysc_node& schema,
                                     const YamlNode::Entry& entry) {
  const std::string path = join(place.path, schema.name);
  const YamlNode& value = *entry.value;
  if (value.kind != YamlNode::Kind::map && value.kind != YamlNode::Kind::null) {
    return say(entry.line, path, "must hold \"NAME: VALUE\" pairs" + allowedNames(schema));
  }
  lyd_node* node = nullptr;
  lyd_new_inner(place.data, schema_.module(), schema.name, 0, &node);
  origins_[node] = {entry.line, path, ""};
  putMap({node, schema, path, entry.line}, value);
}

void ConfigTreeBuilder::putList(const Place& place, const lysc_node& schema,
                                const YamlNode::Entry& entry) {
  const YamlNode& value = *entry.value;
  if (value.kind == YamlNode::Kind::null) return;
  if (value.kind != YamlNode::Kind::sequence) {
    const char* key = keysOf(schema_, schema).front()->name;
    return say(entry.line, join(place.path, schema.name),
               std::string("must be a list, whose items begin so: \"- ") + key + ": ...\"");
  }
  Given before;
  for (std::size_t i = 0; i < value.items.size(); ++i) {
    putListEntry(place, schema, *value.items[i], '#' + std::to_string(i + 1), before);
  }
}

void ConfigTreeBuilder::putListEntry(const Place& place, const lysc_node& schema,
                                     const YamlNode& entry, const std::string& index,
                                     Given& before) {
  const std::string path = join(place.path, schema.name);
  const std::string indexed = path + '[' + index + ']';
  if (entry.kind != YamlNode::Kind::map) {
    return say(entry.line, indexed, "must hold \"NAME: VALUE\" pairs" + allowedNames(schema));
  }
  const auto keys = keyValues(schema, entry, indexed);
  lyd_node* node = keys.empty() ? nullptr : newListEntry(place, schema, keys, indexed);
  if (node == nullptr) return;
  const std::string keyed = path + keyText(node);
  const auto [found, isNew] = before.emplace(keyed, entry.line);
  if (!isNew) {
    lyd_free_tree(node);
    return say(entry.line, keyed, "given twice, first in line " + std::to_string(found->second));
  }
  origins_[node] = {entry.line, keyed, ""};
  const auto keyNodes = keysOf(schema_, schema);
  const lyd_node* child = lyd_child(node);
  for (std::size_t i = 0; i < keys.size(); ++i, child = child->next) {
    origins_[child] = {keys[i]->line, join(keyed, keyNodes[i]->name), keys[i]->text};
  }
  putMap({node, schema, keyed, entry.line}, entry);
}

std::vector<const YamlNode*> ConfigTreeBuilder::keyValues(const lysc_node& schema,
                                                          const YamlNode& entry,
                                                          const std::string& path) {
  std::vector<const YamlNode*> values;
  const auto keys = keysOf(schema_, schema);
  for (const lysc_node* key : keys) {
    const YamlNode::Entry* found = find(entry, key->name);
    if (found == nullptr) {
      say(entry.line, join(path, key->name), "missing" + allowedText(*key));
    } else if (found->value->kind != YamlNode::Kind::scalar) {
      say(found->line, join(path, key->name), "must be a single value" + allowedText(*key));
    } else {
      values.push_back(found->value.get());
    }
  }
  if (values.size() != keys.size()) values.clear();
  return values;
}

lyd_node* ConfigTreeBuilder::newListEntry(const Place& place, const lysc_node& schema,
                                          const std::vector<const YamlNode*>& keys,
                                          const std::string& path) {
  const auto keyNodes = keysOf(schema_, schema);
  bool good = true;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (lyd_value_validate(schema_.context(), keyNodes[i], keys[i]->text.c_str(),
                           keys[i]->text.size(), nullptr, nullptr, nullptr) == LY_SUCCESS) {
      continue;
    }
    say(keys[i]->line, join(path, keyNodes[i]->name),
        "invalid value " + quoted(keys[i]->text) + allowedText(*keyNodes[i]));
    good = false;
  }
  if (!good) return nullptr;
  lyd_node* node = nullptr;
  const char* second = keys.size() > 1 ? keys[1]->text.c_str() : nullptr;
  if (lyd_new_list(place.data, schema_.module(), schema.name, 0, &node, keys[0]->text.c_str(),
                   second) != LY_SUCCESS) {
    say(keys[0]->line, path, "not valid");
  }
  return node;
}

void ConfigTreeBuilder::putLeaf(const Place& place, const lysc_node& schema,
                                const YamlNode& value) {
  newTerm(place, schema, value, join(place.path, schema.name));
}

void ConfigTreeBuilder::putLeafList(const Place& place, const lysc_node& schema,
                                    const YamlNode::Entry& entry) {
  const std::string path = join(place.path, schema.name);
  const YamlNode& value = *entry.value;
  if (value.kind == YamlNode::Kind::null) return;
  if (value.kind != YamlNode::Kind::sequence) {
    return say(entry.line, path, "must be a list such as [ONE, TWO]" + allowedText(schema));
  }
  Given before;
  for (const YamlNodePtr& item : value.items) {
    lyd_node* node = newTerm(place, schema, *item, path);
    if (node == nullptr) continue;
    Origin& origin = origins_[node];
    const std::string canonical = lyd_get_value(node);
    origin.path += '[' + canonical + ']';
    const auto [found, isNew] = before.emplace(canonical, item->line);
    if (isNew) continue;
    say(item->line, origin.path, "given twice, first in line " + std::to_string(found->second));
    origins_.erase(node);
    lyd_free_tree(node);
  }
}

lyd_node* ConfigTreeBuilder::newTerm(const Place& place, const lysc_node& schema,
                                     const YamlNode& value, const std::string& path) {
  if (value.kind != YamlNode::Kind::scalar) {
    say(value.line, path, "must be a single value" + allowedText(schema));
    return nullptr;
  }
  lyd_node* node = nullptr;
  if (lyd_new_term(place.data, schema_.module(), schema.name, value.text.c_str(), 0, &node) !=
      LY_SUCCESS) {
    say(value.line, path, "invalid value " + quoted(value.text) + allowedText(schema));
    return nullptr;
  }
  origins_[node] = {value.line, path, value.text};
  return node;
}

std::string ConfigTreeBuilder::allowedNames(const lysc_node& parent) const {
  std::string text;
  for (const lysc_node* child : schema_.children(parent)) {
    text += (text.empty() ? " (allowed: " : ", ") + std::string(child->name);
  }
  return text + ')';
}

void ConfigTreeBuilder::say(unsigned line, const std::string& path, const std::string& text) {
  findings_.push_back({Severity::error, line, path, text});
}

}  // namespace Routing::Agent
