#include "config/file/ConfigTree.h"

#include "config/file/ConfigTreeBuilder.h"

namespace Routing::Agent {
namespace {

bool holds(const lyd_node& node, const lysc_must& must) {
  ly_bool result = 0;
  const LY_ERR error = lyd_eval_xpath3(&node, node.schema->module, lyxp_get_expr(must.cond),
                                       LY_VALUE_SCHEMA_RESOLVED, must.prefixes, nullptr, &result);
  return error == LY_SUCCESS && result != 0;
}

}  // namespace

ConfigTree::ConfigTree(const Schema& schema, const YamlNode& document, Findings& findings) {
  ly_log_options(LY_LOSTORE);
  ly_err_clean(schema.context(), nullptr);
  top_.reset(ConfigTreeBuilder(schema, origins_, findings).build(document));
  if (!hasErrors(findings)) validate(schema, findings);
}

/// libyang stops at its first complaint, and its word for the place cannot always be read back.
void ConfigTree::validate(const Schema& schema, Findings& findings) {
  lyd_node* top = top_.release();
  const LY_ERR result = lyd_validate_module(&top, schema.module(), LYD_VALIDATE_NO_STATE, nullptr);
  top_.reset(top);
  if (result == LY_SUCCESS) return;
  const char* reason = ly_errmsg(schema.context());
  const std::string text = reason == nullptr ? "not valid" : reason;
  sayBroken(*top_, findings);
  if (findings.empty()) findings.push_back({Severity::error, 0, "", text});
}

void ConfigTree::sayBroken(const lyd_node& node, Findings& findings) const {
  const lysc_must* musts = lysc_node_musts(node.schema);
  LY_ARRAY_COUNT_TYPE index;
  LY_ARRAY_FOR(musts, index) {
    if (findings.size() > maxFindings) return;
    if (holds(node, musts[index])) continue;
    const Origin& place = origin(&node);
    findings.push_back({Severity::error, place.line, place.path, musts[index].emsg});
  }
  for (const lyd_node* child = lyd_child(&node); child != nullptr; child = child->next) {
    sayBroken(*child, findings);
  }
}

const Origin& ConfigTree::origin(const lyd_node* node) const {
  static const Origin none;
  const auto found = origins_.find(node);
  return found == origins_.end() ? none : found->second;
}

std::map<std::string, unsigned> ConfigTree::lines() const {
  std::map<std::string, unsigned> lines;
  for (const auto& [node, origin] : origins_) lines.emplace(origin.path, origin.line);
  return lines;
}

}  // namespace Routing::Agent
