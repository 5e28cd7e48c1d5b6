#include "platform/pim/wire/BootstrapMessage.h"

#include <ostream>
#include <tuple>

namespace Routing::Pim {

bool operator==(const BootstrapMessage& a, const BootstrapMessage& b) {
  const auto fields = [](const BootstrapMessage& m) {
    return std::tie(m.bsrAddress_, m.fragmentTag_, m.bsrPriority_, m.hashMaskLen_, m.forward_,
                    m.groupRpData_);
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

std::size_t entriesOf(const BootstrapMessage& bsm) {
  std::size_t entries = bsm.groupRpData().size();
  for (const auto& group : bsm.groupRpData()) entries += group.rpList().size();
  return entries;
}

IpGenPrefix zoneOf(const BootstrapMessage& bsm, const IpGenPrefix& globalZone) {
  const auto& groups = bsm.groupRpData();
  return !groups.empty() && groups.front().zone() ? groups.front().prefix() : globalZone;
}

std::ostream& operator<<(std::ostream& out, const BootstrapMessage& bsm) {
  return out << "BSM from " << bsm.source() << " BSR " << bsm.bsrAddress() << " priority "
             << unsigned{bsm.bsrPriority()} << " tag " << bsm.fragmentTag() << " groups "
             << bsm.groupRpData().size() << (bsm.forward() ? "" : " no-forward");
}

}  // namespace Routing::Pim
