#include "ctl/Render.h"

#include <nlohmann/json.hpp>
#include <string_view>

namespace Routing::Ctl {
namespace {

struct Renderer {
  std::string_view topic;
  std::string (*render)(const Json& data);
};

constexpr Renderer renderers[] = {
    {"bsr", renderBsr},
    {"rp-set", renderRpSet},
    {"rp-hash", renderRpHash},
    {"neighbor", renderNeighbor},
    {"interface", renderInterface},
    {"counters", renderCounters},
    {"rp-candidate", renderRpCandidate},
    {"events", renderEvents},
};

}  // namespace

std::string render(const std::string& topic, const Json& data) {
  for (const Renderer& renderer : renderers) {
    if (renderer.topic == topic) return renderer.render(data);
  }
  return data.dump(2) + "\n";
}

}  // namespace Routing::Ctl
