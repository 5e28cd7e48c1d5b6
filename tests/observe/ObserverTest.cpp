#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "observe/Capture.h"
#include "observe/Frame.h"
#include "observe/Observer.h"
#include "platform/pim/rp/RpSetDigest.h"
#include "tests/support/Octets.h"

namespace Routing::Observe {
namespace {

using nlohmann::json;
using TestKit::addr;
const auto pfx = TestKit::prefix;

/// What is known after the first frames of a made capture, all of them unless a number is given.
json afterCapture(const std::string& name, int frames = 1000) {
  Capture capture(PIMBSR_SOURCE_DIR "/tests/data/pcaps/" + name);
  Observer observer;
  while (capture.read([&](double time, std::span<const std::uint8_t> frame) {
    const auto packet = pimOf(capture.linkType(), frame);
    if (packet && frames-- > 0) observer.heard(time, *packet);
  })) {
  }
  return observer.report();
}

json ipv4(const json& report) {
  return report.at("families").at(0);
}

TEST(Observer, KnowsTheRpSetOfTheBsr) {
  const json family = ipv4(afterCapture("bsm-v4-global.pcap"));
  const json& zone = family.at("zones").at(0);
  EXPECT_EQ(zone.at("bsrs").at(0).at("address"), "192.0.2.1");
  EXPECT_EQ(zone.at("bsrs").at(0).at("messages"), 2);
  const std::vector<Pim::RpMapping> mappings = {
      {pfx("224.0.0.0/4"), addr("192.0.2.11"), 1, 0, 30},
      {pfx("239.1.2.0/24"), addr("192.0.2.13"), 2, 5, 30}};
  EXPECT_EQ(family.at("rp-set").size(), 2U) << "one has been withdrawn";
  EXPECT_EQ(family.at("digest"), Pim::rpSetDigestText(Pim::rpSetDigest(mappings)));
}

TEST(Observer, TellsOfFragmentsThatAreMissing) {
  const json part = ipv4(afterCapture("bsm-v4-fragmented.pcap", 2));
  EXPECT_EQ(part.at("zones").at(0).at("incomplete-ranges").dump(),
            R"([{"bsr":"192.0.2.1","group-range":"239.1.2.0/24","rps-announced":28,)"
            R"("rps-received":20}])");
  EXPECT_EQ(part.at("rp-set").size(), 2U) << "what is incomplete is not used";
  const json whole = ipv4(afterCapture("bsm-v4-fragmented.pcap"));
  EXPECT_TRUE(whole.at("zones").at(0).at("incomplete-ranges").empty());
  EXPECT_EQ(whole.at("rp-set").size(), 30U);
}

TEST(Observer, CountsWhatIsBadByReason) {
  std::size_t bad = 0;
  const json report = afterCapture("bad-v4.pcap");
  for (const auto& reason : report.at("bad-packets").items())
    bad += reason.value().get<std::size_t>();
  EXPECT_EQ(report.at("bad-packets").at("bad-checksum"), 2);
  EXPECT_EQ(bad, report.at("packets"));
  EXPECT_EQ(ipv4(afterCapture("crp-v4.pcap")).at("advertisements").at(0).at("messages"), 4);
}

/// A BSR's message with one RP for a range, as octets.
void hear(Observer& observer, double time, const char* bsr, std::uint8_t priority,
          const IpGenPrefix& range, bool zone) {
  Pim::BootstrapMessage bsm;
  bsm.bsrAddressIs(addr(bsr));
  bsm.bsrPriorityIs(priority);
  bsm.hashMaskLenIs(30);
  bsm.fragmentTagIs(static_cast<std::uint16_t>(time) + 1);
  auto& group = bsm.groupRpDataAppend(
      Pim::BootstrapGroupData(range, zone ? Pim::BootstrapGroupData::zoneFlag : 0));
  group.rpCountIs(1);
  group.rpList().rpIs(addr(bsr), {300, priority});
  std::vector<std::uint8_t> octets;
  ASSERT_TRUE(Pim::encode(bsm, addr("10.0.0.9"), addr("224.0.0.13"), octets));
  observer.heard(time, {addr("10.0.0.9"), addr("224.0.0.13"), 1, octets});
}

TEST(Observer, FollowsTheBestBsrOfEachZone) {
  Observer observer;
  const auto all = pfx("224.0.0.0/4"), scoped = pfx("239.1.0.0/16");
  hear(observer, 0, "10.0.0.1", 10, all, false);
  hear(observer, 1, "10.0.0.2", 20, all, false);
  hear(observer, 2, "10.0.0.1", 10, scoped, false);  // a range of the global zone
  hear(observer, 3, "10.0.0.3", 5, scoped, true);    // and the zone that takes it over
  const auto rps = [&] {
    std::string text;
    const json family = ipv4(observer.report());
    for (const json& rp : family.at("rp-set")) {
      text += rp.at("group-range").get<std::string>() + " " +
              rp.at("rp-address").get<std::string>() + ", ";
    }
    return text;
  };
  EXPECT_EQ(rps(), "224.0.0.0/4 10.0.0.2, 239.1.0.0/16 10.0.0.3, ");
  EXPECT_EQ(ipv4(observer.report()).at("zones").at(0).at("bsrs").size(), 2U);
  hear(observer, 132, "10.0.0.1", 10, all, false);
  EXPECT_EQ(rps(), "224.0.0.0/4 10.0.0.1, 239.1.0.0/16 10.0.0.3, ")
      << "the other has been silent too long";
}

}  // namespace
}  // namespace Routing::Observe
