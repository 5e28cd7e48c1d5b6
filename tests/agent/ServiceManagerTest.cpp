#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstdlib>
#include <string>

#include "agent/daemon/ServiceManager.h"
#include "config/file/Fd.h"
#include "tests/agent/control/FakeAgent.h"
#include "tests/support/PimLan.h"

namespace Routing::Agent {
namespace {

/// The end at which the service manager listens.
class NotifySocket {
 public:
  NotifySocket() : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socklen_t size = sizeof(sa_family_t);  // a name of the kernel's choice
    bind(fd_.get(), reinterpret_cast<sockaddr*>(&address), size);
    size = sizeof address;
    getsockname(fd_.get(), reinterpret_cast<sockaddr*>(&address), &size);
    const std::string name(address.sun_path + 1, size - sizeof(sa_family_t) - 1);
    setenv("NOTIFY_SOCKET", ("@" + name).c_str(), 1);
  }
  ~NotifySocket() { unsetenv("NOTIFY_SOCKET"); }

  /// All that was told since the last call, a bar between two messages.
  std::string heard() {
    std::string all, one(1000, '\0');
    for (ssize_t n = 0; (n = recv(fd_.get(), one.data(), one.size(), 0)) >= 0;) {
      all += (all.empty() ? "" : "|") + one.substr(0, static_cast<std::size_t>(n));
    }
    return all;
  }

 private:
  Fd fd_;
};

TEST(ServiceManager, IsToldThatTheDaemonLivesAndWhatIsNew) {
  NotifySocket socket;
  setenv("WATCHDOG_USEC", "6000000", 1);
  TestKit::VirtualWorld world;
  FakeAgent agent;
  ServiceManager manager(world.wheel, agent);
  unsetenv("WATCHDOG_USEC");
  manager.ready();
  EXPECT_EQ(socket.heard(), "READY=1|WATCHDOG=1\nSTATUS=PIM runs nowhere");
  FakeInstance& first = agent.add("default", AddressFamily::ipv4);
  world.runUntil(2.9);
  EXPECT_EQ(socket.heard(), "") << "every three seconds, half of what it asks for";
  world.runUntil(3);
  EXPECT_EQ(socket.heard(), "WATCHDOG=1\nSTATUS=IPv4: no BSR, 0 RP mappings");
  world.runUntil(6);
  EXPECT_EQ(socket.heard(), "WATCHDOG=1");
  first.addBsr("239.0.0.0/8", "10.0.0.2");
  EXPECT_EQ(summary(agent.instances()), "IPv4: BSR 10.0.0.2, 0 RP mappings");
  first.addBsr("224.0.0.0/4", "10.0.0.1");
  first.addRp("224.0.0.0/4", "225.0.0.0/8", "10.0.0.3", 0, 0, 100);
  agent.add("red", AddressFamily::ipv6);
  EXPECT_EQ(summary(agent.instances()),
            "IPv4: BSR 10.0.0.1, 1 RP mapping; red IPv6: no BSR, 0 RP mappings");
  for (const char* vrf : {"blue", "green", "grey"}) agent.add(vrf, AddressFamily::ipv4);
  EXPECT_EQ(summary(agent.instances()), "5 instances");
  manager.reloading();
  EXPECT_TRUE(socket.heard().starts_with("RELOADING=1\nMONOTONIC_USEC="));
  manager.stopping();
  world.runUntil(60);
  EXPECT_EQ(socket.heard(), "STOPPING=1\nSTATUS=");
}

}  // namespace
}  // namespace Routing::Agent
