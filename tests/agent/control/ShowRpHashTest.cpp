#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "agent/control/ControlCommands.h"
#include "agent/control/Show.h"
#include "tests/agent/control/FakeAgent.h"

namespace Routing::Agent {
namespace {

class ShowRpHash : public testing::Test {
 protected:
  Json ask(const std::string& group) {
    const auto af =
        group.find(':') == std::string::npos ? AddressFamily::ipv4 : AddressFamily::ipv6;
    return Json::parse(answerLine(agent_.target(), {.topic = "rp-hash", .af = af, .group = group}))
        .at("data");
  }
  /// RP and outcome of every contender, in order.
  static std::vector<std::string> outcomes(const Json& data) {
    std::vector<std::string> lines;
    for (const Json& c : data.at("contenders")) {
      lines.push_back(c.at("rp-address").get<std::string>() + " " +
                      c.at("outcome").get<std::string>());
    }
    return lines;
  }

  FakeAgent agent_;
  FakeInstance& v4_ = agent_.add("default", AddressFamily::ipv4);
  FakeInstance& v6_ = agent_.add("default", AddressFamily::ipv6);
};

using Lines = std::vector<std::string>;

// The hash values are those of RFC 7761 section 4.7.2, worked out apart from this code.
TEST_F(ShowRpHash, ExplainsEveryRuleByWhichAContenderLoses) {
  v4_.addMapping("224.0.0.0/4", "10.0.0.9", 0);
  v4_.addMapping("239.1.0.0/16", "10.0.0.7", 20);
  v4_.addMapping("239.1.0.0/16", "10.0.0.1", 10);
  v4_.addMapping("239.1.0.0/16", "10.0.0.2", 10);
  v4_.addMapping("239.2.0.0/16", "10.0.0.8", 0);
  const Json data = ask("239.1.1.1");
  const Lines expected = {"10.0.0.1 selected", "10.0.0.2 lost: higher hash value of 10.0.0.1",
                          "10.0.0.7 lost: lower priority value of 10.0.0.1",
                          "10.0.0.9 lost: longer group range 239.1.0.0/16 of 10.0.0.1"};
  EXPECT_EQ(expected, outcomes(data));
  EXPECT_EQ(1679372561, data.at("contenders")[0].at("hash"));
  EXPECT_EQ(694951000, data.at("contenders")[1].at("hash"));
  EXPECT_EQ("10.0.0.1", data.at("rp").at("rp-address"));
  EXPECT_EQ("highestHash", data.at("rule"));
  EXPECT_EQ("RP 10.0.0.1 serves group 239.1.1.1: highest hash value.", data.at("explanation"));
}

TEST_F(ShowRpHash, SaysWhyThereIsNoRp) {
  v4_.addMapping("224.0.0.0/4", "10.0.0.1", 0);
  v6_.addMapping("ff0e::/16", "2001:db8::1", 0);
  const std::pair<const char*, const char*> cases[] = {
      {"232.1.1.1", "No RP for group 232.1.1.1: a source-specific group has no RP."},
      {"10.1.1.1", "No RP for group 10.1.1.1: the address is not a multicast group."},
      {"ff05::1", "No RP for group ff05::1: no mapping covers the group."},
      {"ff70::1",
       "No RP for group ff70::1: the group address names its RP itself, but not a usable one."}};
  for (const auto& [group, explanation] : cases) {
    const Json data = ask(group);
    EXPECT_TRUE(data.at("rp").is_null()) << group;
    EXPECT_EQ(explanation, data.at("explanation"));
  }
  EXPECT_EQ(Lines{"10.0.0.1 not considered: a source-specific group has no RP"},
            outcomes(ask("232.1.1.1")));
}

TEST_F(ShowRpHash, TakesTheRpFromTheGroupAddress) {
  v6_.addMapping("ff00::/8", "2001:db8::1", 0);
  const Json data = ask("ff7e:140:2001:db8:beef:feed::1234");
  EXPECT_EQ("2001:db8:beef:feed::1", data.at("rp").at("rp-address"));
  EXPECT_EQ("embeddedRp", data.at("rule"));
  EXPECT_EQ(Lines{"2001:db8::1 not considered: the group address names its RP itself"},
            outcomes(data));
}

TEST_F(ShowRpHash, RefusesWhatIsNoAddressOfTheFamily) {
  for (const char* group : {"", "ff0e::1", "239.1.1.0/24", "239.1.1", "group"}) {
    const ControlRequest request{.topic = "rp-hash", .af = AddressFamily::ipv4, .group = group};
    EXPECT_THROW(answerLine(agent_.target(), request), RequestError) << group;
  }
}

}  // namespace
}  // namespace Routing::Agent
