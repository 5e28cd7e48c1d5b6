#include "platform/pim/DropLog.h"

#include <algorithm>
#include <utility>

namespace Routing::Pim {
namespace {

bool alike(const Drop& a, const Drop& b) {
  return a.code == b.code && a.fault == b.fault && a.intf == b.intf && a.source == b.source &&
         a.subject == b.subject && a.zone == b.zone;
}

}  // namespace

bool mayBeEcho(const Drop& drop) {
  return drop.code == DropCode::noRpfNeighbor || drop.code == DropCode::wrongRpfNeighbor ||
         drop.code == DropCode::noForward;
}

void DropLog::add(Drop drop) {
  drop.time = clock_ ? clock_() : 0.0;
  const auto same = std::find_if(last_.begin(), last_.end(),
                                 [&](const Drop& other) { return alike(drop, other); });
  if (same != last_.end()) {
    drop.count = same->count + 1;
    last_.erase(same);
  }
  last_.push_back(std::move(drop));
  if (last_.size() > kept) last_.pop_front();
}

void DropLog::echo(const Drop& drop) {
  countEcho(drop, 1);
}

void DropLog::countEcho(const Drop& drop, std::uint32_t count) {
  (drop.code == DropCode::noForward ? echoes_.noForward : echoes_.rpf) += count;
  echoesByIntf_[drop.intf] += count;
}

void DropLog::known(const IpGenAddr& bsr, std::uint16_t tag) {
  for (auto drop = last_.begin(); drop != last_.end();) {
    const bool copy = mayBeEcho(*drop) && drop->tag == tag && drop->subject == bsr;
    if (!copy) {
      ++drop;
      continue;
    }
    countEcho(*drop, 1);
    if (--drop->count == 0) {
      drop = last_.erase(drop);
    } else {
      drop->tag = 0;  // the ones before it were of other messages
      ++drop;
    }
  }
}

void DropLog::clear() {
  last_.clear();
  echoes_ = {};
  echoesByIntf_.clear();
}

}  // namespace Routing::Pim
