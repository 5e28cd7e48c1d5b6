#pragma once

#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "bsr/config/BsrCandidateSettings.h"

namespace Routing::Pim::Bsr {

/// The settings of one group or access list of a candidate-BSR interface, as last notified.
class BsrCandidateEntrySm {
 public:
  using Changed = std::function<void()>;

  BsrCandidateEntrySm(const VrfName& vrf, Changed changed)
      : vrf_(vrf), changed_(std::move(changed)) {}
  BsrCandidateEntrySm(const BsrCandidateEntrySm&) = delete;
  BsrCandidateEntrySm& operator=(const BsrCandidateEntrySm&) = delete;

  /// Watches the entry, and takes its settings unless the entry has started and they are unusable.
  template <class Entry>
  void entryIs(const std::shared_ptr<const Entry>& entry);

  const BsrCandidateSettings& settings() const { return settings_; }
  bool started() const { return started_; }
  /// Starts if the settings are usable; once started, it shows whatever it is given.
  bool handleInitialize();

 private:
  void handlePriority(std::uint16_t priority);
  void handleHashMaskLen(std::uint32_t hashMaskLen);
  void handleInterval(std::uint32_t interval);
  const VrfName& vrfName() const { return vrf_; }

  const VrfName& vrf_;
  const Changed changed_;
  BsrCandidateSettings settings_;
  bool started_ = false;
  std::vector<Subscription> reactors_;
};

template <class Entry>
void BsrCandidateEntrySm::entryIs(const std::shared_ptr<const Entry>& entry) {
  reactors_.clear();
  const Entry* e = entry.get();  // outlives the subscriptions or ends them
  reactors_.push_back(e->priorityReactor([this, e] { handlePriority(e->priority()); }));
  reactors_.push_back(e->hashMaskLenReactor([this, e] { handleHashMaskLen(e->hashMaskLen()); }));
  reactors_.push_back(e->intervalReactor([this, e] { handleInterval(e->interval()); }));
  const BsrCandidateSettings now{e->priority(), e->hashMaskLen(), e->interval()};
  if (!started_ || now.usable()) settings_ = now;
}

}  // namespace Routing::Pim::Bsr
