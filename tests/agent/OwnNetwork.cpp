#include "tests/agent/OwnNetwork.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace Routing::Agent {

void OwnNetwork::SetUp() {
  if (std::system("ip -V >/dev/null 2>&1") != 0) GTEST_SKIP() << "there is no ip command";
  if (!enterNew()) GTEST_SKIP() << "no right to make a network namespace";
  ip("link set lo up");
}

bool OwnNetwork::enterNew() {
  return unshare(CLONE_NEWNET) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0;
}

void OwnNetwork::ip(const std::string& arguments) {
  EXPECT_EQ(std::system(("ip " + arguments).c_str()), 0) << arguments;
}

void OwnNetwork::ipBatch(const std::string& commands) {
  FILE* pipe = popen("ip -batch -", "w");
  ASSERT_NE(pipe, nullptr);
  EXPECT_EQ(fwrite(commands.data(), 1, commands.size(), pipe), commands.size());
  EXPECT_EQ(pclose(pipe), 0) << commands.substr(0, 200);
}

Fd OwnNetwork::here() {
  return Fd(open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC));
}

void OwnNetwork::enter(const Fd& network) {
  ASSERT_EQ(setns(network.get(), CLONE_NEWNET), 0);
}

std::string OwnNetwork::pathOf(const Fd& network) {
  return "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(network.get());
}

bool OwnNetwork::runUntil(EventLoop& loop, const std::function<bool()>& condition) {
  constexpr double longestWait = 10;
  constexpr double step = 0.005;
  const double end = loop.clock().now() + longestWait;
  bool holds = false;
  Timer timer(loop.timerWheel(), [&] {
    holds = condition();
    if (holds || loop.clock().now() > end) return loop.stop();
    timer.expiryInIs(step);
  });
  timer.expiryInIs(0);
  loop.run();
  return holds;
}

void OwnNetwork::runFor(EventLoop& loop, double seconds) {
  Timer timer(loop.timerWheel(), [&] { loop.stop(); });
  timer.expiryInIs(seconds);
  loop.run();
}

}  // namespace Routing::Agent
