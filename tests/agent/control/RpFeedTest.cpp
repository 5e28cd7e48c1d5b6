#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "agent/feed/RpFeed.h"
#include "tests/agent/control/FakeAgent.h"

namespace Routing::Agent {
namespace {

using Json = nlohmann::json;
using Lines = std::vector<std::string>;

class RpFeedTest : public testing::Test {
 protected:
  /// "add 10.0.0.1 1": what was told since the last call, each line without what all have.
  Lines told() {
    Lines out;
    for (const Json& line : lines_) {
      std::string text = line.at("operation");
      if (line.contains("rp-address")) text += " " + line.at("rp-address").get<std::string>();
      if (line.contains("generation")) text += " " + line.at("generation").dump();
      out.push_back(text);
    }
    lines_.clear();
    return out;
  }
  std::shared_ptr<void> subscribe(const RpFeed::Scope& scope = {}) {
    return agent_.feed.subscribe(
        scope, [this](std::string_view line) { lines_.push_back(Json::parse(line)); });
  }

  FakeAgent agent_;
  FakeInstance& v4_ = agent_.add("default", AddressFamily::ipv4);
  std::vector<Json> lines_;
};

TEST_F(RpFeedTest, TellsOnlyWhatHasSettled) {
  v4_.addRp("239.0.0.0/8", "224.0.0.0/4", "10.0.0.1", 1, 10, 200);  // of a range beyond its zone
  v4_.status->newCrpStatus(prefix("225.0.0.0/8"));                  // knows no RP yet
  v4_.addRp("224.0.0.0/4", "224.0.0.0/4", "10.0.0.1", 1, 10, 200);
  const auto subscription = subscribe();
  EXPECT_EQ(lines_.at(0).dump(),
            R"({"address-family":"ipv4","group-range":"224.0.0.0/4","hash-mask-length":30,)"
            R"("mode":"sparse","operation":"present","origin":"bsr","priority":1,)"
            R"("rp-address":"10.0.0.1","vrf":"default","zone":"224.0.0.0/4"})");
  EXPECT_EQ(lines_.at(1).at("instances").at(0).at("mappings"), 1);
  EXPECT_EQ(told(), (Lines{"present 10.0.0.1", "live"}));

  v4_.addRp("239.0.0.0/8", "239.1.0.0/16", "10.0.0.2", 1, 10, 200);
  Pim::RpEntry& half = v4_.addMapping("224.0.0.0/4", "10.0.0.3", 7);
  EXPECT_TRUE(told().empty()) << "the turn has not ended";
  agent_.feed.settle();
  EXPECT_EQ(lines_.at(0).at("zone"), "239.0.0.0/8");
  const std::string before = lines_.at(0).at("digest");
  EXPECT_EQ(told(), (Lines{"add 10.0.0.2 2"})) << "an RP without times is being written";

  half.setupTimeIs(10);
  v4_.rpCandidate->crpSet(prefix("224.0.0.0/4"))->rp(addr("10.0.0.1"))->expiryTimeIs(300);
  agent_.feed.settle();
  EXPECT_TRUE(told().empty()) << "times are not told";
  v4_.rpCandidate->crpSetDel(prefix("239.1.0.0/16"));
  v4_.addRp("239.0.0.0/8", "239.1.0.0/16", "10.0.0.2", 9, 10, 200);
  agent_.feed.settle();
  EXPECT_NE(lines_.at(0).at("digest"), before);
  EXPECT_EQ(told(), (Lines{"update 10.0.0.2 3"}));
  v4_.rpCandidate->crpSetDel(prefix("239.1.0.0/16"));
  agent_.feed.settle();
  EXPECT_EQ(told(), (Lines{"remove 10.0.0.2 4"}));
}

TEST_F(RpFeedTest, FollowsInstancesThatComeAndGo) {
  const auto everything = subscribe();
  auto ipv4 = subscribe({.vrf = VrfName("default"), .af = AddressFamily::ipv4});
  told();
  agent_.add("red", AddressFamily::ipv6).addRp("ff00::/8", "ff00::/8", "fd00::1", 1, 10, 200);
  agent_.feed.settle();
  EXPECT_EQ(told(), (Lines{"add fd00::1 1"})) << "to one of two";
  v4_.addRp("224.0.0.0/4", "224.0.0.0/4", "10.0.0.1", 1, 10, 200);
  agent_.feed.settle();
  EXPECT_EQ(told(), (Lines{"add 10.0.0.1 1", "add 10.0.0.1 1"}));
  ipv4.reset();
  agent_.list.pop_front();
  agent_.feed.settle();
  EXPECT_EQ(told(), (Lines{"remove 10.0.0.1 2"}));
}

}  // namespace
}  // namespace Routing::Agent
