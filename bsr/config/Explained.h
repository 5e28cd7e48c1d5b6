#pragma once

#include <cstdint>

#include "bsr/config/ExplainedBorders.h"
#include "bsr/config/ExplainedPermits.h"
#include "bsr/config/ExplainedRps.h"
#include "bsr/config/ExplainedZones.h"

namespace Routing::Pim::Bsr {

/// What the configuration explains of a status, kind by kind, and the one place where the
/// difference to what the status shows is written. What the same interface explains before and
/// after an edit is never deleted on the way: each kind compares claims with the status at the end.
class Explained {
 public:
  explicit Explained(const ConfigContext& context);

  ExplainedPermits permits;
  ExplainedBorders borders;
  ExplainedZones zones;
  ExplainedRps rps;

  /// While held, claims are gathered and nothing is written; at first it is. Settles on release.
  void heldIs(bool held);
  /// The same while an edit lasts. At its end RPs are written before zones, so that a BSR that
  /// leaves announces what the router's RPs withdraw in the same edit.
  void editingIs(bool editing);
  /// Brings the status in step with all claims that have changed. The first time it deletes what
  /// an earlier run left there and nothing explains. Changes that reactors of the status make on
  /// the way are written before it returns. A conflict of zones is a failed assertion, before
  /// anything is written.
  void settle() { settle(Order::zonesFirst); }

  /// A reactor that runs the handler, and then settles.
  template <class Handler>
  auto settling(Handler handler) {
    return [this, handler](const auto&... key) {
      Explained& explained = *this;  // the handler may end its own subscription
      handler(key...);
      explained.settle();
    };
  }

 private:
  enum class Order : std::uint8_t { zonesFirst, rpsFirst };

  void settle(Order order);
  void doRemoveExtraStatusEntries() const;
  bool settled() const;
  const VrfName& vrfName() const { return context_.vrfName(); }

  const ConfigContext& context_;
  bool held_ = true;
  bool editing_ = false;
  bool settling_ = false;
  bool first_ = true;
};

}  // namespace Routing::Pim::Bsr
