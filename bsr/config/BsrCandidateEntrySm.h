#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "bsr/types/Config.h"

namespace Routing::Pim::Bsr {

class BsrCandidateConfigSm;

/// Settings that an entry of a candidate BSR was last given. A value that the entity refused but
/// holds never gets here.
struct BsrCandidateSettings {
  std::uint16_t priority = priorityUnknown;
  std::uint32_t hashMaskLen = hashMaskLenUnknown;
  std::uint32_t interval = BsrCandidateDefaults::intervalDefault;

  /// Whether a candidate can be made of them: nothing is "not set".
  bool usable() const {
    return priority < priorityUnknown && hashMaskLen < hashMaskLenUnknown &&
           interval >= BsrCandidateDefaults::minInterval &&
           interval <= BsrCandidateDefaults::maxInterval;
  }
};

template <class Entry>
BsrCandidateSettings settingsOf(const Entry& entry) {
  return {entry.priority(), entry.hashMaskLen(), entry.interval()};
}

/// One group or access list of a candidate-BSR interface. It starts when the interface has an
/// address and its settings are usable, and then claims its zones.
class BsrCandidateEntrySm {
 public:
  explicit BsrCandidateEntrySm(BsrCandidateConfigSm& intfSm) : intfSm_(intfSm) {}
  BsrCandidateEntrySm(const BsrCandidateEntrySm&) = delete;
  BsrCandidateEntrySm& operator=(const BsrCandidateEntrySm&) = delete;
  virtual ~BsrCandidateEntrySm() = default;

  bool initialized() const { return initialized_; }
  const BsrCandidateSettings& settings() const { return settings_; }

  /// Watches the entry, and takes its settings unless the entry has started and they are unusable.
  template <class Entry>
  void entryIs(const std::shared_ptr<const Entry>& entry);

  /// Starts if it can; a zone that another interface has claimed is a failed assertion.
  virtual void handleInitialize() = 0;
  /// The entry is gone. Safe to call again.
  virtual void handleDel() = 0;
  virtual bool produces(const IpGenPrefix& zone) const = 0;
  virtual std::set<IpGenPrefix> zones() const = 0;

 protected:
  bool skip() const;
  const VrfName& vrfName() const;
  void unwatch() { reactors_.clear(); }

  BsrCandidateConfigSm& intfSm_;
  BsrCandidateSettings settings_;
  bool initialized_ = false;

 private:
  void handlePriority(std::uint16_t priority);
  void handleHashMaskLen(std::uint32_t hashMaskLen);
  void handleInterval(std::uint32_t interval);

  std::vector<Subscription> reactors_;
};

template <class Entry>
void BsrCandidateEntrySm::entryIs(const std::shared_ptr<const Entry>& entry) {
  reactors_.clear();
  const Entry* e = entry.get();  // outlives the subscriptions or ends them
  reactors_.push_back(e->priorityReactor([this, e] { handlePriority(e->priority()); }));
  reactors_.push_back(e->hashMaskLenReactor([this, e] { handleHashMaskLen(e->hashMaskLen()); }));
  reactors_.push_back(e->intervalReactor([this, e] { handleInterval(e->interval()); }));
  const BsrCandidateSettings now = settingsOf(*entry);
  if (!initialized_) {
    settings_ = now;
  } else if (now.usable()) {
    handlePriority(now.priority);
    handleHashMaskLen(now.hashMaskLen);
    handleInterval(now.interval);
  }
}

/// A zone given by its prefix.
class BsrCandidateGroupSm final : public BsrCandidateEntrySm {
 public:
  BsrCandidateGroupSm(BsrCandidateConfigSm& intfSm, const IpGenPrefix& group)
      : BsrCandidateEntrySm(intfSm), group_(group) {}

  void handleInitialize() override;
  void handleDel() override;
  bool produces(const IpGenPrefix& zone) const override { return initialized_ && zone == group_; }
  std::set<IpGenPrefix> zones() const override;

 private:
  void doGroupAdd();
  void doGroupRemove();

  const IpGenPrefix group_;
};

/// The zones that an access list permits.
class BsrCandidateAclSm final : public BsrCandidateEntrySm {
 public:
  BsrCandidateAclSm(BsrCandidateConfigSm& intfSm, const std::string& acl)
      : BsrCandidateEntrySm(intfSm), acl_(acl) {}

  void handleInitialize() override;
  void handleDel() override;
  bool produces(const IpGenPrefix& zone) const override { return zones_.contains(zone); }
  std::set<IpGenPrefix> zones() const override { return zones_; }

  void doAclPrefixActivate(const IpGenPrefix& zone);
  void doAclPrefixDeactivate(const IpGenPrefix& zone);

 private:
  void doAclAdd();
  void doAclRemove();

  const std::string acl_;
  std::set<IpGenPrefix> zones_;  // counted
};

}  // namespace Routing::Pim::Bsr
