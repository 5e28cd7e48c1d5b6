// Sends Bootstrap messages of 12 ranges with so many RPs each and awaits them back, so many on
// their way at a time: WireLoad INTERFACE ADDRESS RPS MESSAGES WINDOW. Prints, with tabs between:
// messages a second, messages lost, the median and the 99th percentile of the way there and back in
// microseconds, and datagrams that came back for each message. A message is back with the first.

#include <algorithm>
#include <chrono>
#include <iostream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bench/BenchHost.h"
#include "bench/RawPim.h"
#include "platform/pim/PimCodec.h"

namespace Routing::Bench {
namespace {

using Clock = std::chrono::steady_clock;
using Octets = std::vector<std::uint8_t>;

double microseconds(Clock::duration time) {
  return std::chrono::duration<double, std::micro>(time).count();
}

class Load {
 public:
  Load(const char* interface, const IpGenAddr& self, std::uint8_t rps)
      : link_(interface), bsm_(Pim::Bsr::bootstrapMessageOf(AddressFamily::ipv4, 12, rps)) {
    link_.set(SOL_SOCKET, SO_RCVTIMEO, timeval{1, 0});
    bsm_.sourceIs(self);
    bsm_.bsrAddressIs(self);
  }
  /// A daemon takes nothing from strangers.
  void greet() {
    Pim::HelloMessage hello;
    hello.holdtimeIs(0xffff);
    hello.sourceIs(bsm_.source());
    hello.destinationIs(bsm_.destination());
    sendOut(hello);
    std::this_thread::sleep_for(std::chrono::seconds(2));
  }
  void play(std::size_t messages, std::size_t window) {
    const auto begin = Clock::now();
    while (ways_.size() + lost_ < messages) {
      while (sent_ < std::min(messages, ways_.size() + lost_ + window)) sendNext();
      if (!takeOne()) lost_ = sent_ - ways_.size();
    }
    const double seconds = microseconds(Clock::now() - begin) / 1e6;
    std::sort(ways_.begin(), ways_.end());
    std::cout << static_cast<double>(ways_.size()) / seconds << '\t' << lost_ << '\t' << share(0.5)
              << '\t' << share(0.99) << '\t' << datagrams_ / static_cast<double>(ways_.size())
              << '\n';
  }

 private:
  void sendOut(const Pim::PimMessage& message) {
    if (!Pim::encode(message, message.source(), message.destination(), octets_)) std::abort();
    link_.send(octets_);
  }
  void sendNext() {
    const auto tag = static_cast<std::uint16_t>(++sent_);
    bsm_.fragmentTagIs(tag);
    sentAt_[tag] = Clock::now();
    sendOut(bsm_);
  }
  /// What is not on its way is the other side's own.
  bool takeOne() {
    constexpr auto bootstrap = static_cast<std::uint8_t>(Pim::PimType::bootstrap);
    for (;;) {
      const auto message = link_.receive();
      if (message.empty()) return false;
      if (Pim::pimTypeOf(message) != bootstrap) continue;
      ++datagrams_;
      auto& sentAt = sentAt_[message[4] * 256U + message[5]];
      if (sentAt == Clock::time_point{}) continue;
      ways_.push_back(microseconds(Clock::now() - std::exchange(sentAt, {})));
      return true;
    }
  }
  double share(double part) const {
    return ways_.empty() ? 0 : ways_[static_cast<std::size_t>(part * (ways_.size() - 1))];
  }

  RawPim link_;
  Pim::BootstrapMessage bsm_;
  Octets octets_;
  std::size_t sent_ = 0;
  std::vector<Clock::time_point> sentAt_ =
      std::vector<Clock::time_point>(65536);  // by fragment tag; nothing once it is back
  std::vector<double> ways_;
  std::size_t lost_ = 0;
  double datagrams_ = 0;
};

}  // namespace
}  // namespace Routing::Bench

int main(int count, char** words) try {
  if (count != 6) throw std::runtime_error("usage: WireLoad INTERFACE ADDRESS RPS MESSAGES WINDOW");
  const auto self = Routing::IpGenAddr::fromText(words[2]);
  if (!self) throw std::runtime_error("that is no address");
  Routing::Bench::Load load(words[1], *self, static_cast<std::uint8_t>(std::stoul(words[3])));
  load.greet();
  load.play(std::stoul(words[4]), std::stoul(words[5]));
} catch (const std::exception& error) {
  std::cerr << error.what() << "\n";
  return 1;
}
