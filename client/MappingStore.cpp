#include "client/MappingStore.h"

#include <nlohmann/json.hpp>

#include "platform/pim/rp/RpSelector.h"
#include "platform/pim/rp/RpSetDigest.h"

namespace Routing::Client {
namespace {

std::string textOf(const nlohmann::json& line, const char* member) {
  const auto at = line.find(member);
  return at != line.end() && at->is_string() ? at->get<std::string>() : std::string();
}

unsigned numberOf(const nlohmann::json& line, const char* member) {
  const auto at = line.find(member);
  return at != line.end() && at->is_number_unsigned() ? at->get<unsigned>() : 0;
}

}  // namespace

bool MappingStore::read(const nlohmann::json& line, StoredMapping& mapping) {
  const auto range = IpGenPrefix::fromText(textOf(line, "group-range"));
  const auto rp = IpGenAddr::fromText(textOf(line, "rp-address"));
  if (!range || !rp || range->af() != rp->af()) return false;
  mapping.mapping = {
      .groupRange = *range,
      .rp = *rp,
      .mode = textOf(line, "mode") == "bidirectional" ? std::uint8_t{2} : std::uint8_t{1},
      .priority = numberOf(line, "priority"),
      .hashMaskLen = numberOf(line, "hash-mask-length")};
  mapping.vrf = textOf(line, "vrf");
  mapping.zone = textOf(line, "zone");
  mapping.origin = textOf(line, "origin");
  return true;
}

void MappingStore::put(const StoredMapping& mapping) {
  remove(mapping);
  Family& family = families_[{mapping.vrf, mapping.mapping.rp.af()}];
  family.ranges[mapping.mapping.groupRange].insert_or_assign(mapping.mapping.rp, mapping);
  ++family.count;
  family.digest += Pim::rpMappingDigest(mapping.mapping);
}

void MappingStore::remove(const StoredMapping& mapping) {
  const auto family = families_.find({mapping.vrf, mapping.mapping.rp.af()});
  if (family == families_.end()) return;
  const auto range = family->second.ranges.find(mapping.mapping.groupRange);
  if (range == family->second.ranges.end()) return;
  const auto known = range->second.find(mapping.mapping.rp);
  if (known == range->second.end()) return;
  family->second.digest -= Pim::rpMappingDigest(known->second.mapping);
  --family->second.count;
  range->second.erase(known);
  if (range->second.empty()) family->second.ranges.erase(range);
}

bool MappingStore::select(const std::string& vrf, const IpGenAddr& group,
                          StoredMapping& found) const {
  const auto family = families_.find({vrf, group.af()});
  const auto mappingsOf = [&](const IpGenPrefix& range) {
    std::vector<Pim::RpMapping> mappings;
    if (family == families_.end()) return mappings;
    const auto at = family->second.ranges.find(range);
    if (at == family->second.ranges.end()) return mappings;
    for (const auto& entry : at->second) mappings.push_back(entry.second.mapping);
    return mappings;
  };
  const auto rp = Pim::selectRp(group, mappingsOf).rp;
  if (!rp) return false;
  found = {.mapping = *rp, .vrf = vrf, .zone = {}, .origin = "group"};
  if (family == families_.end()) return true;
  const auto range = family->second.ranges.find(rp->groupRange);
  if (range != family->second.ranges.end() && range->second.contains(rp->rp)) {
    found = range->second.at(rp->rp);
  }
  return true;
}

std::uint64_t MappingStore::digest(const std::string& vrf, AddressFamily af) const {
  const auto family = families_.find({vrf, af});
  return family == families_.end() ? 0 : family->second.digest;
}

std::size_t MappingStore::count(const std::string& vrf, AddressFamily af) const {
  const auto family = families_.find({vrf, af});
  return family == families_.end() ? 0 : family->second.count;
}

}  // namespace Routing::Client
