#pragma once

#include <map>
#include <vector>

#include "agent/kernel/InterfaceTable.h"
#include "agent/kernel/RouteQuery.h"
#include "platform/pim/PimRpfTable.h"
#include "platform/time/Clock.h"

namespace Routing::Agent {

/// The host's routes in one VRF. Answers are remembered, so that a flood of messages does not ask
/// the kernel for each; whoever learns of a change of routes, rules or interfaces calls flush().
class KernelRouting final : public Pim::UnicastRouting {
 public:
  static constexpr std::size_t maxAnswers = 1024;
  /// Seconds. Some answers change without a notice, such as which of several routers is reachable.
  static constexpr double answerLife = 5.0;
  /// Seconds for which an address is taken as unreachable after a look-up without answer.
  static constexpr double failureLife = 1.0;

  /// All must outlive the object.
  KernelRouting(RouteSource& source, const InterfaceTable& interfaces, const Clock& clock,
                const VrfName& vrf)
      : source_(source), interfaces_(interfaces), clock_(clock), vrf_(vrf) {}

  /// None for an address that says nothing without its link, such as a link-local one. Without a
  /// route in a VRF's own table the kernel looks on in the main one; next hops in other VRFs are
  /// left out, since there are no neighbours of this one.
  std::vector<Pim::NextHop> nextHops(const IpGenAddr& address) const override {
    return answer(address);
  }
  void nextHopsInto(const IpGenAddr& address, std::vector<Pim::NextHop>& hops) const override {
    hops = answer(address);
  }
  void flush() { answers_.clear(); }

 private:
  struct Answer {
    double expiry;
    std::vector<Pim::NextHop> hops;
  };

  const std::vector<Pim::NextHop>& answer(const IpGenAddr& address) const;
  Answer ask(const IpGenAddr& address) const;

  RouteSource& source_;
  const InterfaceTable& interfaces_;
  const Clock& clock_;
  const VrfName vrf_;
  mutable std::map<IpGenAddr, Answer> answers_;
};

}  // namespace Routing::Agent
