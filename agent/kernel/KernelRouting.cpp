#include "agent/kernel/KernelRouting.h"

#include "platform/pim/AddressChecks.h"
#include "platform/trace/Trace.h"

namespace Routing::Agent {
namespace {
TraceHandle routingTrace("Agent::Routing");
}  // namespace

const std::vector<Pim::NextHop>& KernelRouting::answer(const IpGenAddr& address) const {
  static const std::vector<Pim::NextHop> none;
  if (!Pim::isDomainUnicast(address)) return none;
  const auto known = answers_.find(address);
  if (known != answers_.end() && clock_.now() < known->second.expiry) return known->second.hops;
  if (answers_.size() >= maxAnswers) answers_.clear();
  return (answers_[address] = ask(address)).hops;
}

KernelRouting::Answer KernelRouting::ask(const IpGenAddr& address) const {
  std::uint32_t vrfIndex = 0;
  if (vrf_.text() != VrfName::defaultName) {
    const Interface* device = interfaces_.interface(IntfId(vrf_.text()));
    if (device == nullptr) return {clock_.now() + answerLife, {}};
    vrfIndex = device->link.index;
  }
  const auto hops = source_.hops(address, vrfIndex);
  Answer answer{clock_.now() + (hops ? answerLife : failureLife), {}};
  if (!hops) {
    ROUTING_TRACE(routingTrace, 1, vrf_, " No answer to the look-up of ", address);
    return answer;
  }
  for (const RouteHop& hop : *hops) {
    const IntfId intf = interfaces_.nameOf(hop.index);
    const Interface* interface = interfaces_.interface(intf);
    if (interface == nullptr || interface->vrf != vrf_) continue;
    answer.hops.push_back({intf, hop.gateway});
  }
  ROUTING_TRACE(routingTrace, 8, vrf_, " ", address, " has ", answer.hops.size(), " next hops");
  return answer;
}

}  // namespace Routing::Agent
