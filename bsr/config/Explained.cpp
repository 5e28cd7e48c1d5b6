#include "bsr/config/Explained.h"

namespace Routing::Pim::Bsr {

Explained::Explained(const ConfigContext& context)
    : permits(context), borders(context), zones(context), rps(context), context_(context) {}

void Explained::heldIs(bool held) {
  held_ = held;
  settle();
}

void Explained::editingIs(bool editing) {
  const Order order = editing_ ? Order::rpsFirst : Order::zonesFirst;
  held_ = editing_ = editing;
  settle(order);
}

void Explained::settle(Order order) {
  if (held_ || settling_) return;
  zones.check();  // before anything is written
  settling_ = true;
  const struct End {
    bool& settling;
    ~End() { settling = false; }
  } end{settling_};
  if (std::exchange(first_, false)) doRemoveExtraStatusEntries();
  while (!settled()) {
    zones.check();  // reactors of the status may have claimed more
    permits.settle();
    borders.settle();
    if (order == Order::rpsFirst) rps.settle();
    zones.settle();
    rps.settle();  // also what the zones' writing has changed
  }
}

bool Explained::settled() const {
  return permits.settled() && borders.settled() && zones.settled() && rps.settled();
}

void Explained::doRemoveExtraStatusEntries() const {
  BSR_TRACE(sm, 9, "");
  borders.removeExtra();
  zones.removeExtra();
  rps.removeExtra();
  permits.removeExtra();
  zones.removeExtraOwners();
}

}  // namespace Routing::Pim::Bsr
