#pragma once

#include <cstdint>
#include <memory>

#include "bsr/types/Status.h"
#include "platform/trie/TrieGen.h"

namespace Routing::Pim::Bsr {

/// Keeps a trie equal to the prefixes from which candidate-RP advertisements are accepted.
class ROUTING_API PimBsrCrpPermitTrieBuilderSm {
 public:
  PimBsrCrpPermitTrieBuilderSm(std::shared_ptr<const Status> bsrStatus,
                               std::shared_ptr<TrieGen> trieGen);

  /// Trie changes made so far; wraps.
  std::uint32_t trieUpdates() const { return trieUpdates_; }

  /// Brings one key in step.
  void handleCrpPermit(const IpGenPrefix& prefix);
  /// Brings every key of the status and of the trie in step.
  void handleCrpPermit();

 private:
  const VrfName& vrfName() const { return bsrStatus_->vrfName(); }

  std::shared_ptr<const Status> bsrStatus_;
  std::shared_ptr<TrieGen> trieGen_;
  std::uint32_t trieUpdates_ = 0;
  Subscription crpPermitReactor_;
};

}  // namespace Routing::Pim::Bsr
