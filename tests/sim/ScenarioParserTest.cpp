#include <gtest/gtest.h>

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
timers: {bs-timeout: 100, boot: 3}
policy: {expiry: false, answers: 3, hand-over: false}
configuration:
  - candidate-bsr: {router: a, zone: 239.1.0.0/16, priority: 7, period: 30}
  - candidate-rp: {router: [b], ranges: [{range: 239.1.0.0/24, priority: 3}, 239.2.0.0/16]}
  - border: {router: a, on: b-a}
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
  const auto& a = scenario.configs.at({2, AddressFamily::ipv4});
  ASSERT_EQ(a.candidateBsrs.size(), 1U);
  EXPECT_EQ(a.candidateBsrs[0].period, 30U);
  EXPECT_EQ(a.bsTimeout, 100U);
  ASSERT_EQ(a.borders.size(), 1U);
  EXPECT_TRUE(scenario.configs.at({2, AddressFamily::ipv6}).candidateBsrs.empty());
  const auto& b = scenario.configs.at({3, AddressFamily::ipv4});
  ASSERT_EQ(b.candidateRps.size(), 1U);
  EXPECT_EQ(b.candidateRps[0].ranges.size(), 2U);
  EXPECT_EQ(b.candidateRps[0].ranges.begin()->second, 3U);
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
      {"configuration:\n- candidate-bsr: {router: r1, zone: 10.0.0.0/8}\n",
       "f.yaml:6: 10.0.0.0/8 is no range of multicast groups"},
      {"configuration:\n- candidate-bsr: {router: r1, priority: 256}\n",
       "f.yaml:6: 256 is not from"},
      {"configuration:\n- candidate-rp: {router: r1, ranges: [\"ff05::/16\"]}\n",
       "f.yaml:6: this address family is not among the families"},
      {"configuration:\n- border: {router: r3, on: r1-r2}\n", "f.yaml:6: r3 is not on r1-r2"},
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
