#include <gtest/gtest.h>

#include "bsr/types/Config.h"
#include "tests/support/Octets.h"
#include "tests/support/Refusal.h"

namespace Routing::Pim::Bsr {
namespace {

using namespace TestKit;

TEST(Config, HoldTimesHaveBounds) {
  Config config{VrfName("default")};
  EXPECT_EQ(config.holdTime(), 130U);
  EXPECT_EQ(config.szTimeout(), 1300U);
  int told = 0;
  const auto hold = config.holdTimeReactor([&] { ++told; });
  const auto zone = config.szTimeoutReactor([&] { ++told; });
  const char* holdText = "Config::holdTime < 12 or > 1073741823 not allowed";
  EXPECT_EQ(refusal([&] { config.holdTimeIs(11); }), holdText);
  EXPECT_EQ(config.holdTime(), 11U);
  EXPECT_EQ(refusal([&] { config.holdTimeIs(1073741824); }), holdText);
  EXPECT_EQ(refusal([&] { config.szTimeoutIs(119); }),
            "Config::szTimeout < 120 or > 0xFFFFFFFF not allowed");
  EXPECT_EQ(config.szTimeout(), 119U);
  EXPECT_EQ(told, 0);
  config.holdTimeIs(12);
  config.holdTimeIs(1073741823);
  config.szTimeoutIs(120);
  config.szTimeoutIs(0xFFFFFFFF);
  EXPECT_EQ(told, 4);
}

template <class Entry>
void expectSettings(Entry& entry, const std::string& type) {
  EXPECT_EQ(entry.priority(), 256U);
  EXPECT_EQ(entry.hashMaskLen(), 128U);
  EXPECT_EQ(entry.interval(), 60U);
  EXPECT_EQ(refusal([&] { entry.priorityIs(257); }), type + "::priority < 0 or > 256 not allowed");
  EXPECT_EQ(refusal([&] { entry.hashMaskLenIs(129); }),
            type + "::hashMaskLen < 0 or > 128 not allowed");
  const std::string interval =
      type + "::interval < " + type + "::minInterval or > 536870906 not allowed";
  EXPECT_EQ(refusal([&] { entry.intervalIs(9); }), interval);
  EXPECT_EQ(refusal([&] { entry.intervalIs(536870907); }), interval);
  EXPECT_EQ(refusal([&] {
              entry.priorityIs(0);
              entry.priorityIs(256);
              entry.hashMaskLenIs(0);
              entry.hashMaskLenIs(128);
              entry.intervalIs(10);
              entry.intervalIs(536870906);
            }),
            "none");
}

TEST(Config, CandidateSettingsHaveBoundsAndMarks) {
  BsrCandidateGroup group{prefix("239.0.0.0/8")};
  BsrCandidateAcl acl{"zones"};
  expectSettings(group, "BsrCandidateGroup");
  expectSettings(acl, "BsrCandidateAcl");
}

TEST(Config, ReferencesRefuseNull) {
  VrfIntfConfig config{"default"};
  EXPECT_EQ(refusal([&] { config.intfConfigIs("eth0", nullptr); }),
            "null _intfConfig parameter to mutator for "
            "Routing::Pim::Bsr::VrfIntfConfig::intfConfig not allowed\"");
  EXPECT_TRUE(config.intfConfig().empty());
}

}  // namespace
}  // namespace Routing::Pim::Bsr
