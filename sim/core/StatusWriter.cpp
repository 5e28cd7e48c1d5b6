#include "sim/core/StatusWriter.h"

#include <algorithm>
#include <set>

namespace Routing::Sim {
namespace {

using Pim::Bsr::Status;

const IpGenAddr& chosen(const IpGenAddr& address, const IpGenAddr& loopback) {
  return address.isUnset() ? loopback : address;
}

void candidateBsrsAre(Status& status, const RouterConfig& config, const IpGenAddr& loopback) {
  std::set<IpGenPrefix> gone;
  for (const auto& [zone, candidate] : status.cbsr()) gone.insert(zone);
  for (const CandidateBsr& wanted : config.candidateBsrs) gone.erase(wanted.zone);
  for (const IpGenPrefix& zone : gone) status.cbsrDel(zone);
  for (const CandidateBsr& wanted : config.candidateBsrs) {
    const auto candidate = status.newCbsr(wanted.zone);
    candidate->addressIs(chosen(wanted.address, loopback));
    candidate->intfIdIs(IntfId("lo"));
    candidate->hashMaskLenIs(wanted.hashMaskLen);
    candidate->bsPeriodIs(wanted.period);
    candidate->priorityIs(wanted.priority);
  }
}

void rangesAre(Pim::Bsr::RpCandidate& candidate, const CandidateRp& wanted) {
  std::set<IpGenPrefix> gone = candidate.prefixSet();
  for (const auto& [range, priority] : wanted.ranges) gone.erase(range);
  for (const IpGenPrefix& range : gone) {
    candidate.prefixOptionsDel(range);
    candidate.prefixSetDel(range);
  }
  for (const auto& [range, priority] : wanted.ranges) {
    candidate.prefixSetIs(range, true);
    candidate.newPrefixOptions(range)->priorityIs(Pim::RpPriority(priority));
  }
}

void candidateRpsAre(Status& status, const RouterConfig& config, const IpGenAddr& loopback) {
  std::set<IpGenAddr> gone;
  for (const auto& [address, candidate] : status.crp()) gone.insert(address);
  for (const CandidateRp& wanted : config.candidateRps)
    gone.erase(chosen(wanted.address, loopback));
  for (const IpGenAddr& address : gone) status.crpDel(address);
  for (const CandidateRp& wanted : config.candidateRps) {
    const auto candidate = status.newCrp(chosen(wanted.address, loopback));
    candidate->intfIdIs(IntfId("lo"));
    candidate->intervalIs(Pim::Bsr::CrpAdvInterval(wanted.interval));
    candidate->modeIs(wanted.bidirectional ? Pim::PimMode::bidirectional : Pim::PimMode::sparse);
    rangesAre(*candidate, wanted);
  }
}

void bordersAre(Status& status, const RouterConfig& config, const Topology& topology) {
  std::map<IpGenPrefix, std::set<IntfId>> wanted;
  for (const BorderPlan& border : config.borders) {
    wanted[border.zone].insert(IntfId(topology.network(border.network).name));
  }
  std::set<IpGenPrefix> gone;
  for (const auto& [zone, border] : status.bsBorder()) gone.insert(zone);
  for (const auto& [zone, intfs] : wanted) gone.erase(zone);
  for (const IpGenPrefix& zone : gone) status.bsBorderDel(zone);
  for (const auto& [zone, intfs] : wanted) {
    const auto border = status.newBsBorder(zone);
    const std::set<IntfId> before = border->intfId();
    for (const IntfId& intf : before) border->intfIdIs(intf, intfs.contains(intf));
    for (const IntfId& intf : intfs) border->intfIdIs(intf, true);
  }
}

void permitIs(Status& status, const RouterConfig& config) {
  std::set<IpGenPrefix> wanted(config.crpPermit.begin(), config.crpPermit.end());
  if (wanted.empty()) wanted.insert(IpGenPrefix::zero(status.af()));
  const std::set<IpGenPrefix> before = status.crpPermit();
  for (const IpGenPrefix& prefix : wanted) status.crpPermitIs(prefix, true);
  for (const IpGenPrefix& prefix : before) {
    if (!wanted.contains(prefix)) status.crpPermitDel(prefix);
  }
}

}  // namespace

void statusIs(Pim::Bsr::Status& status, const RouterConfig& config, const Topology& topology,
              const IpGenAddr& loopback) {
  status.bsTimeoutIs(config.bsTimeout);
  status.szTimeoutIs(config.szTimeout);
  bordersAre(status, config, topology);
  permitIs(status, config);
  candidateRpsAre(status, config, loopback);  // so that a BSR that leaves announces what withdraws
  candidateBsrsAre(status, config, loopback);
}

}  // namespace Routing::Sim
