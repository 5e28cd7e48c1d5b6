#include "agent/ConfigSource.h"

#include <exception>

namespace Routing::Agent {
namespace {

LoadedConfig fromFile(const std::string& file,
                      const std::optional<AddressedInterfaces>& addressed) try {
  return loadConfig(file, addressed);
} catch (const std::exception& error) {
  return {std::nullopt, {{Severity::error, 0, "", error.what()}}};
}

}  // namespace

LoadedConfig ConfigSource::load(const std::optional<AddressedInterfaces>& addressed) const {
  LoadedConfig loaded =
      file().empty() ? LoadedConfig{options_.builtIn, {}} : fromFile(file(), addressed);
  if (!loaded.config) return loaded;
  if (options_.control) loaded.config->controlSocket = *options_.control;
  if (options_.logLevel) loaded.config->logLevel = *options_.logLevel;
  for (const auto& [facility, level] : options_.traces) loaded.config->traces[facility] = level;
  return loaded;
}

}  // namespace Routing::Agent
