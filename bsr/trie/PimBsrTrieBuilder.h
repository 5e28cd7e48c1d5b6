#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include "bsr/types/Status.h"
#include "platform/trie/TrieGen.h"

namespace Routing::Pim::Bsr {

/// Keeps a trie equal to the zones that have an elected BSR, and marks a zone as changed when its
/// BSR's address changes.
class ROUTING_API PimBsrTrieBuilderSm {
 public:
  PimBsrTrieBuilderSm(std::shared_ptr<const Status> bsrStatus, std::shared_ptr<TrieGen> trieGen);

  /// Trie changes made so far; wraps.
  std::uint32_t trieUpdates() const { return trieUpdates_; }

  /// Brings one key in step.
  void handleBsr(const IpGenPrefix& zone);
  /// Brings every key of the status and of the trie in step.
  void handleBsr();

 private:
  /// Watches the BSR address of one zone. The address that a new entry is given first is no change.
  class BsrReactor {
   public:
    BsrReactor(PimBsrTrieBuilderSm& builder, const std::shared_ptr<ElectedBsrStatus>& bsr);
    void handleBsrIp();
    const std::shared_ptr<const ElectedBsrStatus>& bsr() const { return bsr_; }

   private:
    PimBsrTrieBuilderSm& builder_;
    std::shared_ptr<const ElectedBsrStatus> bsr_;
    bool initialized_;
    Subscription ipReactor_;
  };

  const VrfName& vrfName() const { return bsrStatus_->vrfName(); }

  std::shared_ptr<const Status> bsrStatus_;
  std::shared_ptr<TrieGen> trieGen_;
  std::uint32_t trieUpdates_ = 0;
  std::map<IpGenPrefix, std::unique_ptr<BsrReactor>> bsr_;
  Subscription bsrReactor_;
};

}  // namespace Routing::Pim::Bsr
