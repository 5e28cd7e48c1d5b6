#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "observe/Capture.h"
#include "observe/Frame.h"
#include "observe/Observer.h"
#include "sim/replay/ReplayReport.h"

namespace Routing::Sim {
namespace {

using Json = nlohmann::json;

/// What a router and an observer make of the same capture.
struct Replayed {
  Json router;
  Json observer;
};

Replayed replayed(const std::string& name, int frames = 1000) {
  Observe::Capture capture(PIMBSR_PCAPS "/" + name);
  Replay replay;
  Observe::Observer observer;
  while (capture.read([&](double time, std::span<const std::uint8_t> frame) {
    const auto packet = Observe::pimOf(capture.linkType(), frame);
    if (!packet || frames-- <= 0) return;
    replay.hear(time, *packet);
    observer.heard(time, *packet);
  })) {
  }
  return {replayJson(replay), observer.report()};
}

TEST(Replay, KnowsOfACaptureWhatAnObserverDoes) {
  for (const std::string name :
       {"bsm-v4-global.pcap", "bsm-v4-fragmented.pcap", "bsm-v4-scoped.pcap", "bsm-v6-global.pcap",
        "bsm-v6-fragmented.pcap", "bsm-v6-scoped.pcap"}) {
    // The second message of the scoped ones empties a range, which an observer believes at once and
    // a router when the hold time is over.
    const Replayed both = replayed(name, name.find("scoped") == std::string::npos ? 1000 : 1);
    ASSERT_EQ(both.router.at("families").size(), 1U) << name;
    const Json& router = both.router.at("families").at(0);
    const bool v4 = router.at("address-family") == "ipv4";
    const Json& observer = both.observer.at("families").at(v4 ? 0 : 1);
    EXPECT_EQ(router.at("packets"), both.observer.at("packets")) << name;
    EXPECT_EQ(router.at("digest"), observer.at("digest")) << name;
    EXPECT_FALSE(router.at("rp-set").empty()) << name;
    EXPECT_EQ(router.at("zones").size(), observer.at("zones").size()) << name;
    EXPECT_EQ(router.at("zones").at(0).at("bsr"),
              observer.at("zones").at(0).at("bsrs").at(0).at("address"))
        << name;
    EXPECT_TRUE(allTaken(both.router)) << name << replayText(both.router);
  }
}

TEST(Replay, SaysWhatWasDroppedAndWhy) {
  for (const char* name : {"bad-v4.pcap", "bad-v6.pcap"}) {
    const Replayed both = replayed(name);
    const Json& router = both.router.at("families").at(0);
    EXPECT_EQ(router.at("dropped").at("bad-checksum"),
              both.observer.at("bad-packets").at("bad-checksum"));
    EXPECT_FALSE(allTaken(both.router));
    EXPECT_TRUE(router.at("zones").empty());
    const std::string text = replayText(both.router);
    EXPECT_NE(text.find("  no BSR\n  dropped, bad-checksum: "), std::string::npos) << text;
  }
}

}  // namespace
}  // namespace Routing::Sim
