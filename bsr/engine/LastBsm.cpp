#include "bsr/engine/LastBsm.h"

#include <algorithm>
#include <utility>

namespace Routing::Pim::Bsr {
namespace {

// The pieces of one range name the same RP count and hold no more RPs together; otherwise the newer
// piece stands for the range. What names the zone goes on doing so, and nothing else begins to.
void join(BootstrapGroupData& held, const BootstrapGroupData& piece) {
  if (held == piece) return;
  BootstrapRpList rps = held.rpList();
  for (const auto& [address, data] : piece.rpList()) rps.rpIs(address, data);
  if (held.rpCount() != piece.rpCount() || rps.size() > piece.rpCount()) {
    const std::uint8_t zoneBit = held.groupFlags() & GroupFlags::zoneFlag;
    held = piece;
    held.groupFlagsIs((piece.groupFlags() & ~GroupFlags::zoneFlag) | zoneBit);
    return;
  }
  held.fragRpCountIs(static_cast<std::uint8_t>(rps.size()));
  held.rpListIs(std::move(rps));
}

}  // namespace

bool LastBsm::furtherFragment(const BootstrapMessage& bsm, double now) const {
  return message_ && bsm.fragmentTag() == message_->fragmentTag() &&
         bsm.bsrAddress() == message_->bsrAddress() &&
         bsm.bsrPriority() == message_->bsrPriority() &&
         bsm.hashMaskLen() == message_->hashMaskLen() && now - since_ < gatherTime;
}

bool LastBsm::messageIs(const std::shared_ptr<BootstrapMessage>& bsm, double now) {
  const std::size_t entries = entriesOf(*bsm);
  if (!furtherFragment(*bsm, now)) clear();
  if (!budget_.take(entries)) {
    clear();
    return false;
  }
  entries_ += entries;
  if (!message_) {
    message_ = bsm;
    since_ = now;
    return true;
  }
  if (!std::exchange(own_, true)) {
    const auto first = std::exchange(message_, headOf(*message_));
    gather(*first);
  }
  gather(*bsm);
  return true;
}

void LastBsm::clear() {
  budget_.giveBack(std::exchange(entries_, 0));
  message_.reset();
  index_ = {};
  own_ = false;
}

void LastBsm::gather(const BootstrapMessage& fragment) {
  auto& groups = message_->groupRpData();
  std::size_t next = 0;  // where a message that is repeated has its next range
  for (const BootstrapGroupData& piece : fragment.groupRpData()) {
    if (next >= groups.size() || groups[next].prefix() != piece.prefix()) {
      next = placeOf(piece);
    }
    // Without RPs it is the zone's entry, repeated at the head of every fragment.
    if (!piece.rpList().empty()) join(groups[next], piece);
    ++next;
  }
}

// The range of the piece in the message, which gets it if need be.
std::size_t LastBsm::placeOf(const BootstrapGroupData& piece) {
  auto& groups = message_->groupRpData();
  const auto precedes = [&](std::uint32_t place, const IpGenPrefix& prefix) {
    return groups[place].prefix() < prefix;
  };
  auto at = index_.end();
  if (!index_.empty() && !precedes(index_.back(), piece.prefix())) {
    at = std::lower_bound(index_.begin(), index_.end(), piece.prefix(), precedes);
    if (groups[*at].prefix() == piece.prefix()) return *at;
  }
  index_.insert(at, static_cast<std::uint32_t>(groups.size()));
  groups.push_back(piece);
  return groups.size() - 1;
}

}  // namespace Routing::Pim::Bsr
