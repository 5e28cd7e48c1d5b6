#pragma once

#include <functional>
#include <string>

#include "agent/events/EventFeed.h"
#include "agent/view/ClearOrder.h"
#include "config/model/Candidacies.h"
#include "config/model/Finding.h"

namespace Routing::Agent {

/// What came of reading the configuration again.
struct ReloadOutcome {
  std::string file;        ///< or who speaks, if there is none
  bool good = false;       ///< otherwise nothing has changed
  bool changed = false;    ///< the configuration is another one than before
  bool undrained = false;  ///< this router was drained until now
  Findings findings = {};
};

using ReloadDone = std::function<void(const ReloadOutcome&)>;

/// What operators can have the running daemon do. Each command but a reload is done when its
/// function returns.
class AgentCommands {
 public:
  virtual ~AgentCommands() = default;

  /// A configuration that is good ends a drain. `done` runs when all is done: at once, or later.
  virtual void reload(ReloadDone done) = 0;
  /// Announces that the process is about to be replaced; the instances report when they are ready.
  virtual void prepareUpgrade() = 0;
  /// Withdraws more candidacies, as if they were deconfigured, and goes on.
  virtual void drain(const Candidacies& kinds) = 0;
  /// Has an instance forget something; an absent instance is ignored. Returns how many things it
  /// forgot.
  virtual std::size_t clear(const ClearOrder& order) = 0;
  /// Gives all of them back.
  virtual void undrain() = 0;
  /// What happens from now on.
  virtual EventFeed& eventFeed() = 0;
};

}  // namespace Routing::Agent
