#include <spdlog/logger.h>
#include <spdlog/sinks/ostream_sink.h>
#include <spdlog/spdlog.h>

#include <memory>
#include <set>
#include <sstream>

#include "agent/kernel/NetlinkMonitor.h"
#include "tests/agent/OwnNetwork.h"

namespace Routing::Agent {
namespace {

class NetlinkMonitorTest : public OwnNetwork {
 protected:
  void SetUp() override {
    OwnNetwork::SetUp();
    if (IsSkipped()) return;
    ip("link add v0 type veth peer name v1");
    ip("link set v0 addrgenmode none");
    ip("link set v1 addrgenmode none");
    spdlog::set_default_logger(std::make_shared<spdlog::logger>(
        "test", std::make_shared<spdlog::sinks::ostream_sink_st>(log)));
  }
  void TearDown() override { spdlog::set_default_logger(usualLogger); }

  void start() {
    monitor = std::make_unique<NetlinkMonitor>(loop, table, [this] { synchronised = true; });
    EXPECT_TRUE(runUntil(loop, [this] { return synchronised; }));
  }
  const Interface* find(const std::string& name) { return table.interface(IntfId(name)); }
  bool becomes(const std::string& name, const std::function<bool(const Interface&)>& condition) {
    return runUntil(loop, [&] {
      const Interface* interface = find(name);
      return interface != nullptr && condition(*interface);
    });
  }
  bool goes(const std::string& name) {
    return runUntil(loop, [&] { return find(name) == nullptr; });
  }
  static std::multiset<std::string> addresses(const Interface& interface) {
    std::multiset<std::string> result;
    for (const auto& held : interface.addresses) result.insert(held.address.text());
    return result;
  }
  static std::function<bool(const Interface&)> having(std::multiset<std::string> wanted) {
    return [wanted](const Interface& interface) { return addresses(interface) == wanted; };
  }

  std::ostringstream log;
  const std::shared_ptr<spdlog::logger> usualLogger = spdlog::default_logger();
  EventLoop loop;
  InterfaceTable table;
  bool synchronised = false;
  std::unique_ptr<NetlinkMonitor> monitor;
};

using Addresses = std::multiset<std::string>;

TEST_F(NetlinkMonitorTest, ReadsWhatIsThereBeforeItSaysSo) {
  ip("addr add 10.0.0.1/24 dev v0");
  ip("link set v0 mtu 1400");
  unsigned published = 0;
  table.observerIs([&](const IntfId&, const Interface*, const Interface*) {
    EXPECT_FALSE(synchronised);
    ++published;
  });
  start();
  EXPECT_GE(published, 3U);  // lo, v0 and v1
  ASSERT_NE(find("v0"), nullptr);
  EXPECT_EQ(addresses(*find("v0")), Addresses{"10.0.0.1"});
  EXPECT_EQ(find("v0")->link.mtu, 1400U);
  EXPECT_FALSE(find("v0")->link.up);
  EXPECT_EQ(addresses(*find("lo")), (Addresses{"127.0.0.1", "::1"}));
}

TEST_F(NetlinkMonitorTest, FollowsNamesDevicesAndVrfs) {
  start();
  ip("link set v0 name lan");
  EXPECT_TRUE(becomes("lan", having({})));
  EXPECT_EQ(find("v0"), nullptr);
  const auto index = find("lan")->link.index;
  ipBatch("link del lan\nlink add lan type veth peer name v1\n");
  EXPECT_TRUE(becomes("lan", [&](const Interface& i) { return i.link.index != index; }));
  if (std::system("ip link add red type vrf table 10 2>/dev/null") == 0) {
    ip("link set lan master red");
    EXPECT_TRUE(becomes("lan", [](const Interface& i) { return i.vrf == VrfName("red"); }));
    ip("link del red");
    EXPECT_TRUE(becomes("lan", [](const Interface& i) { return i.vrf == VrfName("default"); }));
  }
  ip("link del v1");
  EXPECT_TRUE(goes("lan"));
  EXPECT_EQ(log.str(), "") << "notices do, nothing is read again";
}

TEST_F(NetlinkMonitorTest, RecoversWhenTheKernelLostNotices) {
  start();
  std::string flood;
  for (int i = 0; i < 6000; ++i) flood += "link set v0 mtu " + std::to_string(1300 + i % 2) + "\n";
  ipBatch(flood);
  ip("link add w0 type veth peer name w1");
  ip("link del v0");
  EXPECT_TRUE(becomes("w0", having({})));
  EXPECT_TRUE(goes("v0"));
  EXPECT_TRUE(goes("v1"));
  EXPECT_NE(log.str().find("the kernel lost notices"), std::string::npos);
  ip("addr add 10.0.0.1/24 dev w0");
  EXPECT_TRUE(becomes("w0", having({"10.0.0.1"})));
}

}  // namespace
}  // namespace Routing::Agent
