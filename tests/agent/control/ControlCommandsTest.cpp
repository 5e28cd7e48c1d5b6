#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "agent/control/ControlCommands.h"
#include "platform/entity/AttributeMirror.h"
#include "tests/agent/control/FakeAgent.h"

namespace Routing::Agent {
namespace {

using Json = nlohmann::json;

std::string complaint(std::string_view line) {
  try {
    parseControlRequest(line);
  } catch (const RequestError& error) {
    return error.what();
  }
  return "accepted";
}

TEST(ControlRequest, IsReadFromOneJsonObject) {
  const auto request = parseControlRequest(
      R"({"command":"watch","family":"ipv6","topic":"bsr","vrf":"red","snapshot":false})");
  EXPECT_EQ(ControlRequest::Command::watch, request.command);
  EXPECT_EQ(AddressFamily::ipv6, request.af);
  EXPECT_EQ("bsr", request.topic);
  EXPECT_EQ("red", request.vrf.text());
  EXPECT_FALSE(request.snapshot);
  EXPECT_EQ("default",
            parseControlRequest(R"({"command":"show","family":"ipv4","topic":"bsr"})").vrf.text());
}

TEST(ControlRequest, NamesWhatIsWrong) {
  const std::string longVrf(101, 'v');
  const std::pair<std::string, const char*> cases[] = {
      {"", "not a JSON object"},
      {"[1]", "not a JSON object"},
      {R"({"command":"show")", "not a JSON object"},
      {R"({"command":"show"} x)", "not a JSON object"},
      {"{\"command\":\"\xff\"}", "not a JSON object"},
      {std::string(60000, '['), "not a JSON object"},
      {"{}", "'command' is missing"},
      {R"({"command":"show","family":"ipv4"})", "'topic' is missing"},
      {R"({"command":"show","topic":"bsr"})", "'family' is missing"},
      {R"({"command":"erase"})", "unknown command 'erase'"},
      {R"({"command":7})", "'command' must be a string"},
      {R"({"family":"ipx"})", "'family' must be ipv4 or ipv6"},
      {R"({"snapshot":"no"})", "'snapshot' must be true or false"},
      {R"({"vfr":"red"})", "unknown member 'vfr'"},
      {R"({"vrf":")" + longVrf + R"("})", "'vrf' is longer than a VRF name can be"},
  };
  for (const auto& [line, text] : cases) EXPECT_EQ(text, complaint(line)) << line.substr(0, 80);
}

class ControlCommands : public testing::Test {
 protected:
  RefusalCode refusal(const ControlRequest& request) {
    try {
      answerLine(agent_.target(), request);
    } catch (const RequestError& error) {
      return error.code();
    }
    ADD_FAILURE() << "accepted";
    return {};
  }

  FakeAgent agent_;
  FakeInstance& red_ = agent_.add("red", AddressFamily::ipv4);
};

TEST_F(ControlCommands, RefuseWhatDoesNotExist) {
  using Command = ControlRequest::Command;
  const VrfName red("red");
  EXPECT_EQ(RefusalCode::unknownVrf, refusal({.topic = "bsr"}));
  EXPECT_EQ(RefusalCode::unknownVrf,
            refusal({.topic = "bsr", .af = AddressFamily::ipv6, .vrf = red}));
  EXPECT_EQ(RefusalCode::badRequest, refusal({.topic = "weather", .vrf = red}));
  EXPECT_EQ(RefusalCode::badRequest,
            refusal({.command = Command::clear, .topic = "status", .vrf = red}));
  EXPECT_EQ(RefusalCode::badRequest,
            refusal({.command = Command::clear, .topic = "rp", .vrf = red}));
  EXPECT_EQ(RefusalCode::badRequest,
            refusal({.command = Command::clear, .topic = "bsr", .vrf = red, .zone = "ff05::/16"}));
  EXPECT_EQ(
      RefusalCode::badRequest,
      refusal({.command = Command::clear, .topic = "neighbor", .vrf = red, .neighbor = "fe80::1"}));
  EXPECT_EQ(RefusalCode::badRequest,
            refusal({.command = Command::explain, .topic = "bsr", .vrf = red, .zone = "x"}));
  EXPECT_THROW(watchScope(agent_, {.topic = "rp-hash", .vrf = red}), RequestError);
}

TEST_F(ControlCommands, ClearEveryCounter) {
  const auto counters = red_.pamManager->counters();
  const std::string fresh = treeJson(*counters);
  AttributeMirror all(counters);
  for (const char* name :
       {"rxHello", "rxBootstrap", "rxCrpAdv", "rxOther", "rxDropped['malformed']", "txHello",
        "txBootstrap", "txCrpAdv", "txError"}) {
    EXPECT_TRUE(all.apply(std::string("= /") + name + " 7")) << name;
  }
  EXPECT_EQ(std::ranges::count(treeJson(*counters), '7'), 9);
  clearMessageCounters(*counters);
  EXPECT_EQ(treeJson(*counters), fresh);
}

TEST_F(ControlCommands, HandOnWhatIsToBeForgotten) {
  const auto request = parseControlRequest(
      R"({"command":"clear","family":"ipv4","topic":"rp","vrf":"red","rp":"10.0.0.1",)"
      R"("zone":"239.0.0.0/8"})");
  EXPECT_EQ(7, Json::parse(answerLine(agent_.target(), request)).at("data").at("count"));
  EXPECT_EQ(ClearOrder::What::rp, agent_.cleared.what);
  EXPECT_EQ("red", agent_.cleared.vrf.text());
  EXPECT_EQ(addr("10.0.0.1"), agent_.cleared.rp);
  EXPECT_EQ(prefix("239.0.0.0/8"), agent_.cleared.zone);
  const ControlRequest neighbor{.command = ControlRequest::Command::clear,
                                .topic = "neighbor",
                                .vrf = VrfName("red"),
                                .neighbor = "10.0.0.2"};
  answerLine(agent_.target(), neighbor);
  EXPECT_EQ(addr("10.0.0.2"), agent_.cleared.neighbor);
}

TEST_F(ControlCommands, ShowAllVrfsOfAFamilyAtOnce) {
  agent_.add("blue", AddressFamily::ipv4);
  agent_.add("blue", AddressFamily::ipv6);
  const Json data =
      Json::parse(answerLine(agent_.target(), {.topic = "bsr", .vrf = VrfName("all")})).at("data");
  ASSERT_EQ(2u, data.at("instances").size());
  EXPECT_EQ("red", data.at("instances").at(0).at("vrf"));
  EXPECT_EQ("blue", data.at("instances").at(1).at("vrf"));
}

TEST_F(ControlCommands, LimitAWatchToTheAttributesOfItsTopic) {
  const WatchScope scope = watchScope(agent_, {.topic = "bsr", .vrf = VrfName("red")});
  EXPECT_EQ(red_.status, scope.root);
  EXPECT_TRUE(scope.covers("+ /bootstrapRouter[224.0.0.0/4]"));
  EXPECT_TRUE(scope.covers("= /cbsr[224.0.0.0/4]/state pBsr"));
  EXPECT_FALSE(scope.covers("= /cbsrOther 1"));
  EXPECT_FALSE(scope.covers("= /bsTimeout 130"));
  EXPECT_FALSE(scope.covers("+ "));
  EXPECT_TRUE(watchScope(agent_, {.topic = "status", .vrf = VrfName("red")}).covers("= /af ipv4"));
}

TEST_F(ControlCommands, HashOnlyAddressesOfTheFamily) {
  for (const char* group : {"", "ff0e::1", "239.1.1.0/24", "239.1.1", "group"}) {
    const ControlRequest request{.topic = "rp-hash", .vrf = VrfName("red"), .group = group};
    EXPECT_THROW(answerLine(agent_.target(), request), RequestError) << group;
  }
}

TEST_F(ControlCommands, TellWhichInstancesAreReadyForAnUpgrade) {
  const auto ask = [this](const char* topic) {
    const auto request =
        parseControlRequest(std::string(R"({"command":"upgrade","topic":")") + topic + R"("})");
    return Json::parse(answerLine(agent_.target(), request)).at("data").at("instances");
  };
  EXPECT_FALSE(ask("status").at(0).at("ready"));
  EXPECT_FALSE(agent_.upgradePrepared);
  EXPECT_FALSE(ask("prepare").at(0).at("ready"));
  EXPECT_TRUE(agent_.upgradePrepared);
  red_.upgrade->completedVrfIs(VrfName("red"), true);
  const Json ready = {{"vrf", "red"}, {"address-family", "ipv4"}, {"ready", true}};
  EXPECT_EQ(Json::array({ready}), ask("status"));
  EXPECT_EQ(RefusalCode::badRequest,
            refusal({.command = ControlRequest::Command::upgrade, .topic = "undo"}));
}

TEST_F(ControlCommands, DrainWhatTheyAreTold) {
  const auto drained = [this](const std::string& line) {
    return Json::parse(answerLine(agent_.target(), parseControlRequest(line)))
        .at("data")
        .at("drained");
  };
  const std::pair<const char*, Candidacies> topics[] = {{"bsr", {true, false}},
                                                        {"rp", {false, true}},
                                                        {"all", {true, true}},
                                                        {"status", {true, true}}};
  for (const auto& [topic, kinds] : topics) {
    EXPECT_EQ(drained(std::string(R"({"command":"drain","topic":")") + topic + R"("})"),
              Json({{"bsr", kinds.bsr}, {"rp", kinds.rp}}));
    EXPECT_EQ(agent_.drained.drained, kinds) << topic;
  }
  EXPECT_EQ(drained(R"({"command":"undrain"})"), Json({{"bsr", false}, {"rp", false}}));
  EXPECT_EQ(RefusalCode::badRequest,
            refusal({.command = ControlRequest::Command::drain, .topic = "office"}));
}

TEST_F(ControlCommands, SurviveNamesThatAreNoUtf8) {
  red_.pimStatus->newPimIntf(IntfId("eth\xff"));
  const auto data = [this](const char* topic) {
    return Json::parse(answerLine(agent_.target(), {.topic = topic, .vrf = VrfName("red")}))
        .at("data");
  };
  EXPECT_EQ("eth\xef\xbf\xbd", data("interface").at("interfaces")[0].at("interface"));
  EXPECT_TRUE(data("status").at("pim").is_string());
}

}  // namespace
}  // namespace Routing::Agent
