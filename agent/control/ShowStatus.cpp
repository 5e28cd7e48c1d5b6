#include <nlohmann/json.hpp>

#include "agent/control/ShowParts.h"

namespace Routing::Agent {
namespace {

Json treeOf(const Entity& root) {
  const std::string text = treeJson(root);
  Json tree = Json::parse(text, nullptr, false);
  // A name may hold octets that JSON cannot; the tree then comes as its text.
  return tree.is_discarded() ? Json(text) : tree;
}

}  // namespace

Json showStatus(const ShowInput& in) {
  return {{"now", in.now},
          {"up-time", secondsBetween(in.startTime, in.now)},
          {"drained", drainedJson(in.drained)},
          {"bsr", treeOf(*in.instance.status)},
          {"pim", treeOf(*in.instance.pimStatus)},
          {"rp-candidate", treeOf(*in.instance.rpCandidate)},
          {"messages", treeOf(*in.instance.pamManager->counters())},
          {"limits", treeOf(*in.instance.limits)},
          {"interfaces", treeOf(in.interfaces)}};
}

}  // namespace Routing::Agent
