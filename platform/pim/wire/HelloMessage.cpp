#include "platform/pim/wire/HelloMessage.h"

#include <ostream>
#include <tuple>

namespace Routing::Pim {

bool operator==(const HelloMessage& a, const HelloMessage& b) {
  const auto fields = [](const HelloMessage& m) {
    return std::tie(m.holdtime_, m.lanPruneDelay_, m.drPriority_, m.generationId_, m.addressList_);
  };
  return a.sameAddresses(b) && fields(a) == fields(b);
}

std::ostream& operator<<(std::ostream& out, const HelloMessage& hello) {
  out << "Hello from " << hello.source();
  if (hello.holdtime()) out << " holdtime " << *hello.holdtime();
  if (const auto& delay = hello.lanPruneDelay()) {
    out << " propagation delay " << delay->propagationDelay << " override interval "
        << delay->overrideInterval << (delay->tBit ? " T" : "");
  }
  if (hello.drPriority()) out << " DR priority " << *hello.drPriority();
  if (hello.generationId()) out << " generation ID " << *hello.generationId();
  for (const auto& address : hello.addressList()) out << " secondary " << address;
  return out;
}

}  // namespace Routing::Pim
