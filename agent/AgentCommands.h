#pragma once

#include <string>

#include "agent/config/Finding.h"

namespace Routing::Agent {

/// What came of reading the configuration again.
struct ReloadOutcome {
  std::string file;      ///< or who speaks, if there is none
  bool good = false;     ///< otherwise nothing has changed
  bool changed = false;  ///< the configuration is another one than before
  Findings findings;
};

/// What operators can have the running daemon do. Each command is done when its function returns.
class AgentCommands {
 public:
  virtual ~AgentCommands() = default;

  virtual ReloadOutcome reload() = 0;
  /// Announces that the process is about to be replaced; the instances report when they are ready.
  virtual void prepareUpgrade() = 0;
};

}  // namespace Routing::Agent
