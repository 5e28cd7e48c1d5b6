#include "agent/config/ConfigTree.h"

#include "agent/config/ConfigTreeBuilder.h"

namespace Routing::Agent {
namespace {

/// What libyang's last complaint is about; empty if it does not say.
std::string complainedPath(const ly_ctx* context) {
  const ly_err_item* item = ly_err_last(context);
  if (item == nullptr || item->path == nullptr) return "";
  const std::string_view text(item->path);
  const auto begin = text.find('"');
  const auto end = text.rfind('"');
  if (begin == std::string_view::npos || end <= begin) return "";
  return std::string(text.substr(begin + 1, end - begin - 1));
}

/// Null if it cannot be found.
lyd_node* complainedNode(const ly_ctx* context, const lyd_node* top) {
  const std::string path = complainedPath(context);
  lyd_node* node = nullptr;
  if (top == nullptr || path.empty()) return nullptr;
  return lyd_find_path(top, path.c_str(), 0, &node) == LY_SUCCESS ? node : nullptr;
}

}  // namespace

ConfigTree::ConfigTree(const Schema& schema, const YamlNode& document, Findings& findings) {
  ly_log_options(LY_LOSTORE);
  ly_err_clean(schema.context(), nullptr);
  top_.reset(ConfigTreeBuilder(schema, origins_, findings).build(document));
  if (!hasErrors(findings)) validate(schema, findings);
}

/// libyang stops at its first complaint; without the leaf complained of it goes on to the next, all
/// over again, so not for ever.
void ConfigTree::validate(const Schema& schema, Findings& findings) {
  while (findings.size() <= maxFindings) {
    ly_err_clean(schema.context(), nullptr);
    lyd_node* top = top_.release();
    const LY_ERR result =
        lyd_validate_module(&top, schema.module(), LYD_VALIDATE_NO_STATE, nullptr);
    top_.reset(top);
    if (result == LY_SUCCESS) return;
    const char* reason = ly_errmsg(schema.context());
    const std::string text = reason == nullptr ? "not valid" : reason;
    lyd_node* node = complainedNode(schema.context(), top_.get());
    const Origin found = node == nullptr ? Origin{} : origin(node);
    findings.push_back({Severity::error, found.line, found.path, text});
    if (node == nullptr || lysc_is_key(node->schema) || lyd_child(node) != nullptr) return;
    origins_.erase(node);
    if (node == top_.get()) {
      (void)top_.release();  // the rest hangs on the next one
      top_.reset(node->next);
    }
    lyd_free_tree(node);
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
