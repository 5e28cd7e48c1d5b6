#include "tests/agent/control/FakeAgent.h"

namespace Routing::Agent {

using namespace Pim;

FakeInstance::FakeInstance(const std::string& vrf, AddressFamily family)
    : af(family),
      pimStatus(std::make_shared<PimStatus>(VrfName(vrf))),
      pamManager(std::make_shared<PamManager>(
          family, pimStatus, std::make_shared<PimRpfTable>(*this, pimStatus), *this)),
      status(std::make_shared<Bsr::Status>(VrfName(vrf))),
      rpCandidate(std::make_shared<RpCandidateStatus>(VrfName(vrf))),
      limits(std::make_shared<Bsr::PimBsrLimits>()) {
  status->afIs(family);
  status->countersIs("counters");
}

InstanceView FakeInstance::view() const {
  return {.vrf = status->vrfName(),
          .af = af,
          .pimStatus = pimStatus,
          .pamManager = pamManager,
          .status = status,
          .rpCandidate = rpCandidate,
          .limits = limits,
          .upgrade = upgrade,
          .zoneExpiry = zoneExpiry};
}

namespace {

RpEntry& addTo(RpCandidateStatus& set, std::string_view range, std::string_view rp,
               unsigned priority) {
  const auto entry = set.newCrpSet(prefix(range))->newRp(addr(rp));
  entry->priorityIs(RpPriority(priority));
  entry->holdTimeIs(CrpHoldTime(150));
  entry->hashMaskLenIs(RpHashMaskLen(entry->address().af() == AddressFamily::ipv4 ? 30 : 126));
  return *entry;
}

}  // namespace

void FakeInstance::addRp(std::string_view zone, std::string_view range, std::string_view rp,
                         unsigned priority, double setupTime, double expiryTime) {
  const auto zoneSet = status->newCrpStatus(prefix(zone))->newStatus(status->vrfName());
  for (RpCandidateStatus* set : {zoneSet.get(), rpCandidate.get()}) {
    RpEntry& entry = addTo(*set, range, rp, priority);
    entry.setupTimeIs(setupTime);
    entry.expiryTimeIs(expiryTime);
  }
  rpCandidate->rpSetTypeIs(RpSetType::bsr);
}

RpEntry& FakeInstance::addMapping(std::string_view range, std::string_view rp, unsigned priority) {
  return addTo(*rpCandidate, range, rp, priority);
}

Bsr::ElectedBsrStatus& FakeInstance::addBsr(std::string_view zone, std::string_view address) {
  const auto bsr = status->newBootstrapRouter(prefix(zone));
  bsr->ipAddrIs(addr(address));
  bsr->priorityIs(64);
  bsr->hashMaskLenIs(af == AddressFamily::ipv4 ? 30 : 126);
  bsr->setupTimeIs(1400);
  bsr->expiryTimeIs(5103);
  return *bsr;
}

FakeInstance& FakeAgent::add(const std::string& vrf, AddressFamily af) {
  return list.emplace_back(vrf, af);
}

std::vector<InstanceView> FakeAgent::instances() const {
  std::vector<InstanceView> views;
  for (const FakeInstance& instance : list) views.push_back(instance.view());
  return views;
}

}  // namespace Routing::Agent
