#pragma once

#include <rapidcheck.h>

#include <array>

#include "config/judge/Judgement.h"
#include "tests/support/ConfigBed.h"

// Configurations of one family in which much is shared and much collides.

namespace Routing::Agent {

/// A number below a limit, evenly spread whatever the test's size.
inline unsigned below(unsigned limit) {
  return *rc::gen::resize(rc::kNominalSize, rc::gen::inRange(0U, limit));
}

class RandomConfig {
 public:
  /// One that can be used: judge() finds no error in it.
  static DaemonConfig draw() {
    for (;;) {
      DaemonConfig config = RandomConfig().config_;
      if (!hasErrors(judge(config))) return config;
    }
  }

 private:
  RandomConfig() {
    for (const char* name : lists) listIs(name);
    if (below(8) == 0) return;
    FamilySettings& family = config_.vrfs[VrfName("default")][AddressFamily::ipv4];
    family.holdTime = 12 + below(3) * 100;
    family.scopeZoneTimeout = 120 + below(3) * 1000;
    for (unsigned list = below(3); list > 0; --list) family.rpFilter.insert(oneOf(lists));
    for (const char* name : interfaces) intfIs(family, name);
  }

  template <class Pool>
  static const char* oneOf(const Pool& pool) {
    return pool[below(static_cast<unsigned>(pool.size()))];
  }
  static IpGenPrefix onePrefix() { return *IpGenPrefix::fromText(oneOf(prefixes)); }

  void listIs(const std::string& name) {
    AccessList& list = config_.accessLists[{AddressFamily::ipv4, name}];
    for (unsigned rule = below(3); rule > 0; --rule) {
      const std::string action = below(4) == 0 ? "deny " : "permit ";
      list.rules[10 * rule] = TestKit::aclRule(action + oneOf(rulePrefixes));
    }
  }

  static void intfIs(FamilySettings& family, const std::string& name) {
    BorderSettings& border = family.interfaces[name].border;
    if (below(3) == 0) border.groups.insert(onePrefix());
    if (below(3) == 0) border.accessLists.insert(oneOf(lists));
    if (below(2) == 0) bsrIs(family.bsrCandidates[name]);
    if (below(2) == 0) rpIs(family.rpCandidates[name]);
  }

  static void bsrIs(BsrInterfaceSettings& candidate) {
    const auto settings = [] {
      return ZoneSettings{static_cast<std::uint8_t>(below(3)), below(33), 10 + below(3)};
    };
    for (unsigned zone = below(3); zone > 0; --zone) candidate.zones[onePrefix()] = settings();
    if (below(2) == 0) candidate.accessLists[oneOf(lists)] = settings();
  }

  static void rpIs(RpInterfaceSettings& candidate) {
    const auto priority = [] { return RangePriority{static_cast<std::uint8_t>(below(3)), true}; };
    for (unsigned range = below(3); range > 0; --range) candidate.ranges[onePrefix()] = priority();
    if (below(2) == 0) candidate.accessLists[oneOf(lists)] = priority();
    candidate.interval = static_cast<std::uint16_t>(1 + below(3));
    if (below(2) == 0) candidate.mode = Pim::PimMode::bidirectional;
  }

  static constexpr std::array interfaces{"eth0", "eth1", "eth2"};
  static constexpr std::array lists{"a", "b", "c"};
  static constexpr std::array prefixes{"224.0.0.0/4", "239.0.0.0/16", "239.1.0.0/16",
                                       "239.2.0.0/16", "238.0.0.0/8"};
  static constexpr std::array rulePrefixes{"224.0.0.0/4", "239.0.0.0/16", "239.1.0.0/16",
                                           "238.0.0.0/8", "10.0.0.0/8",   "10.1.0.0/16"};
  DaemonConfig config_;
};

}  // namespace Routing::Agent
