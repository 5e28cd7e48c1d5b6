#pragma once

#include <list>
#include <memory>
#include <string>
#include <string_view>

#include "agent/control/ControlCommands.h"
#include "tests/support/Octets.h"

namespace Routing::Agent {

/// One VRF and family of a daemon that exists only as entities, for tests to fill.
struct FakeInstance : Pim::PacketPort, Pim::UnicastRouting {
  FakeInstance(const std::string& vrf, AddressFamily family);

  bool send(const Pim::TransmitPacket&) override { return true; }
  std::vector<Pim::NextHop> nextHops(const IpGenAddr&) const override { return {}; }
  InstanceView view() const;

  /// Adds an RP to a zone's RP set and to PIM's mappings.
  void addRp(std::string_view zone, std::string_view range, std::string_view rp, unsigned priority,
             double setupTime, double expiryTime);
  /// Adds an RP to PIM's mappings only.
  Pim::RpEntry& addMapping(std::string_view range, std::string_view rp, unsigned priority);
  Pim::Bsr::ElectedBsrStatus& addBsr(std::string_view zone, std::string_view address);

  AddressFamily af;
  std::shared_ptr<Pim::PimStatus> pimStatus;
  std::shared_ptr<Pim::PamManager> pamManager;
  std::shared_ptr<Pim::Bsr::Status> status;
  std::shared_ptr<Pim::RpCandidateStatus> rpCandidate;
  std::shared_ptr<Pim::Bsr::PimBsrLimits> limits;
  std::shared_ptr<ZeuVrfStatus> upgrade = std::make_shared<ZeuVrfStatus>();
  std::map<IpGenPrefix, double> zoneExpiry;
};

/// A daemon that started at 1000 s and looks at the clock at 5000 s.
struct FakeAgent : AgentView, AgentCommands {
  FakeInstance& add(const std::string& vrf, AddressFamily af);
  ControlTarget target() { return {*this, *this, feed}; }

  void reload(ReloadDone done) override { done(outcome); }
  void prepareUpgrade() override { upgradePrepared = true; }
  void drain(const Candidacies& kinds) override { drained.drained = kinds; }
  void undrain() override { drained = {}; }
  std::size_t clear(const ClearOrder& order) override {
    cleared = order;
    return 7;
  }

  double now() const override { return 5000.0; }
  double startTime() const override { return 1000.0; }
  std::size_t timers() const override { return 3; }
  EventFeed& eventFeed() override { return events; }
  std::vector<InstanceView> instances() const override;
  std::uint64_t instanceChanges() const override { return list.size(); }
  DrainReport drainReport() const override { return drained; }
  std::shared_ptr<const Pim::AllIntfStatusDir> allIntfStatusDir() const override {
    return interfaces;
  }

  ReloadOutcome outcome;  // of every reload
  bool upgradePrepared = false;
  ClearOrder cleared;
  EventFeed events;
  DrainReport drained;
  std::list<FakeInstance> list;
  RpFeed feed{*this, [] { return std::string("now"); }};
  std::shared_ptr<Pim::AllIntfStatusDir> interfaces = std::make_shared<Pim::AllIntfStatusDir>();
};

using TestKit::addr;
using TestKit::prefix;

}  // namespace Routing::Agent
