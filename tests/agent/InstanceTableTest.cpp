#include <net/if.h>

#include <cstdlib>
#include <filesystem>
#include <set>

#include "agent/router/InstanceTable.h"
#include "tests/agent/OwnNetwork.h"

namespace Routing::Agent {
namespace {

using Texts = std::vector<std::string>;
constexpr AddressFamily ipv4 = AddressFamily::ipv4;
constexpr AddressFamily ipv6 = AddressFamily::ipv6;
const IpGenPrefix allGroups = IpGenPrefix::multicast(ipv4);

struct NoRoutes final : RouteSource {
  std::optional<std::vector<RouteHop>> hops(const IpGenAddr&, std::uint32_t) override {
    return std::vector<RouteHop>{};
  }
};

/// Instances over real devices that an interface table, told by hand, takes for what it likes: the
/// kernel need not have VRFs.
class InstanceTableTest : public OwnNetwork {
 protected:
  void SetUp() override {
    OwnNetwork::SetUp();
    if (IsSkipped()) return;
    for (const std::string name : {"red", "eth0", "eth1"}) {
      ip("link add " + name + " type veth peer name p-" + name);
      ip("link set " + name + " up");
    }
    ip("addr add 10.0.0.1/24 dev eth0");
    ip("addr add 10.0.1.1/24 dev eth1");
    interfaces.observerIs([this](const IntfId& intf, const Interface* was, const Interface* is) {
      instances.handleIntf(intf, was, is);
    });
    linkIs("eth0");
    addressIs("eth0", "10.0.0.1");
  }

  void linkIs(const std::string& name, const std::string& master = "", bool vrfDevice = false) {
    const std::uint32_t masterIndex = master.empty() ? 0 : if_nametoindex(master.c_str());
    interfaces.linkIs({if_nametoindex(name.c_str()), name, 1500, true, masterIndex, vrfDevice});
    interfaces.commit();
  }
  void linkDel(const std::string& name) {
    interfaces.linkDel(if_nametoindex(name.c_str()));
    interfaces.commit();
  }
  void addressIs(const std::string& name, const std::string& address) {
    interfaces.addressIs(if_nametoindex(name.c_str()),
                         {IpGenAddr::fromText(address).value(), 24, false, 0});
    interfaces.commit();
  }
  /// The VRF red with eth1 in it.
  void redIs() {
    linkIs("eth1", "red");
    addressIs("eth1", "10.0.1.1");
    linkIs("red", "", true);
  }

  FamilySettings& family(const std::string& vrf, AddressFamily af = ipv4) {
    return config.vrfs[VrfName(vrf)][af];
  }
  /// PIM runs on eth0 in the default VRF, on eth1 in red; both are candidate RPs.
  void configureBoth() {
    for (const auto& [vrf, intf] : {std::pair("default", "eth0"), std::pair("red", "eth1")}) {
      family(vrf).interfaces[intf];
      family(vrf).rpCandidates[intf].ranges[allGroups];
    }
    apply();
  }
  void apply() {
    entities.configIs(config);
    instances.handleConfig();
  }

  /// "VRF FAMILY: PIM INTERFACES, CANDIDATE RPS" of every instance.
  Texts running() const {
    Texts result;
    for (const InstanceView& view : instances.views()) {
      std::string text = view.vrf.text() + (view.af == ipv4 ? " 4:" : " 6:");
      for (const auto& [intf, entity] : view.pimStatus->pimIntf()) text += ' ' + intf.text();
      for (const auto& [address, entity] : view.status->crp()) text += ' ' + address.text();
      result.push_back(text);
    }
    return result;
  }

  EventLoop loop;
  NoRoutes routes;
  InterfaceTable interfaces;
  ConfigEntities entities;
  UpgradeController upgrade;
  StateStore state{loop.clock()};
  InstanceSurroundings surroundings{loop,
                                    interfaces,
                                    routes,
                                    entities,
                                    upgrade,
                                    state,
                                    std::make_shared<Pim::AllIntfStatusDir>(),
                                    [] { return 0.5; },
                                    TimeoutOverrides{}};
  InstanceTable instances{surroundings};
  DaemonConfig config;
};

const std::string inDefault = "default 4: eth0 10.0.0.1";
const std::string inRed = "red 4: eth1 10.0.1.1";

TEST_F(InstanceTableTest, RunsAnInstanceWhereverAVrfIsThere) {
  configureBoth();
  EXPECT_EQ(running(), (Texts{inDefault})) << "there is no VRF red";
  redIs();
  EXPECT_EQ(running(), (Texts{inDefault, inRed}));
  linkIs("eth1");
  EXPECT_EQ(running(), (Texts{inDefault, "red 4:"})) << "eth1 has left";
  linkIs("eth1", "red");
  EXPECT_EQ(running(), (Texts{inDefault, inRed}));
  linkDel("red");
  EXPECT_EQ(running(), (Texts{inDefault}));
  linkIs("red", "", true);
  EXPECT_EQ(running(), (Texts{inDefault, inRed}));
  linkIs("red");
  EXPECT_EQ(running(), (Texts{inDefault})) << "a device of the name that is no VRF";
}

TEST_F(InstanceTableTest, BeginsAnewInAVrfThatWasMadeAnew) {
  configureBoth();
  redIs();
  const auto before = instances.views().at(1).status;
  ip("link del red");
  ip("link add red type veth peer name p-red");
  interfaces.resyncStart();
  linkIs("eth0");
  addressIs("eth0", "10.0.0.1");
  linkIs("red", "", true);
  linkIs("eth1", "red");
  addressIs("eth1", "10.0.1.1");
  interfaces.resyncEnd();
  interfaces.commit();
  EXPECT_EQ(running(), (Texts{inDefault, inRed}));
  EXPECT_NE(instances.views().at(1).status, before);
}

TEST_F(InstanceTableTest, FollowsTheConfiguration) {
  redIs();
  configureBoth();
  const auto status = instances.views().at(0).status;
  EXPECT_EQ(running(), (Texts{inDefault, inRed}));
  family("default", ipv6).interfaces["eth0"];
  config.limits.zones = 7;
  apply();
  EXPECT_EQ(running(), (Texts{inDefault, "default 6: eth0", inRed}));
  for (const InstanceView& view : instances.views()) EXPECT_EQ(view.limits->maxZones(), 7U);
  config.vrfs.erase(VrfName("red"));
  family("default").interfaces.clear();
  apply();
  EXPECT_EQ(running(), (Texts{"default 4: 10.0.0.1", "default 6: eth0"}));
  config.vrfs[VrfName("default")].erase(ipv6);
  family("default").interfaces["eth0"].drPriority = 9;
  apply();
  EXPECT_EQ(running(), (Texts{inDefault}));
  EXPECT_EQ(instances.views().at(0).pimStatus->pimIntf(IntfId("eth0"))->drPriority(), 9U);
  EXPECT_EQ(instances.views().at(0).status, status) << "all the while it has gone on";
}

TEST_F(InstanceTableTest, KeepsTheStateOfAnInstanceUntilThatEnds) {
  std::string path = testing::TempDir() + "pimbsr-state-XXXXXX";
  ASSERT_NE(mkdtemp(path.data()), nullptr);
  state.open(path);
  const auto kept = [&path] {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
      names.insert(entry.path().filename());
    }
    return names;
  };
  redIs();
  configureBoth();
  EXPECT_EQ(kept(), (std::set<std::string>{"default.ipv4", "red.ipv4"}));
  linkDel("red");
  EXPECT_EQ(kept(), (std::set<std::string>{"default.ipv4"}));
  instances.settle();
  InstanceTable next{surroundings};
  next.handleConfig();
  EXPECT_EQ(treeText(*next.views().at(0).status), treeText(*instances.views().at(0).status));
  next.shutdown();
  EXPECT_EQ(kept(), std::set<std::string>{});
  std::filesystem::remove_all(path);
}

TEST_F(InstanceTableTest, ForgetsWhoWasReadyForAnUpgradeAndHasEnded) {
  redIs();
  configureBoth();
  upgrade.prepare();
  const VrfName red("red");
  upgrade.vrfStatus(ipv4)->completedVrfIs(red, true);
  linkDel("red");
  EXPECT_EQ(upgrade.vrfStatus(ipv4)->completedVrf(red), nullptr);
}

}  // namespace
}  // namespace Routing::Agent
