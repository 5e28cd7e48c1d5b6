#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/entity/Entity.h"

namespace Routing {

/// Where the trees of entities stand: each root under a path such as "routing/pim/bsr/statuscoll".
class ROUTING_API MountTable {
 public:
  /// Mounts a root, shared with the caller. An occupied path raises an assertion.
  void mountIs(std::string_view path, std::shared_ptr<Entity> root);
  /// An absent path is ignored.
  void mountDel(std::string_view path);
  /// The root at a path if there is one of this type, else null.
  template <class E>
  std::shared_ptr<E> mount(std::string_view path) const {
    return std::dynamic_pointer_cast<E>(find(path));
  }
  const std::map<std::string, std::shared_ptr<Entity>, std::less<>>& mounts() const {
    return mounts_;
  }

 private:
  std::shared_ptr<Entity> find(std::string_view path) const;

  std::map<std::string, std::shared_ptr<Entity>, std::less<>> mounts_;
};

}  // namespace Routing
