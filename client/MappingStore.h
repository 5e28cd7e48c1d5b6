#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <utility>

#include "platform/pim/rp/RpSelection.h"

namespace Routing::Client {

/// A mapping as the feed tells it.
struct StoredMapping {
  Pim::RpMapping mapping;
  std::string vrf;
  std::string zone;
  std::string origin;
};

/// The mappings of all VRFs and families of a feed.
class MappingStore {
 public:
  /// Reads the mapping of a line; false if there is none or it makes no sense.
  static bool read(const nlohmann::json& line, StoredMapping& mapping);

  void put(const StoredMapping& mapping);
  void remove(const StoredMapping& mapping);

  /// The RP of a group, with the zone and origin of its mapping; one that the group itself names
  /// has none.
  bool select(const std::string& vrf, const IpGenAddr& group, StoredMapping& found) const;
  std::uint64_t digest(const std::string& vrf, AddressFamily af) const;
  std::size_t count(const std::string& vrf, AddressFamily af) const;

 private:
  struct Family {
    std::map<IpGenPrefix, std::map<IpGenAddr, StoredMapping>> ranges;
    std::size_t count = 0;
    std::uint64_t digest = 0;
  };
  using Key = std::pair<std::string, AddressFamily>;

  std::map<Key, Family> families_;
};

}  // namespace Routing::Client
