#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "bsr/engine/BsrCandidateSm.h"
#include "bsr/engine/BsrNonCandidateSm.h"
#include "bsr/engine/PimBsrSm.h"
#include "tests/support/BsrRouter.h"

// A host whose reactors do to the status what they like, at any change that the mechanism makes:
// nothing is used after it was deleted, nothing is left that never ends.

namespace Routing::Pim::Bsr {
namespace {

using namespace TestKit;

const char* const site = "239.1.0.0/16";
const char* const elsewhere = "239.2.0.0/16";

class ReentrantRouter : public BsrRouter {
 public:
  ReentrantRouter(TimerWheel& wheel, VirtualWorld& world)
      : BsrRouter(AddressFamily::ipv4, wheel), world_(world) {
    for (const char* intf : {"eth0", "eth1"}) {
      linkIs(intf, "10.0.0.1");
      neighborIs(intf, "10.0.0.2");
    }
    for (const char* bsr : {"192.0.2.1", "192.0.2.9"}) routeIs(bsr, "eth0", "10.0.0.2");
    ucastRoutes->routeIs(prefix("10.0.0.1/32"), {ForwardingKind::local});
    restart(BsrPolicy::continuous());
  }

  /// Does something at one change of those that are counted from now on, before the reactors of the
  /// mechanism or after them.
  void actAt(std::size_t change, const std::function<void()>& action) {
    changes_ = 0;
    at_ = change;
    action_ = action;
    for (const Entity* root : roots()) watch(*root);
  }
  std::size_t changes() const { return changes_; }
  void calmDown() { at_ = 0; }

  void play() {
    candidateBsrIs(global, "10.0.0.1");
    candidateBsrIs(site, "10.0.0.1");
    candidateRpIs("10.0.0.1", {{"225.0.0.0/8", 1}, {"239.1.1.0/24", 2}});
    hearBsm(Bsm("10.0.0.1").noForward().group("225.0.0.0/8", {{"10.9.9.9"}}));
    hearBsm(Bsm("192.0.2.1", 1).group("226.0.0.0/8", {{"10.8.8.8"}}));
    wait(70);
    hearAdv("227.0.0.0/8", "10.7.7.7", 150);
    hearAdv("227.0.0.0/8", "10.7.7.8", 150);
    hearAdv("227.0.0.0/8", "10.7.7.7", 0);
    hearBsm(Bsm("192.0.2.1", 1).group("226.0.0.0/8", {{"10.8.8.8"}}));
    if (const auto bsr = status->cbsr(prefix(global))) bsr->hashMaskLenIs(20);
    triggeredHello("eth0");
    wait(200);
    hearBsm(Bsm("192.0.2.9", 200).tag(7).piece("228.0.0.0/8", 2, {{"10.5.5.5"}}));
    hearBsm(Bsm("192.0.2.9", 200).tag(7).piece("228.0.0.0/8", 2, {{"10.5.5.6"}}));
    hearBsm(Bsm("192.0.2.9", 200).zone(elsewhere).group("239.2.1.0/24", {{"10.5.5.5"}}));
    hearBsm(Bsm("192.0.2.9", 201).zone(elsewhere).group("239.2.1.0/24", {{"10.5.5.5", 0}}));
    if (const auto crp = status->crp(addr("10.0.0.1"))) crp->intervalIs(CrpAdvInterval(30));
    wait(200);
    status->crpDel(addr("10.0.0.1"));
    status->cbsrDel(prefix(site));
    wait(10);
    status->cbsrDel(prefix(global));
    hearBsm(Bsm("192.0.2.9", 200).group("228.0.0.0/8", {{"10.5.5.5"}}));
    wait(200);
  }

  void wait(double seconds) { world_.runUntil(world_.clock.now() + seconds); }
  void hearBsm(const Bsm& bsm) {
    if (instance) hear("eth0", "10.0.0.2", bsm);
  }

 private:
  std::vector<const Entity*> roots() const {
    return {status.get(), pimRpStatus.get(), instance->bsmStatus().get(),
            instance->crpMsgStatus().get()};
  }
  void watch(const Entity& root) {
    channels_ = {instance->bsmStatus(), instance->crpMsgStatus()};  // outlive the instance
    subscriptions_.push_back(root.treeReactor([this](const TreeChange& change) {
      count();
      const Entity* entity = &change.entity;
      if (!late_.contains(entity)) {
        late_.emplace(entity, entity->anyReactor([this](std::size_t) { count(); }));
      }
    }));
  }
  void count() {
    if (++changes_ != at_) return;
    const auto action = action_;
    action();
  }
  void candidateRpIs(const char* address, const std::map<std::string, unsigned>& ranges) {
    const auto crp = status->newCrp(addr(address));
    for (const auto& [range, priority] : ranges) {
      crp->prefixSetIs(prefix(range), true);
      crp->newPrefixOptions(prefix(range))->priorityIs(RpPriority(priority));
    }
  }
  void hearAdv(const char* range, const char* rp, unsigned holdtime) {
    if (!instance) return;
    auto adv = std::make_shared<CrpAdvMessage>();
    adv->sourceIs(addr(rp));
    adv->destinationIs(addr("10.0.0.1"));
    adv->prefixCountIs(1);
    adv->holdtimeIs(static_cast<std::uint16_t>(holdtime));
    adv->rpAddressIs(addr(rp));
    adv->groupData().emplace_back(prefix(range), GroupFlags(0));
    pim.pamManager()->crpRxInfo()->messageIs(adv);
    pim.pamManager()->crpRxInfo()->countInc(1);
  }

  VirtualWorld& world_;
  std::size_t changes_ = 0;
  std::size_t at_ = 0;
  std::function<void()> action_;
  std::vector<std::shared_ptr<const Entity>> channels_;
  std::vector<Subscription> subscriptions_;
  std::map<const Entity*, Subscription> late_;
};

struct Deed {
  const char* name;
  void (*act)(ReentrantRouter&);
  bool lawful = true;  // leaves alone what belongs to the machines
};

const Deed deeds[] = {
    {"deconfigures a candidate", [](auto& r) { r.status->cbsrDel(prefix(global)); }},
    {"deconfigures all", [](auto& r) { r.status->cbsrDelAll(), r.status->crpDelAll(); }},
    {"configures a candidate", [](auto& r) { r.candidateBsrIs(elsewhere, "10.0.0.1"); }},
    {"configures a candidate anew",
     [](auto& r) {
       r.status->cbsrDel(prefix(global));
       r.candidateBsrIs(global, "10.0.0.1");
     }},
    {"takes the address family away", [](auto& r) { r.status->afIs(AddressFamily::unset); }},
    {"takes it away and gives it back",
     [](auto& r) {
       r.status->afIs(AddressFamily::unset);
       r.status->afIs(AddressFamily::ipv4);
     }},
    {"clears the records", [](auto& r) { r.status->bootstrapRouterDelAll(); }, false},
    {"clears the RP sets", [](auto& r) { r.status->crpStatusDelAll(); }},
    {"takes a zone's RP set away",
     [](auto& r) {
       if (const auto zone = r.status->crpStatus(prefix(global))) zone->statusDel();
     },
     false},
    {"clears PIM's view", [](auto& r) { r.pimRpStatus->crpSetDelAll(); }},
    {"removes an interface", [](auto& r) { r.pim.pimStatus()->pimIntfDel(IntfId("eth1")); }},
    {"deletes the instance", [](auto& r) { r.instance.reset(); }},
    {"brings a message",
     [](auto& r) { r.hearBsm(Bsm("192.0.2.9", 199).group("229.0.0.0/8", {{"10.5.5.9"}})); }},
};

/// Every record has a machine whose timer will end it.
void expectNoOrphans(ReentrantRouter& router) {
  if (!router.instance || !router.engine().initialized()) return;  // what stays is for the next run
  for (const auto& [zone, record] : router.status->bootstrapRouter()) {
    const auto candidate = router.candidate(zone.text());
    const auto follower = router.follower(zone.text());
    ASSERT_TRUE(candidate || follower) << zone.text();
    EXPECT_LT(candidate ? candidate->bsExpiry() : follower->bsExpiry(), never) << zone.text();
  }
}

std::size_t changesOfThePlay() {
  VirtualWorld world;
  ReentrantRouter router(world.wheel, world);
  router.actAt(0, [] {});
  router.play();
  return router.changes();
}

void playWith(const Deed& deed, std::size_t change) {
  VirtualWorld world;
  ReentrantRouter router(world.wheel, world);
  router.actAt(change, [&] { deed.act(router); });
  router.play();
  router.calmDown();
  if (!deed.lawful) return;
  expectNoOrphans(router);
  if (!router.instance || router.status->af() == AddressFamily::unset) return;
  router.status->cbsrDelAll();
  router.wait(3000);
  EXPECT_TRUE(router.status->bootstrapRouter().empty());
  EXPECT_TRUE(router.status->crpStatus().empty()) << router.statusText();
  EXPECT_TRUE(router.pimRpStatus->crpSet().empty());
  EXPECT_EQ(world.wheel.armed(), 0U);
}

constexpr std::size_t stride = 7 * PIMBSR_ONE_IN;  // a sample; each deed begins elsewhere

TEST(Reentrancy, AHostMayDoAnythingAtAnyChange) {
  const std::size_t changes = changesOfThePlay();
  ASSERT_GT(changes, 300U);
  for (const Deed& deed : deeds) {
    for (std::size_t change = 1 + static_cast<std::size_t>(&deed - deeds) % stride;
         change <= changes; change += stride) {
      SCOPED_TRACE(std::string("at change ") + std::to_string(change) + " the host " + deed.name);
      ASSERT_NO_THROW(playWith(deed, change));
      if (::testing::Test::HasFailure()) return;
    }
  }
}

}  // namespace
}  // namespace Routing::Pim::Bsr
