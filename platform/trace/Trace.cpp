#include "platform/trace/Trace.h"

#include <algorithm>
#include <map>
#include <vector>

#include "platform/trace/TraceFacilities.h"

namespace Routing {
namespace {

struct Registry {
  std::vector<TraceHandle*> handles;
  std::vector<TraceSink*> sinks;
  /// By prefix. A new one erases those that it is the beginning of, so a longer one is a later one.
  std::map<std::string, int, std::less<>> thresholds;
};

// Handles are often globals of other files, so the registry is made on first use.
Registry& registry() {
  static Registry instance;
  return instance;
}

}  // namespace

TraceHandle::TraceHandle(std::string_view name) : name_(name) {
  for (const auto& [prefix, level] : registry().thresholds) {
    if (name_.starts_with(prefix)) threshold_ = level;
  }
  registry().handles.push_back(this);
}

TraceHandle::~TraceHandle() {
  std::erase(registry().handles, this);
}

void TraceHandle::write(int level, std::string_view text) const {
  for (TraceSink* sink : registry().sinks) sink->trace(name_, level, text);
}

std::size_t traceThresholdIs(std::string_view prefix, int level) {
  auto& thresholds = registry().thresholds;
  auto overruled = thresholds.lower_bound(prefix);
  while (overruled != thresholds.end() && overruled->first.starts_with(prefix)) {
    overruled = thresholds.erase(overruled);
  }
  thresholds.emplace(prefix, level);
  std::size_t count = 0;
  for (TraceHandle* handle : registry().handles) {
    if (!handle->name().starts_with(prefix)) continue;
    handle->thresholdIs(level);
    ++count;
  }
  return count;
}

std::vector<std::string> traceFacilities() {
  std::vector<std::string> names;
  for (const TraceHandle* handle : registry().handles) names.push_back(handle->name());
  std::sort(names.begin(), names.end());
  return names;
}

void traceSinkIs(TraceSink& sink) {
  registry().sinks.push_back(&sink);
}

void traceSinkDel(TraceSink& sink) {
  std::erase(registry().sinks, &sink);
}

}  // namespace Routing
