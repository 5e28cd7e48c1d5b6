#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <memory>
#include <utility>
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

/// The packets on their way, by instant of arrival; equal instants in the order of sending. As long
/// as all networks are equally slow they arrive in the order of sending, and only move along.
class PacketQueue {
 public:
  void add(double instant, RouterId to, std::shared_ptr<const Packet> packet) {
    messages_ += !packet->is(Pim::PimType::hello);
    Arrival arrival{instant, ++lastSerial_, to, std::move(packet)};
    if (inOrder_.empty() || inOrder_.back().instant <= instant) {
      inOrder_.push_back(std::move(arrival));
    } else {
      overtaking_.push_back(std::move(arrival));
      std::push_heap(overtaking_.begin(), overtaking_.end(), later);
    }
  }
  /// `never` if nothing is on its way.
  double nextInstant() const {
    return size() == 0      ? never
           : anyOvertakes() ? overtaking_.front().instant
                            : inOrder_.front().instant;
  }
  /// The next one; there must be one.
  Arrival take() {
    Arrival next = anyOvertakes() ? takeOvertaking() : takeInOrder();
    messages_ -= !next.packet->is(Pim::PimType::hello);
    return next;
  }
  std::size_t size() const { return inOrder_.size() + overtaking_.size(); }
  /// How many of them are other than Hellos.
  std::size_t messages() const { return messages_; }

 private:
  static bool later(const Arrival& a, const Arrival& b) {
    return a.instant > b.instant || (a.instant == b.instant && a.serial > b.serial);
  }
  bool anyOvertakes() const {
    return !overtaking_.empty() &&
           (inOrder_.empty() || later(inOrder_.front(), overtaking_.front()));
  }
  Arrival takeInOrder() {
    Arrival next = std::move(inOrder_.front());
    inOrder_.pop_front();
    return next;
  }
  Arrival takeOvertaking() {
    std::pop_heap(overtaking_.begin(), overtaking_.end(), later);
    Arrival next = std::move(overtaking_.back());
    overtaking_.pop_back();
    return next;
  }

  std::deque<Arrival> inOrder_;      // none arrives before one that stands before it
  std::vector<Arrival> overtaking_;  // a heap: the rest
  std::uint64_t lastSerial_ = 0;
  std::size_t messages_ = 0;
};

}  // namespace Routing::Sim
