#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/time/Clock.h"
#include "sim/core/Packet.h"

namespace Routing::Sim {

/// A packet that will reach a router.
struct Arrival {
  double instant;
  std::uint64_t serial;
  RouterId to;
  std::shared_ptr<const Packet> packet;
};

/// The packets on their way, by instant of arrival; equal instants in the order of sending.
class PacketQueue {
 public:
  void add(double instant, RouterId to, std::shared_ptr<const Packet> packet) {
    messages_ += !packet->is(Pim::PimType::hello);
    heap_.push_back({instant, ++lastSerial_, to, std::move(packet)});
    std::push_heap(heap_.begin(), heap_.end(), later);
  }
  /// `never` if nothing is on its way.
  double nextInstant() const { return heap_.empty() ? never : heap_.front().instant; }
  /// The next one; there must be one.
  Arrival take() {
    std::pop_heap(heap_.begin(), heap_.end(), later);
    Arrival next = std::move(heap_.back());
    heap_.pop_back();
    messages_ -= !next.packet->is(Pim::PimType::hello);
    return next;
  }
  std::size_t size() const { return heap_.size(); }
  /// How many of them are other than Hellos.
  std::size_t messages() const { return messages_; }

 private:
  static bool later(const Arrival& a, const Arrival& b) {
    return a.instant > b.instant || (a.instant == b.instant && a.serial > b.serial);
  }

  std::vector<Arrival> heap_;
  std::uint64_t lastSerial_ = 0;
  std::size_t messages_ = 0;
};

}  // namespace Routing::Sim
