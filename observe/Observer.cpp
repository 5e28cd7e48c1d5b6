#include "observe/Observer.h"

#include <algorithm>
#include <variant>

namespace Routing::Observe {

using namespace Pim;

void Observer::heard(double time, const IpPayload& packet) {
  if (packets_++ == 0) start_ = time;
  now_ = std::max(now_, time);
  const DecodeResult result = decode(packet.octets, packet.source, packet.destination);
  if (const auto* reason = std::get_if<DropReason>(&result)) {
    ++bad_[std::string(dropReasonText(*reason))];
  } else if (const auto* bsm = std::get_if<std::shared_ptr<BootstrapMessage>>(&result)) {
    take(**bsm);
  } else if (const auto* crp = std::get_if<std::shared_ptr<CrpAdvMessage>>(&result)) {
    take(**crp);
  } else if (const auto* hello = std::get_if<std::shared_ptr<HelloMessage>>(&result)) {
    take(**hello);
  } else {
    ++others_;
  }
}

void Observer::take(const BootstrapMessage& bsm) {
  const IpGenAddr& address = bsm.bsrAddress();
  Zone& zone = zones_[zoneOf(bsm, IpGenPrefix::multicast(address.af()))];
  if (!zone.contains(address)) {
    if (bsrs_ == mostBsrs) return static_cast<void>(++noRoom_);
    ++bsrs_;
    zone[address].first = now_;
  }
  Bsr& bsr = zone[address];
  bsr.priority = bsm.bsrPriority();
  bsr.hashMaskLen = bsm.hashMaskLen();
  bsr.last = now_;
  ++bsr.messages;
  for (const BootstrapGroupData& group : bsm.groupRpData()) take(group, bsr, bsm.fragmentTag());
}

void Observer::take(const BootstrapGroupData& group, Bsr& bsr, std::uint16_t tag) {
  if (rps_ >= mostRps) return static_cast<void>(++noRoom_);
  const auto [entry, added] = bsr.ranges.try_emplace(group.prefix());
  Range& range = entry->second;
  if (!added) rps_ -= range.size();
  if (range.tag != tag) range.gathered.clear();
  range.tag = tag;
  range.bidir = group.bidir();
  range.announced = group.rpCount();
  for (const auto& [address, data] : group.rpList()) {
    range.gathered[address] = {data.rpHoldtime(), data.rpPriority(), now_};
  }
  if (range.gathered.size() >= range.announced) range.whole = range.gathered;
  rps_ += range.size();
}

void Observer::take(const CrpAdvMessage& advertisement) {
  const IpGenAddr& rp = advertisement.rpAddress();
  if (!advertisers_.contains(rp) && advertisers_.size() == mostSpeakers) {
    return static_cast<void>(++noRoom_);
  }
  Advertiser& known = advertisers_[rp];
  known = {.source = advertisement.source(),
           .bsr = advertisement.destination(),
           .holdtime = advertisement.holdtime(),
           .priority = advertisement.priority(),
           .last = now_,
           .messages = known.messages + 1,
           .ranges = advertisement.groupData()};
}

void Observer::take(const HelloMessage& hello) {
  const bool known = routers_.contains(hello.source());
  if (!known && routers_.size() == mostSpeakers) return static_cast<void>(++noRoom_);
  ++routers_[hello.source()];
}

}  // namespace Routing::Observe
