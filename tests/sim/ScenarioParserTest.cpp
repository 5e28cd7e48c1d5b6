#include <gtest/gtest.h>

#include "config/file/ConfigFile.h"
#include "sim/core/Configs.h"
#include "sim/scenario/ScenarioParser.h"
#include "sim/scenario/YamlReader.h"

namespace Routing::Sim {
namespace {

/// What is wrong with a scenario of three routers that has these lines more, from line 5 on.
std::string complaint(const std::string& lines, const std::string& topology = "{line: 3}") {
  const std::string head = "name: n\ntext: t\ntopology: " + topology + "\nrun: 600\n";
  try {
    parseScenario(head + lines, "f.yaml");
  } catch (const ScenarioError& error) {
    return error.what();
  }
  return "nothing";
}

TEST(ScenarioParser, ReadsWhatItSays) {
  const Scenario scenario = parseScenario(R"(
name: All of it
text: words
families: [ipv4, ipv6]
topology:
  delay: 0.01
  line: 2
  routers: [a, b]
  links: [r2-a, {link: a-b, loss: 5%, mtu: 600}]
  lans: [{lan: lan1, routers: [r1, a, b]}]
timers: {boot: 3}
policy: {expiry: false, answers: 3, hand-over: false}
configuration:
  - router: all
    hold-time: 100
    rp-candidate: {interface: [{name: rp3..5, priority: 7}, {name: lo, mode: rp-bidir, access-list: [{name: A}]}]}
    access-list: [{name: A, rule: [{sequence: 1, action: permit, source: any}]}]
  - router: a
    address-family: ipv4
    bsr-candidate: {zone: [{group: 239.1.0.0/16, priority: 7, interval: 30}]}
    interface: [{name: a-b, bsr-border: {}}]
  - {router: [a, b], bsr-candidate: {priority: 3}, address-family: ipv6}
  - {router: b, rp-candidate: null}
addresses:
  - {router: a, interface: rp3..5, to: [10.9.0.255, "2001:db8::9"]}
run: 100
late: b
script:
  - {at: [10, 20], spread: 5, crash: [a, b]}
)",
                                          "f");
  auto policy = Pim::Bsr::BsrPolicy::continuous();
  policy.expiry = false;
  policy.answers = 3;
  policy.handOver = false;
  EXPECT_EQ(scenario.policy, policy);
  const Topology& topology = scenario.topology;
  ASSERT_EQ(topology.routers().size(), 4U);
  ASSERT_EQ(topology.networks().size(), 4U);
  EXPECT_EQ(topology.network(2).name, "a-b");
  EXPECT_EQ(topology.network(2).mtu, 600U);
  EXPECT_DOUBLE_EQ(topology.network(2).impairment.loss, 0.05);
  EXPECT_DOUBLE_EQ(topology.network(1).impairment.delay, 0.01);
  EXPECT_TRUE(topology.network(3).lan);
  EXPECT_EQ(scenario.configs.at(2), Agent::readConfig(R"(
access-list:
  - {address-family: ipv4, name: A, rule: [{sequence: 1, action: permit, source: any}]}
  - {address-family: ipv6, name: A, rule: [{sequence: 1, action: permit, source: any}]}
vrf:
  - name: default
    address-family:
      - address-family: ipv4
        interface: [{name: r2-a}, {name: a-b, bsr-border: {}}, {name: lan1}]
        bsr:
          hold-time: 100
          bsr-candidate:
            interface: [{name: lo, zone: [{group: 239.1.0.0/16, priority: 7, interval: 30}]}]
          rp-candidate:
            interface:
              - {name: rp3, range: &all4 [{group: 224.0.0.0/4, priority: 7}]}
              - {name: rp4, range: *all4}
              - {name: rp5, range: *all4}
              - {name: lo, mode: rp-bidir, access-list: [{name: A}]}
      - address-family: ipv6
        interface: [{name: r2-a}, {name: a-b}, {name: lan1}]
        bsr:
          hold-time: 100
          bsr-candidate: {interface: [{name: lo, zone: [{group: "ff00::/8", priority: 3}]}]}
          rp-candidate:
            interface:
              - {name: rp3, range: &all6 [{group: "ff00::/8", priority: 7}]}
              - {name: rp4, range: *all6}
              - {name: rp5, range: *all6}
              - {name: lo, mode: rp-bidir, access-list: [{name: A}]}
)")
                                        .config);
  EXPECT_TRUE(settingsOf(scenario.configs.at(3), AddressFamily::ipv4).rpCandidates.empty());
  ASSERT_EQ(scenario.addresses.size(), 6U);
  EXPECT_EQ(scenario.addresses[1].address.text(), "10.9.1.0");
  EXPECT_EQ(scenario.addresses[5].intf.text(), "rp5");
  EXPECT_EQ(scenario.late, std::vector<RouterId>{3});
  ASSERT_EQ(scenario.actions.size(), 2U);
  EXPECT_DOUBLE_EQ(scenario.actions[1].at, 20.0);
  EXPECT_DOUBLE_EQ(scenario.actions[1].spread, 5.0);
}

TEST(ScenarioParser, NamesFileAndLineOfWhatItDoesNotUnderstand) {
  const std::pair<const char*, const char*> cases[] = {
      {"colour: blue\n", "f.yaml:5: \"colour\" is not known here"},
      {"policy: some\n", "f.yaml:5: a policy is none, or"},
      {"policy:\n  {bridging: true, answer: 3}\n", "f.yaml:6: \"answer\" is not known here"},
      {"late: [r1,\n  r9]\n", "f.yaml:6: there is no router r9"},
      {"script:\n- {at: 3, crash: r1, bang: 1}\n", "f.yaml:6: \"bang\" is not known here"},
      {"script:\n- {at: 3, drain: {router: r1, what: it}}\n", "f.yaml:6: what is drained is"},
      {"script:\n- {at: 3, crash: r1, status: kept}\n", "f.yaml:6: \"status\" is not known here"},
      {"script:\n- {at: 3}\n", "f.yaml:6: nothing happens here"},
      {"script:\n- {crash: r1}\n", "f.yaml:6: \"at\" is missing"},
      {"script:\n- {at: 700, crash: r1}\n", "f.yaml:6: this is after the end of the run"},
      {"script:\n- {at: x, crash: r1}\n", "f.yaml:6: \"x\" is not a number"},
      {"script:\n- {at: 1, down: r1-r3}\n", "f.yaml:6: there is no link or LAN r1-r3"},
      {"script:\n- {at: 1, expect: {rp: r1}}\n", "f.yaml:6: an rp is that of a group"},
      {"script:\n- {at: 1, expect: {state: eBsr}}\n", "f.yaml:6: a state needs routers"},
      {"script:\n- {at: 1, impair: {on: r1-r2, loss: 200%}}\n",
       "f.yaml:6: \"200%\" is not a share"},
      {"finally:\n- {}\n", "f.yaml:6: nothing is expected here"},
      {"finally:\n- {routers: r1, counters: {rxFoo: 1}}\n", "f.yaml:6: there is no counter rxFoo"},
      {"configuration:\n- {router: r1, bsr-candidate: {priority: 256}}\n",
       "f.yaml:6: vrf[default]/address-family[ipv4]/bsr/bsr-candidate/interface[lo]/"
       "zone[224.0.0.0/4]/priority: invalid value \"256\" (allowed: 0..255)"},
      {"configuration:\n- {router: r1, hold-tme: 60}\n",
       "f.yaml:6: vrf[default]/address-family[ipv4]/bsr/hold-tme: unknown (allowed: hold-time"},
      {"configuration:\n- {router: r1, address-family: ipv6}\n",
       "f.yaml:6: this address family is not among the families"},
      {"configuration:\n- {router: r1, rp-candidate: {interface: [{name: rp5..4}]}}\n",
       "f.yaml:6: \"rp5..4\" names no row"},
      {"script:\n- at: 3\n  configure: {router: r1, rp-filter: [NONE]}\n",
       "f.yaml:7: vrf[default]/address-family[ipv4]/bsr/rp-filter[NONE]: "},
      {"late: r1\nlate: r2\n", "f.yaml"},
      {"late: [r1\n", "f.yaml:"},
  };
  for (const auto& [lines, error] : cases) {
    EXPECT_TRUE(complaint(lines).starts_with(error)) << lines << "says " << complaint(lines);
  }
}

TEST(ScenarioParser, RefusesBadTopologies) {
  const std::pair<const char*, const char*> cases[] = {
      {"{}", "f.yaml:3: there are no routers"},
      {"{torus: 2x9}", "f.yaml:3: \"2x9\" is no size"},
      {"{torus: 99999x99999}", "f.yaml:3: "},
      {"{line: 2, links: [r1-r1]}", "f.yaml:3: \"r1-r1\" does not name"},
      {"{routers: [a, a]}", "f.yaml:3: there is a router a already"},
      {"{line: 2, lans: [{lan: x, routers: [r1, r1]}]}",
       "f.yaml:3: a router stands on the LAN twice"},
      {"{line: 2}", "nothing"},
  };
  for (const auto& [topology, error] : cases) {
    EXPECT_TRUE(complaint("", topology).starts_with(error)) << complaint("", topology);
  }
}

}  // namespace
}  // namespace Routing::Sim
