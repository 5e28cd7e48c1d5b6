#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "platform/pim/PimCodec.h"
#include "tests/bsr/NeighborFixture.h"

// The stage of the candidate's plays, and who keeps its minutes.
//
//   192.0.2.0/24 ... 10.0.0.2 --eth0-- this router --eth1-- 10.0.1.2
//                                      10.0.0.1
//
// Unless a play says otherwise this router is 64@10.0.0.1 with a period of 60 s, the BS time-out is
// 130 s, and others are 192@192.0.2.9, better, and 10@192.0.2.1, worse.

namespace Routing::TestKit {

inline const char* const site = "239.1.0.0/16";
inline const char* const betterText = "192.0.2.9 192 30 tag * 225.0.0.0/8 0 1/1(10.9.9.9 150 0)";
inline const char* const worseText = "192.0.2.1 10 30 tag * 226.0.0.0/8 0 1/1(10.8.8.8 150 0)";
inline const char* const ownText = "10.0.0.1 64 30 tag *";
inline const char* const notForwarded =
    "Not Forwarding bootstrap message since noForward bit is set";

/// Writes down, in order, what a candidate's arm does: its state, whether it is elected, the zone's
/// record, ranges of RP sets, and every message sent.
class Minutes {
 public:
  explicit Minutes(BsrRouter& router) : router_(router) {
    tree_ = router.status->treeReactor([this](const TreeChange& change) { take(change); });
    sent_ = router.instance->bsmStatus()->writeCountReactor(
        [this] { add("sent on " + router_.instance->bsmStatus()->oifIntfId().text()); });
  }

  /// What was written since the last call.
  Lines read() { return std::exchange(lines_, {}); }

 private:
  void add(std::string line) { lines_.push_back(std::move(line)); }
  void take(const TreeChange& change) {
    const std::string what(change.entity.attributeName(change.attribute));
    if (const auto* own = dynamic_cast<const Bsr::BsrCandidate*>(&change.entity)) {
      if (what == "state") add("state " + std::string(enumName(own->state())));
      if (what == "elected") add(own->elected() ? "elected" : "not elected");
    } else if (what == "bootstrapRouter") {
      const auto& zone = *static_cast<const IpGenPrefix*>(change.key);
      add(router_.status->bootstrapRouter(zone) ? "record made" : "record deleted");
    } else if (dynamic_cast<const Bsr::ElectedBsrStatus*>(&change.entity) != nullptr) {
      if (what == "ipAddr" || what == "expiryTime") add("record's " + what);
    } else if (const auto* set = dynamic_cast<const Pim::RpCandidateStatus*>(&change.entity)) {
      if (what != "crpSet") return;
      const auto& range = *static_cast<const IpGenPrefix*>(change.key);
      add(range.text() + (set->crpSet(range) ? " made" : " deleted"));
    }
  }

  BsrRouter& router_;
  Lines lines_;
  Subscription tree_;
  Subscription sent_;
};

/// A router that may stand for election, and words for plays about it; the clock shows 1000 when it
/// boots.
struct CandidateFixture : TracedTest {
  static constexpr double period = 60;
  static constexpr double timeout = 130;
  static constexpr double backOffOfEqual = 5;   // nobody better known
  static constexpr double backOffFrom192 = 20;  // 5 + 14.02 + 1.92, truncated

  struct Stage : VirtualWorld {
    Stage() { clock.nowIs(1000); }
  };

  CandidateFixture() {
    router.linkIs("eth0", "10.0.0.1");
    router.linkIs("eth1", "10.0.1.1");
    router.neighborIs("eth0", "10.0.0.2");
    router.neighborIs("eth1", "10.0.1.2");
    router.ucastRoutes->routeIs(prefix("10.0.0.1/32"), {Pim::ForwardingKind::local});
  }

  void goTo(double instant) { world.runUntil(instant); }
  void wait(double seconds) { goTo(now() + seconds); }
  double now() const { return world.clock.now(); }

  /// Weight 64@10.0.0.1, hash mask length 30, period 60 s.
  std::shared_ptr<Bsr::BsrCandidate> stand(const std::string& zone = global) {
    return router.candidateBsrIs(zone, "10.0.0.1");
  }
  void standAndWin(const std::string& zone = global) {
    stand(zone);
    wait(5);
    ASSERT_EQ(machine(zone).state(), Bsr::BsrCandidateState::eBsr);
    router.sentBsms();
  }
  /// A message from afar, by way of the neighbour on eth0.
  void hear(const Bsm& bsm) {
    const Pim::BootstrapMessage& message = bsm;
    router.routeIs(message.bsrAddress().text(), "eth0", "10.0.0.2");
    router.hear("eth0", "10.0.0.2", message);
  }
  /// 192@192.0.2.9 announces one RP.
  static Bsm better() { return Bsm("192.0.2.9", 192).group("225.0.0.0/8", {{"10.9.9.9"}}); }
  /// 10@192.0.2.1 announces another one.
  static Bsm worse() { return Bsm("192.0.2.1", 10).group("226.0.0.0/8", {{"10.8.8.8"}}); }

  /// One range of an advertisement that reaches this router.
  void advertise(const std::string& range, const std::string& rp, unsigned holdtime = 200,
                 unsigned priority = 0, unsigned flags = 0) {
    Pim::CrpAdvMessage adv;
    adv.prefixCountIs(1);
    adv.priorityIs(static_cast<std::uint8_t>(priority));
    adv.holdtimeIs(static_cast<std::uint16_t>(holdtime));
    adv.rpAddressIs(addr(rp));
    adv.groupData().emplace_back(prefix(range), Pim::GroupFlags(static_cast<std::uint8_t>(flags)));
    hearAdv(adv, rp);
  }
  void hearAdv(const Pim::CrpAdvMessage& adv, const std::string& source) {
    Octets octets;
    ASSERT_TRUE(Pim::encode(adv, addr(source), addr("10.0.0.1"), octets));
    router.hear("", source, "10.0.0.1", octets);
  }

  Bsr::BsrCandidateSm& machine(const std::string& zone = global) { return *router.candidate(zone); }
  std::string state(const std::string& zone = global) {
    const auto inStatus = router.status->cbsr(prefix(zone))->state();
    EXPECT_EQ(inStatus, machine(zone).state());
    return std::string(enumName(inStatus));
  }
  const Bsr::ElectedBsrStatus& record(const std::string& zone = global) {
    return *router.status->bootstrapRouter(prefix(zone));
  }
  /// The timer fires at an instant, not before.
  void expectTimer(double at) { EXPECT_DOUBLE_EQ(machine().bsExpiry(), at); }
  /// So it does, and the record says so.
  void expectTimerAndRecord(double at) {
    expectTimer(at);
    EXPECT_DOUBLE_EQ(record().expiryTime(), at);
  }
  void expectTraced(const Lines& lines) { TracedTest::expectTraced(lines, "CandidateSm"); }
  void standAndFollow() {
    stand();
    hear(better());
    ASSERT_EQ(state(), "cBsr");
    router.sentBsms();
    traces.clear();
  }
  std::string stored() {
    const auto& bsr = machine().storedBsr();
    return bsr.ipAddr.text() + " " + std::to_string(bsr.priority) + " " +
           std::to_string(bsr.hashMaskLen);
  }
  std::string lastBsm() {
    return machine().lastBsm() ? bsmText(*machine().lastBsm()) : std::string("none");
  }
  /// The Bootstrap messages sent since the last call: "TIME INTERFACE MESSAGE".
  Lines sent() {
    Lines lines;
    for (const auto& each : router.sentBsms()) {
      std::ostringstream line;
      line << each.at << ' ' << each.intf << ' ' << bsmText(*each.bsm);
      lines.push_back(line.str());
    }
    return lines;
  }
  /// The same message on both interfaces at an instant.
  static Lines onBoth(double at, const std::string& bsm) {
    std::ostringstream time;
    time << at;
    return {time.str() + " eth0 " + bsm, time.str() + " eth1 " + bsm};
  }
  static Pim::RpEntry& rpIn(const Pim::RpCandidateStatus& set, const std::string& range,
                            const std::string& rp) {
    return *set.crpSet(prefix(range))->rp(addr(rp));
  }
  Pim::RpEntry& rp(const std::string& range, const std::string& address,
                   const std::string& zone = global) {
    return rpIn(*router.status->crpStatus(prefix(zone))->status(), range, address);
  }

  Stage world;
  BsrRouter router{AddressFamily::ipv4, world.wheel};
};

}  // namespace Routing::TestKit
