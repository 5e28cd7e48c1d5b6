#include "platform/pim/wire/BootstrapMessage.h"

#include <ostream>
#include <tuple>

namespace Routing::Pim {

std::uint64_t ContentNumber::next() {
  static thread_local std::uint64_t last = 0;  // a message belongs to one thread
  return ++last;
}

std::size_t BootstrapMessage::entries() const {
  if (!asTheyCame_.empty()) return asTheyCame_.entries();
  std::size_t entries = groupRpData_.size();
  for (const auto& group : groupRpData_) entries += group.rpList().size();
  return entries;
}

std::optional<UsualRanges::Head> BootstrapMessage::firstRange() const {
  if (!asTheyCame_.empty()) return asTheyCame_.first();
  if (groupRpData_.empty()) return std::nullopt;
  const BootstrapGroupData& first = groupRpData_.front();
  return UsualRanges::Head{first.prefix(), first.groupFlags()};
}

void BootstrapMessage::unfold() const {
  groupRpData_ = asTheyCame_.groups();
  asTheyCame_ = {};
}

bool operator==(const BootstrapMessage& a, const BootstrapMessage& b) {
  const auto fields = [](const BootstrapMessage& m) {
    return std::tie(m.bsrAddress_, m.fragmentTag_, m.bsrPriority_, m.hashMaskLen_, m.forward_,
                    m.groupRpData());
  };
  return a.sameAddresses(b) && fields(a) == fields(b);
}

std::shared_ptr<BootstrapMessage> withForward(const std::shared_ptr<BootstrapMessage>& bsm,
                                              bool forward) {
  if (bsm->forward() == forward) return bsm;
  auto copy = std::allocate_shared<BootstrapMessage>(PoolAllocator<BootstrapMessage>{}, *bsm);
  copy->forwardIs(forward);
  return copy;
}

std::shared_ptr<BootstrapMessage> headOf(const BootstrapMessage& bsm) {
  auto head = std::allocate_shared<BootstrapMessage>(PoolAllocator<BootstrapMessage>{});
  head->sourceIs(bsm.source());
  head->destinationIs(bsm.destination());
  head->bsrAddressIs(bsm.bsrAddress());
  head->bsrPriorityIs(bsm.bsrPriority());
  head->hashMaskLenIs(bsm.hashMaskLen());
  head->fragmentTagIs(bsm.fragmentTag());
  head->forwardIs(bsm.forward());
  return head;
}

IpGenPrefix zoneOf(const BootstrapMessage& bsm, const IpGenPrefix& globalZone) {
  const auto first = bsm.firstRange();
  return first && GroupFlags(first->flags).zone() ? first->prefix : globalZone;
}

std::ostream& operator<<(std::ostream& out, const BootstrapMessage& bsm) {
  return out << "BSM from " << bsm.source() << " BSR " << bsm.bsrAddress() << " priority "
             << unsigned{bsm.bsrPriority()} << " tag " << bsm.fragmentTag() << " groups "
             << bsm.ranges() << (bsm.forward() ? "" : " no-forward");
}

}  // namespace Routing::Pim
