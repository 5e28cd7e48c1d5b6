#pragma once

#include <memory>
#include <optional>
#include <string>

#include "agent/state/StateDirectory.h"
#include "agent/state/StateText.h"
#include "bsr/types/Limits.h"
#include "bsr/types/Status.h"
#include "platform/entity/AttributeJournal.h"
#include "platform/time/Clock.h"

namespace Routing::Agent {

/// The status of one instance on a file: what an earlier life of the daemon left there, and from
/// then on every change, handed to the kernel whenever flush() is called. The counters of messages
/// are left out. A file that cannot be written goes, and is tried again after a minute.
class StateFile {
 public:
  /// A file is written anew when it has doubled, but not for less than this.
  static constexpr std::size_t leastSize = 64U << 10U;
  static constexpr double retrySeconds = 60;

  /// `own.instant` counts for nothing. The directory and the clock must outlive the file.
  StateFile(const StateDirectory& directory, const Clock& clock, StateHeader own);

  /// The status that the file holds, fit to build machines on; null if there is none. What is not
  /// to be used is put aside, and the log says why.
  std::shared_ptr<Pim::Bsr::Status> restored(const Pim::Bsr::PimBsrLimits& limits) const;
  /// Begins a new file with this status, and follows it from now on.
  void follow(const std::shared_ptr<const Pim::Bsr::Status>& status);
  /// Writes what has changed since the last call.
  void flush();
  /// Ends following, and leaves nothing behind.
  void remove();

  const std::string& name() const { return name_; }

 private:
  std::string subject() const;
  StateHeader header() const;
  void putAside(const char* fault) const;
  bool outgrown(std::size_t more) const;
  void write();
  void rewrite();
  void append();
  void giveUp(const char* reason);
  void discard();

  const StateDirectory& directory_;
  const Clock& clock_;
  const StateHeader own_;
  const std::string name_;
  std::optional<AttributeJournal> journal_;
  StateWriter writer_;
  Fd file_;
  std::size_t size_ = 0;       // of the file
  std::size_t beginning_ = 0;  // its size when it was begun
  std::string text_;           // kept for its memory
  double retryAt_ = 0;         // while there is no file
};

}  // namespace Routing::Agent
