#include <gtest/gtest.h>

#include <asio.hpp>
#include <chrono>
#include <filesystem>
#include <memory>
#include <random>

#include "agent/control/ControlServer.h"
#include "client/pimbsr_client.h"
#include "platform/pim/rp/RpSetDigest.h"
#include "tests/agent/control/FakeAgent.h"

namespace Routing::Agent {
namespace {

/// A consumer as a program outside would write it; it complains of whatever is missed.
class Consumer {
 public:
  explicit Consumer(const std::string& path) : client_(pimbsr_connect(path.c_str(), nullptr, 4)) {}

  pimbsr_client* get() const { return client_.get(); }
  std::uint64_t generation() const { return generation_; }
  int changes() const { return changes_; }

  /// Takes what has come; true once the present state is known.
  bool drain() {
    while (const pimbsr_event* event = pimbsr_next(get(), 0)) {
      if (event->operation >= PIMBSR_ADD) take(*event);
    }
    EXPECT_EQ(pimbsr_error(get()), nullptr);
    return pimbsr_live(get()) == 1;
  }

 private:
  void take(const pimbsr_event& event) {
    ++changes_;
    EXPECT_TRUE(generation_ == 0 || event.generation == generation_ + 1) << event.generation;
    generation_ = event.generation;
    EXPECT_EQ(event.digest, pimbsr_digest(get(), nullptr, 4)) << generation_;
  }

  struct Close {
    void operator()(pimbsr_client* client) const { pimbsr_close(client); }
  };
  std::unique_ptr<pimbsr_client, Close> client_;
  std::uint64_t generation_ = 0;
  int changes_ = 0;
};

class ClientTest : public testing::Test {
 protected:
  ~ClientTest() override { std::filesystem::remove_all(directory_); }

  bool turnUntilLive(Consumer& consumer) {
    for (int i = 0; i < 10'000; ++i) {
      turn();
      if (consumer.drain()) return true;
    }
    return false;
  }
  bool turnUntilEqual(Consumer& consumer, std::uint64_t digest) {
    for (int i = 0; i < 10'000; ++i) {
      turn();
      consumer.drain();
      if (pimbsr_digest(consumer.get(), nullptr, 4) == digest) return true;
    }
    return false;
  }
  void turn() {
    agent_.feed.settle();
    loop_.restart();
    loop_.poll();
  }
  /// One random edit of the mappings.
  void edit() {
    const IpGenPrefix range(IpGenAddr::v4(0xef000000 + draw(16) * 0x10000), 8 + draw(4) * 4);
    const IpGenAddr rp = IpGenAddr::v4(0x0a000001 + draw(4));
    const auto set = v4_.rpCandidate->crpSet(range);
    if (set && set->rp(rp) && draw(3) == 0) {
      set->rpDel(rp);
      if (set->rp().empty()) v4_.rpCandidate->crpSetDel(range);
    } else {
      v4_.addMapping(range.text(), rp.text(), draw(200)).expiryTimeIs(9999);
    }
  }
  unsigned draw(unsigned below) { return static_cast<unsigned>(random_() % below); }

  asio::io_context loop_;
  FakeAgent agent_;
  FakeInstance& v4_ = agent_.add("default", AddressFamily::ipv4);
  std::mt19937 random_{7};
  std::string directory_ = std::string("/tmp/client-") + std::to_string(getpid());
  std::string path_ = directory_ + "/control.sock";
  ControlServer server_{loop_, agent_, agent_, agent_.feed, path_};
};

TEST_F(ClientTest, MissesNoneOfTenThousandChangesAndSelectsAsTheDaemonDoes) {
  for (int i = 0; i < 100; ++i) edit();
  Consumer steady(path_);
  ASSERT_TRUE(steady.get());
  auto restarted = std::make_unique<Consumer>(path_);
  ASSERT_TRUE(turnUntilLive(steady) && turnUntilLive(*restarted));
  for (int i = 0; steady.changes() < 10'000; ++i) {
    edit();
    turn();
    if (i % 100 == 0) steady.drain();
    if (i % 3'000 == 2'999) {
      restarted = std::make_unique<Consumer>(path_);
      ASSERT_TRUE(turnUntilLive(*restarted));
    }
  }
  const std::uint64_t digest = Pim::rpSetDigest(*v4_.rpCandidate);
  const auto mappings = Pim::rpMappings(*v4_.rpCandidate);
  for (Consumer* consumer : {&steady, restarted.get()}) {
    EXPECT_TRUE(turnUntilEqual(*consumer, digest));
    EXPECT_EQ(pimbsr_count(consumer->get(), "default", 4), mappings.size());
  }
  for (int i = 0; i < 300; ++i) {
    const IpGenAddr group = IpGenAddr::v4(0xe8000000 + draw(0x8000000));
    const auto expected = Pim::selectRp(group, mappings).rp;
    const auto* found = pimbsr_select(steady.get(), nullptr, group.text().c_str());
    ASSERT_EQ(found != nullptr, expected.has_value()) << group;
    if (found != nullptr) {
      EXPECT_EQ(found->rp_address, expected->rp.text()) << group;
      EXPECT_EQ(found->group_range, expected->groupRange.text()) << group;
    }
  }
  EXPECT_EQ(pimbsr_select(steady.get(), nullptr, "nonsense"), nullptr);
}

TEST_F(ClientTest, SaysWhatEndedTheConnection) {
  EXPECT_EQ(pimbsr_connect((directory_ + "/other.sock").c_str(), nullptr, 0), nullptr);
  EXPECT_EQ(errno, ENOENT);
  Consumer refused(path_);
  const auto other = std::unique_ptr<pimbsr_client, void (*)(pimbsr_client*)>(
      pimbsr_connect(path_.c_str(), std::string(300, 'x').c_str(), 0), pimbsr_close);
  turn();
  turn();
  EXPECT_EQ(pimbsr_next(other.get(), 0), nullptr);
  EXPECT_STREQ(pimbsr_error(other.get()), "'vrf' is longer than a VRF name can be");
}

}  // namespace
}  // namespace Routing::Agent
