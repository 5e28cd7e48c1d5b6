#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "agent/consumer/Consumer.h"
#include "tests/agent/control/FakeAgent.h"

namespace Routing::Agent {
namespace {

class ConsumerTest : public testing::Test {
 protected:
  ConsumerTest() {
    std::filesystem::create_directories(directory_);
    loop_.onTurnEnd([this] {
      agent_.feed.settle();
      if (done_() || std::chrono::steady_clock::now() > deadline_) loop_.stop();
    });
  }
  ~ConsumerTest() override { std::filesystem::remove_all(directory_); }

  /// A shell script that appends to the file "told".
  std::string program(const std::string& name, const std::string& commands) {
    const std::string path = directory_ / name;
    std::ofstream(path) << "#!/bin/sh\ncd " << directory_.string() << "\n" << commands << "\n";
    chmod(path.c_str(), 0700);
    return path;
  }
  std::string told() const {
    std::ostringstream text;
    text << std::ifstream(directory_ / "told").rdbuf();
    return text.str();
  }
  std::ptrdiff_t times(std::string_view word) const {
    const std::string text = told();
    std::ptrdiff_t count = 0;
    for (auto at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) ++count;
    return count;
  }
  bool until(std::function<bool()> condition) {
    done_ = std::move(condition);
    deadline_ = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    Timer tick(loop_.timerWheel(), [&] { tick.expiryInIs(0.01); });
    tick.expiryInIs(0);
    loop_.run();
    return done_();
  }

  std::filesystem::path directory_ = "/tmp/consumer-" + std::to_string(getpid());
  EventLoop loop_;
  std::function<bool()> done_ = [] { return false; };
  std::chrono::steady_clock::time_point deadline_;
  FakeAgent agent_;
  FakeInstance& v4_ = agent_.add("default", AddressFamily::ipv4);
  Consumer consumer_{loop_, agent_.feed, {.waitingBytes = 100'000, .firstPause = 0.05}};
};

TEST_F(ConsumerTest, IsToldAndKeptRunning) {
  v4_.addRp("224.0.0.0/4", "224.0.0.0/4", "10.0.0.1", 1, 10, 200);
  consumer_.programIs(program("short", "read a; read b; read c; echo \"$a $b $c\" >> told"));
  EXPECT_TRUE(until([this] { return agent_.feed.subscribers() == 1; }));
  v4_.addRp("224.0.0.0/4", "224.0.0.0/4", "10.0.0.2", 1, 10, 200);
  EXPECT_TRUE(until([this] { return times("live") == 1; }));
  EXPECT_EQ(times("\"present\"") + times("\"add\""), 2) << told();
  EXPECT_TRUE(until([this] { return times("live") >= 2; })) << "it ends and is started again";
  consumer_.programIs(program("other",
                              "grep -E 'NoNewPrivs|SigBlk' /proc/self/status >> told\n"
                              "echo other >> told; exec cat > /dev/null"));
  EXPECT_TRUE(until([this] { return times("other") == 1; }));
  EXPECT_EQ(times("NoNewPrivs:\t1"), 1) << told();
  EXPECT_EQ(times("SigBlk:\t0000000000000000"), 1) << told();
  consumer_.programIs("");
  EXPECT_TRUE(until([this] { return agent_.feed.subscribers() == 0; }));
  const auto noChild = [] {
    siginfo_t info{};
    return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) != 0;
  };
  EXPECT_TRUE(until(noChild)) << "those that were dismissed are buried";
}

TEST_F(ConsumerTest, HoldsNothingUpWhenItReadsNothing) {
  consumer_.programIs(program("slow", "echo begun >> told; exec sleep 1000"));
  EXPECT_TRUE(until([this] { return times("begun") == 1; }));
  for (unsigned i = 0; i < 4'000; ++i) {
    v4_.addRp("224.0.0.0/4", "224.0.0.0/4", IpGenAddr::v4(0x0a000001 + i).text(), 1, 10, 200);
    if (i % 100 == 0) agent_.feed.settle();
  }
  EXPECT_TRUE(until([this] { return times("begun") == 2; })) << "killed, and started again";
  consumer_.programIs(directory_ / "absent");
  EXPECT_TRUE(until([this] { return agent_.feed.subscribers() == 0; })) << "its end is noticed";
}

}  // namespace
}  // namespace Routing::Agent
