#include "bsr/engine/LastBsm.h"

#include <cstddef>
#include <map>
#include <utility>

namespace Routing::Pim::Bsr {
namespace {

// The pieces of one range name the same RP count and hold no more RPs together; otherwise the newer
// piece stands for the range. What names the zone goes on doing so, and nothing else begins to.
void join(BootstrapGroupData& held, const BootstrapGroupData& piece) {
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

void gather(BootstrapMessage& held, const BootstrapMessage& fragment) {
  auto& groups = held.groupRpData();
  std::map<IpGenPrefix, std::size_t> index;
  for (std::size_t i = 0; i < groups.size(); ++i) index.emplace(groups[i].prefix(), i);
  for (const BootstrapGroupData& piece : fragment.groupRpData()) {
    const auto [it, added] = index.emplace(piece.prefix(), groups.size());
    if (added) {
      held.groupRpDataAppend(piece);
    } else if (!piece.rpList().empty()) {
      join(groups[it->second], piece);
    }  // else the zone's entry, repeated at the head of every fragment
  }
}

std::shared_ptr<BootstrapMessage> withRangesOnce(const BootstrapMessage& bsm) {
  auto copy = std::make_shared<BootstrapMessage>(bsm);
  copy->groupRpDataIs({});
  gather(*copy, bsm);
  return copy;
}

std::size_t rpsOf(const BootstrapMessage& bsm) {
  std::size_t rps = 0;
  for (const auto& group : bsm.groupRpData()) rps += group.rpList().size();
  return rps;
}

}  // namespace

bool LastBsm::furtherFragment(const BootstrapMessage& bsm, double now) const {
  return message_ && bsm.fragmentTag() == message_->fragmentTag() &&
         bsm.bsrAddress() == message_->bsrAddress() &&
         bsm.bsrPriority() == message_->bsrPriority() &&
         bsm.hashMaskLen() == message_->hashMaskLen() && now - since_ < gatherTime &&
         message_->groupRpData().size() + bsm.groupRpData().size() <= maxGroups &&
         rpsOf(*message_) + rpsOf(bsm) <= maxRps;
}

void LastBsm::messageIs(const std::shared_ptr<BootstrapMessage>& bsm, double now) {
  if (!furtherFragment(*bsm, now)) {
    message_ = bsm;
    since_ = now;
    gathered_ = false;
    return;
  }
  if (!std::exchange(gathered_, true)) message_ = withRangesOnce(*message_);
  gather(*message_, *bsm);
}

}  // namespace Routing::Pim::Bsr
