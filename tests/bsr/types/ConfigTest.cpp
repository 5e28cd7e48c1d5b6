#include <gtest/gtest.h>

#include "bsr/types/Config.h"
#include "tests/support/Octets.h"
#include "tests/support/Refusal.h"

namespace Routing::Pim::Bsr {
namespace {

using namespace TestKit;

TEST(Config, WhatIsOutOfBoundsIsStoredAndNotTold) {
  Config config{VrfName("default")};
  EXPECT_EQ(config.holdTime(), 130U);
  EXPECT_EQ(config.szTimeout(), 1300U);
  int told = 0;
  const auto reactor = config.anyReactor([&](std::size_t) { ++told; });
  for (const std::uint32_t bad : {11U, 1073741824U}) {
    EXPECT_EQ(refusal([&] { config.holdTimeIs(bad); }),
              "Config::holdTime < 12 or > 1073741823 not allowed");
    EXPECT_EQ(config.holdTime(), bad);
  }
  EXPECT_EQ(refusal([&] { config.szTimeoutIs(119); }),
            "Config::szTimeout < 120 or > 0xFFFFFFFF not allowed");
  EXPECT_EQ(told, 0);
  for (const std::uint32_t good : {12U, 1073741823U}) config.holdTimeIs(good);
  for (const std::uint32_t good : {120U, 0xFFFFFFFFU}) config.szTimeoutIs(good);
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
  for (const std::uint32_t bad : {9U, 536870907U}) {
    EXPECT_EQ(refusal([&] { entry.intervalIs(bad); }),
              type + "::interval < " + type + "::minInterval or > 536870906 not allowed");
  }
  entry.priorityIs(256);
  entry.hashMaskLenIs(128);
  for (const std::uint32_t good : {10U, 536870906U}) entry.intervalIs(good);
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
