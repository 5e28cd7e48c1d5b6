#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <utility>
#include <vector>

#include "platform/pim/PimCodec.h"
#include "platform/pim/rp/RpSelection.h"
#include "platform/pim/wire/IpDatagram.h"

namespace Routing::Observe {

/// What somebody who only listens knows of the bootstrap mechanism in a network: the BSRs of every
/// zone and what they announce, advertisements, PIM routers, and packets that are bad. Instants are
/// seconds of the capture. What others can make it hold is bounded; what there is no room for is
/// counted.
class Observer {
 public:
  static constexpr std::size_t mostBsrs = 1024;   ///< over all zones; likewise the others
  static constexpr std::size_t mostRps = 131072;  ///< and ranges, over all BSRs
  static constexpr std::size_t mostSpeakers = 4096;

  /// Takes in one PIM message, whatever its octets are.
  void heard(double time, const Pim::IpPayload& packet);

  /// All of it as JSON; docs/pimbsrctl.md names the members.
  nlohmann::json report() const;

 private:
  struct Announced {
    std::uint16_t holdtime = 0;
    std::uint8_t priority = 0;
    double time = 0;
  };
  using Rps = std::map<IpGenAddr, Announced>;
  /// One range in the words of one BSR. RPs are gathered until all of a message are there.
  struct Range {
    bool bidir = false;
    std::uint16_t tag = 0;
    std::uint8_t announced = 0;
    Rps gathered;
    Rps whole;

    /// What it counts for in the bound.
    std::size_t size() const { return 1 + gathered.size() + whole.size(); }
  };
  struct Bsr {
    std::uint8_t priority = 0;
    std::uint8_t hashMaskLen = 0;
    double first = 0;
    double last = 0;
    std::uint64_t messages = 0;
    std::map<IpGenPrefix, Range> ranges;
  };
  using Zone = std::map<IpGenAddr, Bsr>;
  struct Advertiser {
    IpGenAddr source;
    IpGenAddr bsr;
    std::uint16_t holdtime = 0;
    std::uint8_t priority = 0;
    double last = 0;
    std::uint64_t messages = 0;
    Pim::CrpGroupData ranges;
  };

  void take(const Pim::BootstrapMessage& bsm);
  void take(const Pim::BootstrapGroupData& group, Bsr& bsr, std::uint16_t tag);
  void take(const Pim::CrpAdvMessage& advertisement);
  void take(const Pim::HelloMessage& hello);

  const std::pair<const IpGenAddr, Bsr>* current(const Zone& zone) const;
  bool served(const IpGenPrefix& zone, const IpGenPrefix& range) const;
  std::vector<Pim::RpMapping> mappings(AddressFamily af) const;
  nlohmann::json zoneJson(const IpGenPrefix& prefix, const Zone& zone) const;
  nlohmann::json advertisementsJson(AddressFamily af) const;
  nlohmann::json routersJson(AddressFamily af) const;
  nlohmann::json familyJson(AddressFamily af) const;

  double start_ = 0;
  double now_ = 0;
  std::uint64_t packets_ = 0;
  std::size_t bsrs_ = 0;
  std::size_t rps_ = 0;
  std::uint64_t noRoom_ = 0;
  std::map<IpGenPrefix, Zone> zones_;
  std::map<IpGenAddr, Advertiser> advertisers_;  // by RP
  std::map<IpGenAddr, std::uint64_t> routers_;   // Hellos by source
  std::map<std::string, std::uint64_t> bad_;     // by reason
  std::uint64_t others_ = 0;
};

}  // namespace Routing::Observe
