#include "agent/router/DaemonInstance.h"

#include <cmath>
#include <utility>

#include "agent/router/IdleCandidates.h"
#include "bsr/engine/BsrNonCandidateSm.h"
#include "bsr/engine/PimBsrSm.h"
#include "config/entities/HelloSettings.h"
#include "config/entities/LimitWriter.h"
#include "config/entities/Unwanted.h"

namespace Routing::Agent {
namespace {

/// Seconds; routers of a link that comes up at once still do not speak at once.
constexpr double firstHelloDelay = 0.03;

void clearRefusals(Pim::Bsr::PimBsrLimits& limits) {
  using Limits = Pim::Bsr::PimBsrLimits;
  for (const auto set :
       {&Limits::refusedZonesIs, &Limits::refusedGroupsIs, &Limits::refusedRpsIs,
        &Limits::refusedRpsOfRangeIs, &Limits::refusedFragmentsIs, &Limits::refusedKeptIs}) {
    (limits.*set)(0);
  }
}

void clearMechanism(Pim::Bsr::PimBsrCounters& counters) {
  using Counters = Pim::Bsr::PimBsrCounters;
  for (const auto set :
       {&Counters::rxIs, &Counters::rxErrorIs, &Counters::rxSuccessIs, &Counters::rxBsmIs,
        &Counters::rxBsmSuccessIs, &Counters::rxBsmErrorIs, &Counters::rxCrpAdvIs,
        &Counters::rxCrpAdvSuccessIs, &Counters::rxCrpAdvErrorIs, &Counters::txIs,
        &Counters::txErrorIs, &Counters::txSuccessIs}) {
    (counters.*set)(0);
  }
  counters.errCountersIs({});
}

std::shared_ptr<Pim::Bsr::PimBsrLimits> newLimits(const LimitSettings& settings) {
  auto limits = std::make_shared<Pim::Bsr::PimBsrLimits>();
  limitsAre(*limits, settings);
  return limits;
}

/// What an earlier life left, else a new status.
std::shared_ptr<Pim::Bsr::Status> statusOf(const StateFile* state, const VrfName& vrf,
                                           AddressFamily af, const Pim::Bsr::PimBsrLimits& limits,
                                           bool& resumed) {
  auto status = state == nullptr ? nullptr : state->restored(limits);
  resumed = status != nullptr;
  return resumed ? status : Pim::Bsr::newStatus(vrf, af);
}

}  // namespace

DaemonInstance::DaemonInstance(const InstanceSurroundings& surroundings, const VrfName& vrf,
                               AddressFamily af)
    : vrf_(vrf),
      af_(af),
      interfaces_(surroundings.interfaces),
      config_(surroundings.entities.written()),
      timeouts_(surroundings.timeouts),
      loop_(surroundings.loop),
      clearConfig_(surroundings.entities.families().at({vrf, af}).clearConfig),
      countersCleared_(surroundings.loop.clock().now()),
      routing_(surroundings.routeSource, surroundings.interfaces, surroundings.loop.clock(), vrf),
      localRoutes_(af),
      sockets_(surroundings.loop, surroundings.interfaces, vrf, af),
      pim_(vrf, af, routing_, sockets_, surroundings.loop.timerWheel(), surroundings.random),
      sourceIntfSm_(std::make_shared<SourceIntfSm>(vrf)),
      limits_(newLimits(config_.limits)),
      state_(surroundings.state.fileOf(vrf, af)),
      status_(statusOf(state_.get(), vrf, af, *limits_, resumed_)),
      rpCandidate_(std::make_shared<Pim::RpCandidateStatus>(vrf)),
      upgrade_(surroundings.upgrade.vrfStatus(af)),
      bsr_(inputs(surroundings, surroundings.entities.families().at({vrf, af}))),
      watch_(watched(), surroundings.loop.timerWheel(), resumed_, surroundings.events) {
  sockets_.receiverIs([this](const Pim::ReceivedPacket& packet) { pim_.receive(packet); });
  handleConfig();
  takeUpInterfaces();
  if (state_) state_->follow(status_);
}

DaemonInstance::~DaemonInstance() {
  sockets_.receiverIs({});
}

Pim::Bsr::BsrInputs DaemonInstance::inputs(const InstanceSurroundings& surroundings,
                                           const FamilyEntities& entities) {
  return {status_,
          pim_.pimStatus(),
          pim_.pamManager(),
          localRoutes_.status(),
          surroundings.allIntfStatusDir,
          rpCandidate_,
          limits_,
          &surroundings.loop.timerWheel(),
          entities.config,
          entities.vrfIntfConfig,
          entities.clearConfig,
          sourceIntfSm_,
          surroundings.entities.accessLists(af_),
          surroundings.upgrade.shutdownStatus(),
          surroundings.upgrade.vrfStatus(af_),
          Pim::Bsr::BsrPolicy::continuous(),
          surroundings.random};
}

WatchedInstance DaemonInstance::watched() const {
  return {
      pim_.pimStatus(),          status_, rpCandidate_, limits_, bsr_.crpMsgStatus(), sourceIntfSm_,
      [this] { return zones(); }};
}

std::set<IpGenPrefix> DaemonInstance::zones() const {
  std::set<IpGenPrefix> zones;
  for (const auto& entry : bsr_.engine().candidateSm()) zones.insert(entry.first);
  for (const auto& entry : bsr_.engine().nonCandidateSm()) zones.insert(entry.first);
  return zones;
}

const FamilySettings& DaemonInstance::settings() const {
  return config_.vrfs.at(vrf_).at(af_);
}

void DaemonInstance::handleConfig() {
  limitsAre(*limits_, config_.limits);
  pimIntfsAre(settings().interfaces);
  overrideTimeouts();
}

void DaemonInstance::takeUpInterfaces() {
  for (const auto& [intf, interface] : interfaces_.interfaces()) {
    if (interface.vrf == vrf_) handleIntf(intf, nullptr, &interface);
  }
  sourceIntfSm_->initialDumpDoneIs(true);
}

void DaemonInstance::overrideTimeouts() {
  if (timeouts_.bsTimeout) status_->bsTimeoutIs(*timeouts_.bsTimeout);
  if (timeouts_.szTimeout) status_->szTimeoutIs(*timeouts_.szTimeout);
}

void DaemonInstance::pimIntfsAre(const std::map<std::string, InterfaceSettings>& interfaces) {
  const auto isWanted = [&](const IntfId& intf) { return interfaces.contains(intf.text()); };
  for (const IntfId& intf : unwanted(pimIntfs_, isWanted)) {
    pimIntfDel(intf);
    pimIntfs_.erase(intf);
  }
  PermittedLists lists(config_);
  for (const auto& [name, settings] : interfaces) {
    const IntfId intf(name);
    pim_.helloConfigIs(intf, helloConfig(settings, af_, firstHelloDelay, lists));
    if (!pimIntfs_.insert(intf).second) continue;
    const Interface* interface = interfaces_.interface(intf);
    if (interface != nullptr && interface->vrf == vrf_) pimIntfIs(intf, *interface, false);
  }
}

// Candidates lose their address first and get it last: what they have to say about it leaves while
// the interfaces of PIM are there.
void DaemonInstance::handleIntf(const IntfId& intf, const Interface* before, const Interface* now) {
  localRoutes_.intfChanged(before, now);
  const IpGenAddr address = now == nullptr ? IpGenAddr() : sourceAddress(*now, af_);
  if (address.isUnset()) sourceIntfSm_->addressDel(intf);
  if (pimIntfs_.contains(intf)) updatePim(intf, before, now);
  if (!address.isUnset()) sourceIntfSm_->addressIs(intf, address);
}

void DaemonInstance::updatePim(const IntfId& intf, const Interface* before, const Interface* now) {
  if (now == nullptr || (before != nullptr && before->link.index != now->link.index)) {
    pimIntfDel(intf);
  }
  if (now != nullptr) pimIntfIs(intf, *now, before != nullptr && before->mtuDips != now->mtuDips);
}

void DaemonInstance::pimIntfIs(const IntfId& intf, const Interface& now, bool groupsLost) {
  const HelloAddresses addresses = helloAddresses(now, af_);
  const bool speaks = !addresses.primary.isUnset();
  if (groupsLost) sockets_.intfDel(intf);
  if (speaks) sockets_.intfIs(intf, now.link.index);
  pim_.intfIs(intf, addresses.primary, addresses.secondary, now.link.up);
  // With its last address a device loses its groups in the kernel; the socket is of no more use.
  if (!speaks) sockets_.intfDel(intf);
}

void DaemonInstance::pimIntfDel(const IntfId& intf) {
  pim_.intfDel(intf);  // says goodbye, so the socket goes last
  sockets_.intfDel(intf);
}

void DaemonInstance::settle() {
  if (state_) state_->flush();
  watch_.settle();
}

std::size_t DaemonInstance::clear(const ClearOrder& order) {
  watch_.clearing();
  switch (order.what) {
    case ClearOrder::What::neighbors:
      return order.neighbor.isUnset() ? clearNeighbors() : pim_.forgetNeighbor(order.neighbor);
    case ClearOrder::What::bsr:
      return bsr_.engine().clearBsr(order.zone);
    case ClearOrder::What::rp:
      return bsr_.engine().clearRps(order.zone, order.rp);
    case ClearOrder::What::counters:
      clearCounters();
  }
  return 0;
}

std::size_t DaemonInstance::clearNeighbors() {
  std::size_t neighbors = 0;
  for (const auto& entry : pim_.pimStatus()->pimIntf())
    neighbors += entry.second->neighbor().size();
  pim_.forgetNeighbors();
  return neighbors;
}

void DaemonInstance::clearCounters() {
  clearConfig_->countersCountInc();  // the packet layer's
  if (const auto counters = status_->counters()) clearMechanism(*counters);
  pim_.pamManager()->clearTallies();
  pim_.pamManager()->drops().clear();
  clearRefusals(*limits_);
  countersCleared_ = loop_.clock().now();
  overflowsCleared_ = sockets_.overflows();
}

void DaemonInstance::shutdown() {
  pim_.shutdown();
  if (state_) state_->remove();
}

InstanceView DaemonInstance::view() const {
  InstanceView view{vrf_,    af_,          pim_.pimStatus(), pim_.pamManager(),
                    status_, rpCandidate_, limits_,          upgrade_};
  for (const auto& [zone, machine] : bsr_.engine().nonCandidateSm()) {
    if (std::isfinite(machine->szExpiry())) view.zoneExpiry.emplace(zone, machine->szExpiry());
  }
  view.idle = idleCandidates(settings(), interfaces_, *status_);
  view.countersCleared = countersCleared_;
  view.overflows = sockets_.overflows() - overflowsCleared_;
  view.events = &watch_.book();
  view.engine = &bsr_.engine();
  view.routing = &routing_;
  return view;
}

}  // namespace Routing::Agent
