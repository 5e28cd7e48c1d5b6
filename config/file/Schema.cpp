#include "config/file/Schema.h"

#include <stdexcept>

#include "config/file/EmbeddedSchema.h"

namespace Routing::Agent {
namespace {

constexpr std::uint16_t contextOptions =
    LY_CTX_NO_YANGLIBRARY | LY_CTX_DISABLE_SEARCHDIRS | LY_CTX_SET_PRIV_PARSED;

[[noreturn]] void fail(const ly_ctx* context) {
  const char* reason = context == nullptr ? nullptr : ly_errmsg(context);
  throw std::runtime_error(std::string("libyang: ") + (reason == nullptr ? "no memory" : reason));
}

/// A number with the given count of digits behind the point, and no noughts at its end.
std::string decimalText(std::int64_t scaled, unsigned digits) {
  std::string text = std::to_string(scaled);
  if (digits == 0) return text;
  while (text.size() <= digits) text.insert(0, "0");
  text.insert(text.size() - digits, ".");
  while (text.back() == '0') text.pop_back();
  if (text.back() == '.') text.pop_back();
  return text;
}

std::string rangeText(const lysc_type& type) {
  const bool decimal = type.basetype == LY_TYPE_DEC64;
  const lysc_range* range = reinterpret_cast<const lysc_type_num&>(type).range;
  unsigned digits = 0;
  if (decimal) {
    const auto& decimalType = reinterpret_cast<const lysc_type_dec&>(type);
    range = decimalType.range;
    digits = decimalType.fraction_digits;
  }
  if (range == nullptr) return "";
  const auto& part = range->parts[0];
  if (type.basetype < LY_TYPE_DEC64) {
    return std::to_string(part.min_u64) + ".." + std::to_string(part.max_u64);
  }
  return decimalText(part.min_64, digits) + ".." + decimalText(part.max_64, digits);
}

std::string enumText(const lysc_type& type) {
  std::string text;
  const auto* enums = reinterpret_cast<const lysc_type_enum&>(type).enums;
  LY_ARRAY_COUNT_TYPE index;
  LY_ARRAY_FOR(enums, index) {
    if (index != 0) text += ", ";
    text += enums[index].name;
  }
  return text;
}

/// The range of a numeric type that none is written for.
std::string wholeRange(LY_DATA_TYPE type) {
  switch (type) {
    case LY_TYPE_UINT8:
      return "0..255";
    case LY_TYPE_UINT16:
      return "0..65535";
    case LY_TYPE_UINT32:
      return "0..4294967295";
    default:
      return "see the schema";
  }
}

const lysc_type& typeOf(const lysc_node& leaf) {
  return leaf.nodetype == LYS_LEAF ? *reinterpret_cast<const lysc_node_leaf&>(leaf).type
                                   : *reinterpret_cast<const lysc_node_leaflist&>(leaf).type;
}

const char* unitsOf(const lysc_node& leaf) {
  return leaf.nodetype == LYS_LEAF ? reinterpret_cast<const lysc_node_leaf&>(leaf).units
                                   : reinterpret_cast<const lysc_node_leaflist&>(leaf).units;
}

/// The description of the typedef that the module gives the leaf; null if it is of a built-in type.
const char* typedefText(const lysc_node& leaf) {
  const auto* parsed = static_cast<const lysp_node*>(leaf.priv);
  const lysp_type& type = parsed->nodetype == LYS_LEAF
                              ? reinterpret_cast<const lysp_node_leaf*>(parsed)->type
                              : reinterpret_cast<const lysp_node_leaflist*>(parsed)->type;
  const lysp_tpdf* typedefs = leaf.module->parsed->typedefs;
  LY_ARRAY_COUNT_TYPE index;
  LY_ARRAY_FOR(typedefs, index) {
    if (std::string_view(typedefs[index].name) == type.name) return typedefs[index].dsc;
  }
  return nullptr;
}

}  // namespace

Schema::Schema() {
  ly_log_options(LY_LOSTORE);
  ly_ctx* context = nullptr;
  if (ly_ctx_new(nullptr, contextOptions, &context) != LY_SUCCESS) fail(nullptr);
  context_.reset(context);
  lys_module* module = nullptr;
  if (lys_parse_mem(context, embeddedSchema, LYS_IN_YANG, &module) != LY_SUCCESS) fail(context);
  module_ = module;
}

const lysc_node& Schema::root() const {
  return *module_->compiled->data;
}

std::vector<const lysc_node*> Schema::children(const lysc_node& parent) const {
  std::vector<const lysc_node*> result;
  const lysc_node* node = nullptr;
  while ((node = lys_getnext(node, &parent, module_->compiled, 0)) != nullptr) {
    result.push_back(node);
  }
  return result;
}

const lysc_node* Schema::child(const lysc_node& parent, std::string_view name) const {
  for (const lysc_node* node : children(parent)) {
    if (name == node->name) return node;
  }
  return nullptr;
}

std::string allowedValues(const lysc_node& leaf) {
  const lysc_type& type = typeOf(leaf);
  if (type.basetype == LY_TYPE_ENUM) return enumText(type);
  if (const char* text = typedefText(leaf)) return text;
  std::string text = rangeText(type);
  if (text.empty()) text = wholeRange(type.basetype);
  return unitsOf(leaf) == nullptr ? text : text + ' ' + unitsOf(leaf);
}

}  // namespace Routing::Agent
