#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "bsr/types/Config.h"
#include "bsr/types/Limits.h"
#include "platform/acl/AclRule.h"
#include "platform/net/AddressFamily.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/net/VrfName.h"
#include "platform/pim/PimTypes.h"

/// The configuration of the daemon as values, with all defaults filled in. The order of the file
/// leaves no trace, so configurations that mean the same are equal.
namespace Routing::Agent {

/// The rules of an access list by sequence number.
struct AccessList {
  AclType type = AclType::standard;
  std::map<std::uint32_t, AclRule> rules;

  friend bool operator==(const AccessList&, const AccessList&) = default;
};

/// Group prefixes and access lists for which an interface is a BSR border; a border without either
/// is one for the whole multicast range. Nothing where the interface is no border.
struct BorderSettings {
  std::set<IpGenPrefix> groups;
  std::set<std::string> accessLists;

  friend bool operator==(const BorderSettings&, const BorderSettings&) = default;
};

/// PIM on an interface.
struct InterfaceSettings {
  bool helloPassive = false;          ///< another program of this router sends the Hellos
  double helloInterval = 30;          ///< seconds
  std::uint16_t helloHoldtime = 105;  ///< seconds; 3.5 Hello intervals unless given
  std::uint32_t drPriority = 0;  ///< higher wins; 1 unless given or heard where Hellos are passive
  std::uint16_t propagationDelay = 500;   ///< milliseconds
  std::uint16_t overrideInterval = 2500;  ///< milliseconds
  BorderSettings border;
  std::set<std::string> neighborFilter;  ///< names of access lists; everybody if there are none

  friend bool operator==(const InterfaceSettings&, const InterfaceSettings&) = default;
};

/// What an interface's candidate BSR claims in a zone (RFC 5059 section 5).
struct ZoneSettings {
  std::uint8_t priority = 64;      ///< higher wins
  std::uint32_t hashMaskLen = 30;  ///< bits; 126 in IPv6 unless given
  std::uint32_t interval = 60;     ///< seconds

  friend bool operator==(const ZoneSettings&, const ZoneSettings&) = default;
};

/// The zones of an interface whose address is a candidate BSR.
struct BsrInterfaceSettings {
  std::map<IpGenPrefix, ZoneSettings> zones;
  std::map<std::string, ZoneSettings> accessLists;

  friend bool operator==(const BsrInterfaceSettings&, const BsrInterfaceSettings&) = default;
};

/// Priority of a group range, 0 the best. Who writes the default means the same as who leaves it.
struct RangePriority {
  static constexpr std::uint8_t byDefault = 192;

  std::uint8_t value = byDefault;
  bool given = false;

  friend bool operator==(const RangePriority& a, const RangePriority& b) {
    return a.value == b.value;
  }
};

/// The group ranges of an interface whose address is a candidate RP.
struct RpInterfaceSettings {
  std::map<IpGenPrefix, RangePriority> ranges;
  std::map<std::string, RangePriority> accessLists;
  Pim::PimMode mode = Pim::PimMode::sparse;
  std::uint16_t interval = 60;  ///< seconds between advertisements

  friend bool operator==(const RpInterfaceSettings&, const RpInterfaceSettings&) = default;
};

/// One VRF and address family. Maps are by interface name.
struct FamilySettings {
  std::map<std::string, InterfaceSettings> interfaces;
  std::uint32_t holdTime = Pim::Bsr::Config::holdTimeDefault;  ///< seconds
  /// Seconds, as given: ten hold times may be more.
  std::uint32_t scopeZoneTimeout = Pim::Bsr::Config::szTimeoutDefault;
  std::set<std::string> rpFilter;  ///< names of access lists
  std::map<std::string, BsrInterfaceSettings> bsrCandidates;
  std::map<std::string, RpInterfaceSettings> rpCandidates;

  friend bool operator==(const FamilySettings&, const FamilySettings&) = default;
};

using VrfSettings = std::map<AddressFamily, FamilySettings>;

/// Bounds in every VRF and family.
struct LimitSettings {
  std::uint32_t zones = Pim::Bsr::PimBsrLimits::maxZonesDefault;
  std::uint32_t groups = Pim::Bsr::PimBsrLimits::maxGroupsDefault;
  std::uint32_t rps = Pim::Bsr::PimBsrLimits::maxRpsDefault;
  std::uint32_t fragments = Pim::Bsr::PimBsrLimits::maxFragmentsDefault;

  friend bool operator==(const LimitSettings&, const LimitSettings&) = default;
};

struct DaemonConfig {
  std::string controlSocket = "/run/pimbsrd/control.sock";
  std::string stateDirectory;  ///< "none" for none; beside the control socket unless given
  std::string metrics;         ///< where they are served, as "127.0.0.1:9593"; nowhere if empty
  std::string consumer;        ///< path of a program that is told of the RPs; none if empty
  std::string logLevel = "info";
  std::map<std::string, int> traces;  ///< levels by facility prefix; below 0 nothing
  LimitSettings limits;
  std::map<std::pair<AddressFamily, std::string>, AccessList> accessLists;
  std::map<VrfName, VrfSettings> vrfs;

  friend bool operator==(const DaemonConfig&, const DaemonConfig&) = default;
};

/// The directory in which the daemon keeps its state, nothing if it is to keep none. Unless one is
/// given it bears the name of the control socket with the ending ".state", so that it is as much
/// the daemon's own as that is.
std::optional<std::string> stateDirectoryOf(const DaemonConfig& config);

}  // namespace Routing::Agent
