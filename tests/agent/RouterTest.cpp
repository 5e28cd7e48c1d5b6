#include <spdlog/sinks/ostream_sink.h>
#include <spdlog/spdlog.h>

#include <regex>
#include <sstream>

#include "agent/router/Router.h"
#include "config/file/ConfigFile.h"
#include "tests/agent/OwnNetwork.h"

namespace Routing::Agent {
namespace {

using Texts = std::vector<std::string>;

/// A host with the interfaces eth0 (10.0.0.1) and eth1, as a router; what it logs stays with it.
class RouterTest : public OwnNetwork {
 protected:
  void SetUp() override {
    OwnNetwork::SetUp();
    if (IsSkipped()) return;
    for (const std::string name : {"eth0", "eth1"}) {
      ip("link add " + name + " type veth peer name p-" + name);
      ip("link set p-" + name + " up");
      ip("link set " + name + " up mtu 1400");
    }
    ip("addr add 10.0.0.1/24 dev eth0");
    log_->set_pattern("%l %v");
    spdlog::set_default_logger(log_);
    router_.emplace(loop_, TimeoutOverrides{}, [this] { known_ = true; });
    EXPECT_TRUE(runUntil(loop_, [this] { return known_; }));
  }
  void TearDown() override {
    router_.reset();
    spdlog::set_default_logger(before_);
  }

  void configure(const std::string& ipv4) {
    const LoadedConfig loaded = readConfig(
        "state-directory: none\nvrf: [{name: default, address-family: [{address-family: ipv4, " +
        ipv4 + "}]}]\n");
    ASSERT_TRUE(loaded.config) << loaded.findings.front().text;
    router_->configIs(*loaded.config);
  }
  /// The interfaces, candidate BSRs and candidate RPs of the only instance.
  Texts running() const {
    Texts texts;
    for (const InstanceView& view : router_->instances()) {
      for (const auto& entry : view.pimStatus->pimIntf()) texts.push_back(entry.first.text());
      for (const auto& entry : view.status->cbsr())
        texts.push_back("BSR " + entry.second->address().text());
      for (const auto& entry : view.status->crp()) texts.push_back("RP " + entry.first.text());
    }
    return texts;
  }
  bool becomes(const Texts& wanted) {
    return runUntil(loop_, [&] { return running() == wanted; });
  }
  /// All that was logged, without the name of the instance and of the candidates' zone.
  std::string logged() const {
    return std::regex_replace(out_.str(), std::regex(" (VRF default IPv4|zone 224.0.0.0/4):"), "");
  }

  std::ostringstream out_;
  std::shared_ptr<spdlog::logger> log_ = std::make_shared<spdlog::logger>(
      "test", std::make_shared<spdlog::sinks::ostream_sink_st>(out_));
  std::shared_ptr<spdlog::logger> before_ = spdlog::default_logger();
  EventLoop loop_;
  bool known_ = false;
  std::optional<Router> router_;
};

const std::string candidates =
    "interface: [{name: eth0}, {name: eth9}], bsr: {"
    "bsr-candidate: {interface: [{name: eth0, zone: [{group: 224.0.0.0/4}]}]}, "
    "rp-candidate: {interface: [{name: eth0, range: [{group: 225.0.0.0/8}]}]}}";

TEST_F(RouterTest, FollowsItsConfigurationAndItsInterfaces) {
  const Texts all{"eth0", "BSR 10.0.0.1", "RP 10.0.0.1"};
  configure(candidates);
  EXPECT_EQ(running(), Texts{}) << "not started";
  router_->start();
  EXPECT_TRUE(becomes(all));
  EXPECT_EQ(router_->allIntfStatusDir()->intfStatus(IntfId("eth0"))->mtu(), 1400U);
  EXPECT_EQ(router_->addressedInterfaces().count({"eth0", AddressFamily::ipv4}), 1U);
  EXPECT_EQ(router_->addressedInterfaces().count({"eth1", AddressFamily::ipv4}), 0U);

  router_->drain({.bsr = true, .rp = false});
  EXPECT_TRUE(becomes({"eth0", "RP 10.0.0.1"}));
  EXPECT_EQ(router_->drainReport().drained.bsr, true);
  configure(candidates);
  EXPECT_TRUE(becomes(all)) << "a configuration ends the drain";
  router_->drain({.bsr = true, .rp = true});
  EXPECT_TRUE(becomes({"eth0"}));
  router_->undrain();
  EXPECT_TRUE(becomes(all));

  ip("link set eth0 down");
  EXPECT_TRUE(becomes({"eth0"}));
  EXPECT_FALSE(router_->allIntfStatusDir()->intfStatus(IntfId("eth0"))->up());
  ip("link set eth0 up");
  EXPECT_TRUE(becomes(all));
  configure("interface: [{name: eth0}, {name: eth1}]");
  EXPECT_TRUE(becomes({"eth0", "eth1"}));
  ip("link del eth1");
  EXPECT_TRUE(becomes({"eth0"}));
  EXPECT_EQ(router_->allIntfStatusDir()->intfStatus(IntfId("eth1")), nullptr);

  configure(candidates);
  router_->shutdown();
  EXPECT_EQ(running(), Texts{"eth0"}) << "withdrawn at once";
  EXPECT_EQ(logged(),
            "info started (without an earlier state)\n"
            "info IPv4 runs in VRF default\n"
            "warning interface eth9 does not exist yet\n"
            "info candidate BSR 10.0.0.1 starts\n"
            "info candidate RP 10.0.0.1 starts\n"
            "info candidate BSR 10.0.0.1 stops (deconfigured or drained)\n"
            "info candidate BSR 10.0.0.1 starts\n"
            "info candidate BSR 10.0.0.1 stops (deconfigured or drained)\n"
            "info candidate RP 10.0.0.1 stops (deconfigured or drained)\n"
            "info candidate BSR 10.0.0.1 starts\n"
            "info candidate RP 10.0.0.1 starts\n"
            "warning interface eth0, whose address is a candidate's, is down\n"
            "warning candidate BSR 10.0.0.1 stops (its interface has no address)\n"
            "warning candidate RP 10.0.0.1 stops (its interface has no address)\n"
            "info interface eth0, whose address is a candidate's, is up\n"
            "info candidate BSR 10.0.0.1 starts\n"
            "info candidate RP 10.0.0.1 starts\n"
            "info candidate BSR 10.0.0.1 stops (deconfigured or drained)\n"
            "info candidate RP 10.0.0.1 stops (deconfigured or drained)\n"
            "warning interface eth9 does not exist yet\n");
}

}  // namespace
}  // namespace Routing::Agent
