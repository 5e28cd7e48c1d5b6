#include "platform/pim/wire/BootstrapRpList.h"

#include <algorithm>
#include <utility>

namespace Routing::Pim {
namespace {

bool precedes(const BootstrapRp& a, const BootstrapRp& b) {
  return a.address < b.address;
}

template <typename Rps>
auto place(Rps& rps, const IpGenAddr& address) {
  return std::lower_bound(rps.begin(), rps.end(), BootstrapRp{address, {}}, precedes);
}

}  // namespace

std::optional<BootstrapRpList> BootstrapRpList::fromRps(std::vector<BootstrapRp> rps) {
  if (!std::is_sorted(rps.begin(), rps.end(), precedes)) {
    std::sort(rps.begin(), rps.end(), precedes);
  }
  const auto sameAddress = [](const auto& a, const auto& b) { return a.address == b.address; };
  if (std::adjacent_find(rps.begin(), rps.end(), sameAddress) != rps.end()) return std::nullopt;
  BootstrapRpList list;
  list.rps_ = std::move(rps);
  return list;
}

const BootstrapRpData* BootstrapRpList::find(const IpGenAddr& address) const {
  const auto at = place(rps_, address);
  return at != rps_.end() && at->address == address ? &at->data : nullptr;
}

void BootstrapRpList::rpIs(const IpGenAddr& address, const BootstrapRpData& data) {
  if (rps_.empty() || rps_.back().address < address) {
    rps_.push_back({address, data});
    return;
  }
  const auto at = place(rps_, address);
  if (at->address == address) {
    at->data = data;
  } else {
    rps_.insert(at, {address, data});
  }
}

void BootstrapRpList::rpDel(const IpGenAddr& address) {
  const auto at = place(rps_, address);
  if (at != rps_.end() && at->address == address) rps_.erase(at);
}

}  // namespace Routing::Pim
