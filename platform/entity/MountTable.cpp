#include "platform/entity/MountTable.h"

#include <utility>

#include "platform/entity/Assertion.h"

namespace Routing {

void MountTable::mountIs(std::string_view path, std::shared_ptr<Entity> root) {
  const bool added = mounts_.emplace(path, std::move(root)).second;
  ROUTING_ASSERT(added);
}

void MountTable::mountDel(std::string_view path) {
  const auto it = mounts_.find(path);
  if (it != mounts_.end()) mounts_.extract(it);  // the root dies outside the table
}

std::shared_ptr<Entity> MountTable::find(std::string_view path) const {
  const auto it = mounts_.find(path);
  return it == mounts_.end() ? nullptr : it->second;
}

}  // namespace Routing
