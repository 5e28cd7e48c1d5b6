#pragma once

#include "sim/invariants/QuietInvariant.h"

namespace Routing::Sim {

/// Once quiet, every candidate RP that the BSR permits sees itself in the RP set, for each of its
/// ranges, with the priority and mode that it announces; but for a range with as many better ones
/// as a message can name.
class CandidatesServe final : public QuietInvariant {
 public:
  CandidatesServe(World& world, const Beliefs& beliefs, std::vector<Violation>& violations)
      : QuietInvariant("candidates serve", world, beliefs, violations) {}

 private:
  double settlingTime(const SettlingTimes& times) const override { return times.rpSet; }
  void judge() override;
  void judgeRange(RouterId router, const Speaker& speaker, const IpGenAddr& address,
                  const IpGenPrefix& range);
  static bool full(const Pim::RpCandidateSet& set, std::uint16_t priority);
  bool permitted(const IpGenAddr& bsr, const IpGenAddr& rp) const;
};

}  // namespace Routing::Sim
