#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "bsr/engine/LastBsm.h"
#include "tests/support/BsrRouter.h"

namespace Routing::Pim::Bsr {
namespace {

using namespace TestKit;

struct Held {
  std::shared_ptr<PimBsrLimits> limits = std::make_shared<PimBsrLimits>();
  LastBsmBudget budget{std::make_shared<Status>(VrfName("default")), limits};
  LastBsm last{budget};
};

Bsm bsm() {
  return Bsm("10.9.9.9").tag(7);
}

TEST(LastBsm, JoinsTheFragmentsOfOneMessage) {
  const auto piece = [](unsigned count, const Rps& rps) {
    return bsm().piece("225.0.0.0/8", count, rps);
  };
  const auto zone = [](const Rps& rps = {}) { return bsm().zone("239.1.0.0/16", rps); };
  const Bsm whole = bsm().group("225.0.0.0/8", {{"10.1.1.1"}});
  struct {
    const char* what;
    std::vector<Bsm> messages;
    const char* held;
  } const cases[] = {
      {"one message", {whole}, "225.0.0.0/8 0 1/1(10.1.1.1 150 0)"},
      {"two ranges",
       {whole, bsm().group("226.0.0.0/8", {{"10.2.2.2"}})},
       "225.0.0.0/8 0 1/1(10.1.1.1 150 0) 226.0.0.0/8 0 1/1(10.2.2.2 150 0)"},
      {"pieces of a range",
       {piece(3, {{"10.2.2.2"}}), piece(3, {{"10.1.1.1"}}), piece(3, {{"10.3.3.3"}})},
       "225.0.0.0/8 0 3/3(10.1.1.1 150 0, 10.2.2.2 150 0, 10.3.3.3 150 0)"},
      {"a repeated piece",
       {piece(3, {{"10.2.2.2"}}), piece(3, {{"10.2.2.2", 99}})},
       "225.0.0.0/8 0 1/3(10.2.2.2 99 0)"},
      // The newer piece stands for a range that does not agree.
      {"another count",
       {piece(3, {{"10.1.1.1"}}), piece(4, {{"10.2.2.2"}})},
       "225.0.0.0/8 0 1/4(10.2.2.2 150 0)"},
      {"more RPs than announced",
       {piece(3, {{"10.1.1.1"}, {"10.2.2.2"}}), piece(3, {{"10.3.3.3"}, {"10.4.4.4"}})},
       "225.0.0.0/8 0 2/3(10.3.3.3 150 0, 10.4.4.4 150 0)"},
      {"a whole range again",
       {whole, bsm().group("225.0.0.0/8", {{"10.2.2.2"}})},
       "225.0.0.0/8 0 1/1(10.2.2.2 150 0)"},
      // The entry of the zone is kept once; with RPs of its own it is repeated without them, with
      // or without their number.
      {"a zone in each",
       {zone().group("239.1.1.0/24", {{"10.1.1.1"}}), zone().group("239.1.2.0/24")},
       "239.1.0.0/16 1 0/0() 239.1.1.0/24 0 1/1(10.1.1.1 150 0) 239.1.2.0/24 0 0/0()"},
      {"a zone's RPs, repeated without number",
       {zone({{"10.5.5.5"}}), bsm().group("239.1.0.0/16").group("239.1.2.0/24")},
       "239.1.0.0/16 1 1/1(10.5.5.5 150 0) 239.1.2.0/24 0 0/0()"},
      {"and with it",
       {zone({{"10.5.5.5"}}), bsm().piece("239.1.0.0/16", 1, {}).group("239.1.2.0/24")},
       "239.1.0.0/16 1 1/1(10.5.5.5 150 0) 239.1.2.0/24 0 0/0()"},
      {"a zone stays one",
       {zone({{"10.1.1.1"}}), zone().piece("239.1.0.0/16", 3, {{"10.2.2.2"}})},
       "239.1.0.0/16 1 1/3(10.2.2.2 150 0)"},
      {"what did not name a zone does not begin to",
       {whole, bsm().zone("225.0.0.0/8", {{"10.2.2.2"}, {"10.3.3.3"}})},
       "225.0.0.0/8 0 2/2(10.2.2.2 150 0, 10.3.3.3 150 0)"},
      {"a range that one message repeats",
       {zone().group("239.1.1.0/24").group("239.1.0.0/16"),
        bsm().group("239.1.0.0/16", {{"10.1.1.1"}})},
       "239.1.0.0/16 1 1/1(10.1.1.1 150 0) 239.1.1.0/24 0 0/0()"},
  };
  for (const auto& each : cases) {
    Held held;
    for (const Bsm& message : each.messages) held.last.messageIs(message.make(), 0);
    EXPECT_EQ(bsmText(*held.last.message()), std::string("10.9.9.9 64 30 tag * ") + each.held)
        << each.what;
  }
}

TEST(LastBsm, AnotherMessageReplacesWhatIsHeld) {
  const Bsm first = bsm().group("225.0.0.0/8", {{"10.1.1.1"}});
  for (const Bsm& other :
       {bsm().tag(8), bsm().hashMask(29), Bsm("10.9.9.9", 65).tag(7), Bsm("10.9.9.8").tag(7)}) {
    Held held;
    const auto message = other.make(), before = first.make();
    held.last.messageIs(before, 0);
    EXPECT_EQ(held.last.message(), before);
    held.last.messageIs(message, 0);
    EXPECT_EQ(held.last.message(), message) << bsmText(*message, true);
    EXPECT_EQ(*before, static_cast<const BootstrapMessage&>(first)) << "left alone";
  }
}

TEST(LastBsm, FragmentsMustFollowTheFirstOneSoon) {
  for (const auto& [at, joined] : {std::pair{24.9, true}, {25.0, false}, {60.0, false}}) {
    Held held;
    LastBsm& last = held.last;
    last.messageIs(bsm().group("225.0.0.0/8").make(), 100);
    last.messageIs(bsm().group("226.0.0.0/8").make(), 110);
    last.messageIs(bsm().group("227.0.0.0/8").make(), 100 + at);
    EXPECT_EQ(last.message()->groupRpData().size(), joined ? 3U : 1U) << at;
  }
}

TEST(LastBsm, AllZonesTogetherStayWithinTheLimits) {
  Held held;
  LastBsm other(held.budget);
  held.limits->maxGroupsIs(4);
  held.limits->maxRpsIs(4);
  EXPECT_TRUE(other.messageIs(bsm().group("225.0.0.0/8", {{"10.1.1.1"}}).make(), 0));
  EXPECT_TRUE(held.last.messageIs(bsm().group("226.0.0.0/8", {{"10.1.1.1"}}).make(), 0));
  EXPECT_TRUE(held.last.messageIs(bsm().group("227.0.0.0/8", {{"10.1.1.1"}}).make(), 0));
  EXPECT_EQ(held.limits->refusedKept(), 0U);
  EXPECT_FALSE(
      held.last.messageIs(bsm().group("228.0.0.0/8", {{"10.1.1.1"}, {"10.1.1.2"}}).make(), 0));
  EXPECT_EQ(held.limits->refusedKept(), 1U);
  EXPECT_EQ(held.last.message(), nullptr) << "no part of a message is kept";
  EXPECT_TRUE(
      held.last.messageIs(bsm().group("226.0.0.0/8", {{"10.1.1.1"}, {"10.1.1.2"}}).make(), 0))
      << "what was given up left room";
  other.clear();
  EXPECT_TRUE(other.messageIs(bsm().group("225.0.0.0/8", {{"10.1.1.1"}, {"10.1.1.2"}}).make(), 0));
}

}  // namespace
}  // namespace Routing::Pim::Bsr
