#pragma once

#include <libyang/libyang.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Routing::Agent {

/// What a configuration may hold, as its YANG module says.
class Schema {
 public:
  /// Raises std::runtime_error if libyang cannot be used.
  Schema();

  ly_ctx* context() const { return context_.get(); }
  const lys_module* module() const { return module_; }

  /// The container that a file is the content of. libyang finds and adds what lies in a container
  /// by its hash, but looks through everything at the top.
  const lysc_node& root() const;
  std::vector<const lysc_node*> children(const lysc_node& parent) const;
  /// Null if there is none of this name.
  const lysc_node* child(const lysc_node& parent, std::string_view name) const;

 private:
  struct Destroy {
    void operator()(ly_ctx* context) const { ly_ctx_destroy(context); }
  };
  std::unique_ptr<ly_ctx, Destroy> context_;
  const lys_module* module_ = nullptr;
};

/// What the schema allows for a leaf or leaf-list, in words: "0..255", "permit, deny".
std::string allowedValues(const lysc_node& leaf);

}  // namespace Routing::Agent
