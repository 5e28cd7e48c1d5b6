#include "agent/daemon/ConfigSource.h"

#include <exception>
#include <iostream>

#include "config/file/YamlTree.h"

namespace Routing::Agent {
namespace {

LoadedConfig fromStandardInput() try {
  std::string text(YamlLimits{}.bytes + 1, '\0');
  std::cin.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(std::cin.gcount()));
  return readConfig(text);
} catch (const std::exception& error) {
  return {std::nullopt, {{Severity::error, 0, "", error.what()}}};
}

}  // namespace

LoadedConfig ConfigSource::load() const {
  if (file().empty()) return overruled({options_.builtIn, {}});
  return overruled(file() == "/dev/stdin" ? fromStandardInput() : loadConfig(file()));
}

LoadedConfig ConfigSource::loadAgain(const AddressedInterfaces& addressed) const {
  return overruled(loadConfig(file(), addressed));
}

/// The command line has the last word.
LoadedConfig ConfigSource::overruled(LoadedConfig loaded) const {
  if (!loaded.config) return loaded;
  if (options_.control) loaded.config->controlSocket = *options_.control;
  if (options_.stateDirectory) loaded.config->stateDirectory = *options_.stateDirectory;
  if (options_.logLevel) loaded.config->logLevel = *options_.logLevel;
  for (const auto& [facility, level] : options_.traces) loaded.config->traces[facility] = level;
  return loaded;
}

}  // namespace Routing::Agent
