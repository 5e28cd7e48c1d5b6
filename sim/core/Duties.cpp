#include "sim/core/Duties.h"

#include <algorithm>

#include "config/judge/PermittedLists.h"
#include "sim/core/Configs.h"

namespace Routing::Sim {
namespace {

/// Fills in the duties, part by part.
class DutyBook {
 public:
  DutyBook(const Agent::DaemonConfig& config, AddressFamily af, const Addresses& addresses)
      : settings_(settingsOf(config, af)), af_(af), addresses_(addresses), lists_(config) {}

  Duties duties() {
    duties_.holdTime = settings_.holdTime;
    for (const auto& [name, candidate] : settings_.bsrCandidates) addBsr(name, candidate);
    for (const auto& [name, candidate] : settings_.rpCandidates) addRp(name, candidate);
    for (const auto& [name, interface] : settings_.interfaces) addInterface(name, interface);
    for (const std::string& list : settings_.rpFilter) {
      const auto& permitted = permittedBy(list).unicast;
      duties_.permit.insert(permitted.begin(), permitted.end());
    }
    return duties_;
  }

 private:
  const AclPrefixes& permittedBy(const std::string& list) {
    static const AclPrefixes none;
    const AclPrefixes* found = lists_.find(af_, list);
    return found == nullptr ? none : *found;
  }

  // Of what is said twice of a prefix, the last list by name holds.
  void addBsr(const std::string& name, const Agent::BsrInterfaceSettings& candidate) {
    if (!addresses_.contains(IntfId(name))) return;
    for (const auto& [zone, settings] : candidate.zones) duties_.zones[zone] = settings.interval;
    for (const auto& [list, settings] : candidate.accessLists) {
      for (const auto& zone : permittedBy(list).group) duties_.zones[zone] = settings.interval;
    }
  }

  // Interfaces that share an address share the candidacy; the first by name says how it is.
  void addRp(const std::string& name, const Agent::RpInterfaceSettings& candidate) {
    const auto address = addresses_.find(IntfId(name));
    if (address == addresses_.end()) return;
    std::map<IpGenPrefix, std::uint8_t> ranges;
    for (const auto& [range, priority] : candidate.ranges) ranges[range] = priority.value;
    for (const auto& [list, priority] : candidate.accessLists) {
      for (const IpGenPrefix& range : permittedBy(list).group) ranges[range] = priority.value;
    }
    if (ranges.empty()) return;
    const bool bidirectional = candidate.mode == Pim::PimMode::bidirectional;
    const auto [rp, isNew] =
        duties_.rps.try_emplace(address->second, Duties::Rp{{}, candidate.interval, bidirectional});
    rp->second.ranges.merge(ranges);
  }

  void addInterface(const std::string& name, const Agent::InterfaceSettings& interface) {
    duties_.interfaces.push_back(name);
    for (const IpGenPrefix& zone : interface.border.groups) duties_.borders[zone].insert(name);
    for (const std::string& list : interface.border.accessLists) {
      for (const auto& zone : permittedBy(list).group) duties_.borders[zone].insert(name);
    }
  }

  const Agent::FamilySettings& settings_;
  const AddressFamily af_;
  const Addresses& addresses_;
  Agent::PermittedLists lists_;
  Duties duties_;
};

}  // namespace

bool Duties::passes(const std::string& intf, const IpGenPrefix& zone) const {
  if (!std::ranges::binary_search(interfaces, intf)) return false;
  const auto isBorderOf = [&](const IpGenPrefix& prefix) {
    const auto border = borders.find(prefix);
    return border != borders.end() && border->second.contains(intf);
  };
  return !isBorderOf(zone) && !isBorderOf(IpGenPrefix::multicast(zone.af()));
}

bool Duties::permits(const IpGenAddr& rp) const {
  return permit.empty() ||
         std::any_of(permit.begin(), permit.end(),
                     [&](const IpGenPrefix& prefix) { return prefix.contains(rp); });
}

void Pace::slowerOf(const Pace& other) {
  holdTime = std::max(holdTime, other.holdTime);
  bsrPeriod = std::max(bsrPeriod, other.bsrPeriod);
  rpInterval = std::max(rpInterval, other.rpInterval);
}

Pace paceOf(const Duties& duties) {
  Pace pace{duties.holdTime, 0, 0};
  for (const auto& [zone, interval] : duties.zones) {
    pace.bsrPeriod = std::max(pace.bsrPeriod, interval);
  }
  for (const auto& [address, rp] : duties.rps) {
    pace.rpInterval = std::max(pace.rpInterval, std::uint32_t{rp.interval});
  }
  return pace;
}

Duties dutiesOf(const Agent::DaemonConfig& config, AddressFamily af, const Addresses& addresses) {
  return DutyBook(config, af, addresses).duties();
}

}  // namespace Routing::Sim
