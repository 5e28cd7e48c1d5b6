#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "config/file/YamlTree.h"
#include "config/judge/Judgement.h"
#include "config/model/DaemonConfig.h"
#include "config/model/Finding.h"

namespace Routing::Agent {

/// What came of reading a configuration.
struct LoadedConfig {
  std::optional<DaemonConfig> config;  ///< none if there are errors
  Findings findings;                   ///< errors first, each kind by line; maxFindings at most
};

/// Reads YAML text, checks it against the schema, and judges what it says. Takes bounded time and
/// memory whatever the text is. Raises std::runtime_error if libyang cannot be used.
LoadedConfig readConfig(std::string_view text,
                        const std::optional<AddressedInterfaces>& addressed = std::nullopt);

/// The same for a document that has been read already.
LoadedConfig readConfig(const YamlNode& document,
                        const std::optional<AddressedInterfaces>& addressed = std::nullopt);

/// The same for a regular file, without raising anything; one that cannot be read, or is no regular
/// file, is an error without line and path.
LoadedConfig loadConfig(const std::string& file,
                        const std::optional<AddressedInterfaces>& addressed = std::nullopt);

}  // namespace Routing::Agent
