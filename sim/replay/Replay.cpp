#include "sim/replay/Replay.h"

#include <algorithm>
#include <utility>

namespace Routing::Sim {

void Replay::hear(double time, const Pim::IpPayload& packet) {
  if (!std::exchange(started_, true)) start_ = time;
  goTo(std::max(clock_.now(), time - start_));
  (packet.source.af() == AddressFamily::ipv4 ? v4_ : v6_).hear(packet);
}

void Replay::goTo(double instant) {
  while (wheel_.nextExpiry() <= instant) {
    clock_.nowIs(std::max(clock_.now(), wheel_.nextExpiry()));
    wheel_.fireDue();
  }
  clock_.nowIs(instant);
}

}  // namespace Routing::Sim
