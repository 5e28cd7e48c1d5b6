#include "agent/BsrHost.h"

#include <utility>

namespace Routing::Agent {
namespace {

std::shared_ptr<Pim::Bsr::Status> newStatus(const VrfName& vrf, AddressFamily af,
                                            const InstanceOptions& options) {
  auto status = std::make_shared<Pim::Bsr::Status>(vrf);
  status->afIs(af);
  status->countersIs("counters");
  status->bsTimeoutIs(options.bsTimeout);
  status->szTimeoutIs(options.szTimeout);
  status->crpPermitIs(IpGenPrefix::zero(af), true);
  return status;
}

std::shared_ptr<Pim::Bsr::PimBsrLimits> newLimits(const InstanceOptions& options) {
  auto limits = std::make_shared<Pim::Bsr::PimBsrLimits>();
  limits->maxZonesIs(options.maxZones.value_or(limits->maxZones()));
  limits->maxGroupsIs(options.maxGroups.value_or(limits->maxGroups()));
  limits->maxRpsIs(options.maxRps.value_or(limits->maxRps()));
  limits->maxFragmentsIs(options.maxFragments.value_or(limits->maxFragments()));
  return limits;
}

}  // namespace

BsrHost::BsrHost(const HostBase& base, const VrfName& vrf, AddressFamily af,
                 const InstanceOptions& options)
    : vrf_(vrf),
      af_(af),
      routing_(base.routeSource, base.interfaces, base.loop.clock(), vrf),
      localRoutes_(af),
      sockets_(base.loop, base.interfaces, vrf, af),
      pim_(vrf, af, routing_, sockets_, base.loop.timerWheel(), base.random, options.hello),
      status_(newStatus(vrf, af, options)),
      rpCandidate_(std::make_shared<Pim::RpCandidateStatus>(vrf)),
      limits_(newLimits(options)),
      bsr_({status_, pim_.pimStatus(), pim_.pamManager(), localRoutes_.status(),
            base.allIntfStatusDir, rpCandidate_, limits_, &base.loop.timerWheel()}) {
  sockets_.receiverIs([this](const Pim::ReceivedPacket& packet) { pim_.receive(packet); });
}

BsrHost::~BsrHost() {
  sockets_.receiverIs({});
}

void BsrHost::intfChanged(const IntfId& intf, const Interface* before, const Interface* now,
                          bool pim) {
  localRoutes_.intfChanged(before, now);
  if (!pim) return;
  if (now == nullptr || (before != nullptr && before->link.index != now->link.index)) {
    pimIntfDel(intf);
  }
  if (now != nullptr) pimIntfIs(intf, *now, before != nullptr && before->mtuDips != now->mtuDips);
}

void BsrHost::pimIntfIs(const IntfId& intf, const Interface& now, bool groupsLost) {
  const HelloAddresses addresses = helloAddresses(now, af_);
  const bool speaks = !addresses.primary.isUnset();
  if (groupsLost) sockets_.intfDel(intf);
  if (speaks) sockets_.intfIs(intf, now.link.index);
  pim_.intfIs(intf, addresses.primary, addresses.secondary, now.link.up);
  // With its last address a device loses its groups in the kernel; the socket is of no more use.
  if (!speaks) sockets_.intfDel(intf);
}

void BsrHost::pimIntfDel(const IntfId& intf) {
  pim_.intfDel(intf);  // says goodbye, so the socket goes last
  sockets_.intfDel(intf);
}

InstanceView BsrHost::view() const {
  return {vrf_, af_, pim_.pimStatus(), pim_.pamManager(), status_, rpCandidate_, limits_};
}

}  // namespace Routing::Agent
