#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "sim/rehearsal/Rehearsal.h"
#include "sim/rehearsal/RehearsalJson.h"
#include "sim/rehearsal/RehearsalText.h"
#include "sim/scenario/ScenarioParser.h"
#include "sim/scenario/YamlReader.h"

namespace Routing::Sim {
namespace {

const std::string example = PIMBSR_EXAMPLES "/rehearsal/";

/// The change to the files of a folder of the example, in one step or router by router.
RehearsalPlan planTo(const std::string& folder, bool atOnce) {
  RehearsalPlan plan;
  plan.network = readNetwork(example + "network.yaml", example + "before");
  const Topology& topology = plan.network.topology;
  plan.after = readConfigs(topology, example + folder, plan.network.configs);
  if (atOnce) plan.steps.emplace_back();
  for (const auto& [router, config] : plan.after) {
    if (config == plan.network.configs.at(router)) continue;
    if (!atOnce) plan.steps.emplace_back();
    plan.steps.back().push_back(router);
  }
  return plan;
}

std::string verdict(const RehearsalPlan& plan, std::optional<RouterId> dead = std::nullopt) {
  return verdictOf(plan.network.topology, {rehearse(plan, dead)});
}

TEST(Rehearsal, FindsWhatIsWrongWithTheBadChangeOfTheExample) {
  for (const bool atOnce : {true, false}) {
    EXPECT_EQ(
        verdict(planTo("bad", atOnce)),
        "BAD: 239.1.0.0/16 has no RP any more on core1, core2, dist1, dist2, dist3, dist4, "
        "edge1, edge2, though dist2 stands for it; new drops on core1: border or C-RP filter");
  }
  const RehearsalPlan plan = planTo("bad", true);
  const RouterId core1 = *plan.network.topology.routerNamed("core1");
  EXPECT_TRUE(verdict(plan, core1)
                  .ends_with("(with core1 dead); new drops on core2: border or C-RP filter"));
  const RehearsalOutcome outcome = rehearse(plan, core1);
  const auto json = nlohmann::json::parse(rehearsalJson(plan.network.topology, {outcome}));
  EXPECT_EQ(json["runs"][0]["dead"], "core1");
  EXPECT_EQ(json["runs"][0]["ranges"][0]["before"], nlohmann::json({"192.0.2.11"}));
  EXPECT_EQ(json["runs"][0]["ranges"][0]["after"], nlohmann::json::array());
  EXPECT_EQ(json["runs"][0]["ranges"][0]["lost"].size(), 7U) << "all that are up";
}

TEST(Rehearsal, FindsNothingWrongWithTheGoodOne) {
  for (const bool atOnce : {true, false}) {
    const RehearsalPlan plan = planTo("good", atOnce);
    const RehearsalOutcome outcome = rehearse(plan, std::nullopt);
    EXPECT_FALSE(outcome.bad());
    ASSERT_EQ(outcome.ranges.size(), 2U);
    EXPECT_EQ(outcome.ranges[0].before, std::set{*IpGenAddr::fromText("192.0.2.11")});
    EXPECT_EQ(outcome.ranges[0].after, std::set{*IpGenAddr::fromText("192.0.2.12")});
    EXPECT_FALSE(outcome.ranges[1].noticed());
    EXPECT_TRUE(outcome.elections.empty());
  }
}

// Nothing is wrong with a range for which nobody stands any more, but with one that is served anew
// only after a while.
TEST(Rehearsal, TellsAGapFromAWithdrawal) {
  RehearsalPlan plan = planTo("bad", false);
  const RouterId dist2 = *plan.network.topology.routerNamed("dist2");
  plan.after[dist2] = plan.network.configs[dist2];
  const RehearsalOutcome withdrawal = rehearse(plan, std::nullopt);
  EXPECT_FALSE(withdrawal.bad());
  EXPECT_EQ(withdrawal.ranges[0].withdrawn.size(), 8U);

  const RouterId dist1 = *plan.network.topology.routerNamed("dist1");
  plan.steps = {{dist1}, {dist2}};
  plan.after[dist2] = planTo("good", false).after.at(dist2);
  for (const RouterId core : {0U, 1U})
    plan.network.configs[core] = planTo("good", false).after[core];
  const RehearsalOutcome gap = rehearse(plan, std::nullopt);
  EXPECT_TRUE(gap.bad());
  EXPECT_TRUE(gap.ranges[0].lost.empty());
  EXPECT_NEAR(gap.ranges[0].without.at(dist1), plan.pause, 15.0);
}

TEST(Rehearsal, RefusesFilesThatDoNotFitTheTopology) {
  const auto complaint = [](const std::string& folder) -> std::string {
    try {
      readNetwork(example + "network.yaml", folder);
    } catch (const ScenarioError& error) {
      return error.what();
    }
    return "nothing";
  };
  EXPECT_TRUE(complaint(example + "bad")
                  .ends_with("core1.yaml: cannot be read: "
                             "No such file or directory"));
  EXPECT_TRUE(complaint(PIMBSR_EXAMPLES "/lab")
                  .ends_with("there is no router of this name in the "
                             "topology"));
}

}  // namespace
}  // namespace Routing::Sim
