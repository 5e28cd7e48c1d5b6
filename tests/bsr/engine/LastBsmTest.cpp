#include <gtest/gtest.h>

#include <string>

#include "bsr/engine/LastBsm.h"
#include "tests/support/BsrRouter.h"

namespace Routing::Pim::Bsr {
namespace {

using TestKit::Bsm;
using TestKit::bsmText;
using TestKit::Rps;

struct Held {
  std::shared_ptr<PimBsrLimits> limits = std::make_shared<PimBsrLimits>();
  LastBsmBudget budget{std::make_shared<Status>(VrfName("default")), limits};
  LastBsm last{budget};
};

/// What is held after these messages, all taken at once.
std::string heldAfter(std::initializer_list<Bsm> messages) {
  Held held;
  LastBsm& last = held.last;
  for (const Bsm& each : messages) last.messageIs(each.make(), 0);
  return bsmText(*last.message());
}

Bsm bsm() {
  return Bsm("10.9.9.9").tag(7);
}

TEST(LastBsm, JoinsTheFragmentsOfOneMessage) {
  const std::string head = "10.9.9.9 64 30 tag *";
  EXPECT_EQ(heldAfter({bsm().group("225.0.0.0/8", {{"10.1.1.1"}})}),
            head + " 225.0.0.0/8 0 1/1(10.1.1.1 150 0)");
  EXPECT_EQ(heldAfter({bsm().group("225.0.0.0/8", {{"10.1.1.1"}}),
                       bsm().group("226.0.0.0/8", {{"10.2.2.2"}})}),
            head + " 225.0.0.0/8 0 1/1(10.1.1.1 150 0) 226.0.0.0/8 0 1/1(10.2.2.2 150 0)");
  EXPECT_EQ(heldAfter({bsm().piece("225.0.0.0/8", 3, {{"10.2.2.2"}}),
                       bsm().piece("225.0.0.0/8", 3, {{"10.1.1.1"}}),
                       bsm().piece("225.0.0.0/8", 3, {{"10.3.3.3"}})}),
            head + " 225.0.0.0/8 0 3/3(10.1.1.1 150 0, 10.2.2.2 150 0, 10.3.3.3 150 0)");
  EXPECT_EQ(heldAfter({bsm().piece("225.0.0.0/8", 3, {{"10.2.2.2"}}),
                       bsm().piece("225.0.0.0/8", 3, {{"10.2.2.2", 99}})}),
            head + " 225.0.0.0/8 0 1/3(10.2.2.2 99 0)")
      << "a repeated piece";
}

TEST(LastBsm, KeepsTheEntryOfTheZoneOnce) {
  EXPECT_EQ(heldAfter({bsm().zone("239.1.0.0/16").group("239.1.1.0/24", {{"10.1.1.1"}}),
                       bsm().zone("239.1.0.0/16").group("239.1.2.0/24", {{"10.1.1.1"}})}),
            "10.9.9.9 64 30 tag * 239.1.0.0/16 1 0/0() 239.1.1.0/24 0 1/1(10.1.1.1 150 0) "
            "239.1.2.0/24 0 1/1(10.1.1.1 150 0)");
  // With RPs of its own it is repeated without them, with or without their number.
  for (const unsigned announced : {0U, 1U}) {
    Bsm later = bsm().piece("239.1.0.0/16", announced, {}).group("239.1.2.0/24", {{"10.1.1.1"}});
    EXPECT_EQ(heldAfter({bsm().zone("239.1.0.0/16", {{"10.5.5.5"}}), later}),
              "10.9.9.9 64 30 tag * 239.1.0.0/16 1 1/1(10.5.5.5 150 0) 239.1.2.0/24 0 "
              "1/1(10.1.1.1 150 0)");
  }
}

TEST(LastBsm, TheNewerPieceStandsForARangeThatDoesNotAgree) {
  const std::string range = "10.9.9.9 64 30 tag * 225.0.0.0/8 0 ";
  EXPECT_EQ(heldAfter({bsm().piece("225.0.0.0/8", 3, {{"10.1.1.1"}}),
                       bsm().piece("225.0.0.0/8", 4, {{"10.2.2.2"}})}),
            range + "1/4(10.2.2.2 150 0)")
      << "another count";
  EXPECT_EQ(heldAfter({bsm().piece("225.0.0.0/8", 3, {{"10.1.1.1"}, {"10.2.2.2"}}),
                       bsm().piece("225.0.0.0/8", 3, {{"10.3.3.3"}, {"10.4.4.4"}})}),
            range + "2/3(10.3.3.3 150 0, 10.4.4.4 150 0)")
      << "more RPs than announced";
  EXPECT_EQ(heldAfter({bsm().group("225.0.0.0/8", {{"10.1.1.1"}}),
                       bsm().group("225.0.0.0/8", {{"10.2.2.2"}})}),
            range + "1/1(10.2.2.2 150 0)")
      << "a whole range again";
}

TEST(LastBsm, NamesItsZoneWhateverComesLater) {
  EXPECT_EQ(heldAfter({bsm().zone("239.1.0.0/16", {{"10.1.1.1"}}),
                       bsm().zone("239.1.0.0/16").piece("239.1.0.0/16", 3, {{"10.2.2.2"}})}),
            "10.9.9.9 64 30 tag * 239.1.0.0/16 1 1/3(10.2.2.2 150 0)");
  EXPECT_EQ(heldAfter({bsm().group("225.0.0.0/8", {{"10.1.1.1"}}),
                       bsm().zone("225.0.0.0/8", {{"10.2.2.2"}, {"10.3.3.3"}})}),
            "10.9.9.9 64 30 tag * 225.0.0.0/8 0 2/2(10.2.2.2 150 0, 10.3.3.3 150 0)")
      << "what did not name a zone does not begin to";
}

TEST(LastBsm, KeepsARangeOnceThatOneMessageRepeats) {
  EXPECT_EQ(
      heldAfter({bsm().zone("239.1.0.0/16").group("239.1.1.0/24", {}).group("239.1.0.0/16", {}),
                 bsm().group("239.1.0.0/16", {{"10.1.1.1"}})}),
      "10.9.9.9 64 30 tag * 239.1.0.0/16 1 1/1(10.1.1.1 150 0) 239.1.1.0/24 0 0/0()");
}

TEST(LastBsm, AnotherMessageReplacesWhatIsHeld) {
  const Bsm first = bsm().group("225.0.0.0/8", {{"10.1.1.1"}});
  for (const Bsm& other :
       {bsm().tag(8), bsm().hashMask(29), Bsm("10.9.9.9", 65).tag(7), Bsm("10.9.9.8").tag(7)}) {
    Held held;
    LastBsm& last = held.last;
    last.messageIs(first.make(), 0);
    const auto message = other.make();
    last.messageIs(message, 0);
    EXPECT_EQ(last.message(), message) << bsmText(*message, true);
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

TEST(LastBsm, LeavesTheMessagesAlone) {
  Held held;
  LastBsm& last = held.last;
  const auto first = bsm().group("225.0.0.0/8").make(), second = bsm().group("226.0.0.0/8").make();
  last.messageIs(first, 0);
  EXPECT_EQ(last.message(), first);
  last.messageIs(second, 0);
  EXPECT_EQ(first->groupRpData().size(), 1U);
  EXPECT_EQ(second->groupRpData().size(), 1U);
  last.clear();
  EXPECT_EQ(last.message(), nullptr);
}

}  // namespace
}  // namespace Routing::Pim::Bsr
