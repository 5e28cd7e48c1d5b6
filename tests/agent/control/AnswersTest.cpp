#include <gtest/gtest.h>
#include <prometheus/text_serializer.h>

#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <regex>

#include "agent/events/InstanceWatch.h"
#include "agent/metrics/Metrics.h"
#include "platform/pim/PimCodec.h"
#include "tests/agent/control/FakeAgent.h"
#include "tests/support/BsrRouter.h"

// A router with a past, in virtual time, and what it answers: word for word that of
// tests/data/answers.txt, which has questions behind '>' (a request, or "metrics") and instants to
// wait for behind '@'.
// PIMBSR_UPDATE=1 writes the answers anew.

namespace Routing::Agent {
namespace {

using namespace TestKit;

const std::string answers = PIMBSR_SOURCE_DIR "/tests/data/answers.txt";

/// BSR of 239.0.0.0/8, candidate in the global zone, candidate RP; 10.9.9.9, BSR of the latter and
/// of 239.1.0.0/16, is behind 10.0.0.2, and is back for one message at 950 s. Border of
/// 239.192.0.0/14 on eth1, where 10.0.1.7 lives.
class RouterWithAPast : public FakeAgent {
 public:
  RouterWithAPast() {
    for (const char* intf : {"eth0", "eth1"}) router_.mtuIs(intf, 1500);
    router_.intfIs("eth0", "10.0.0.1", {addr("10.0.5.1")});
    router_.intfIs("eth1", "10.0.1.1");
    for (const char* far : {"10.9.9.9", "10.8.8.8"}) router_.routeIs(far, "eth0", "10.0.0.2");
    router_.borderIs("239.192.0.0/14", "eth1");
    watch_.settle();
    drained.drained.rp = true;
    neighbours();
    candidacies();
    waitUntil(200);
    network();
    waitUntil(230);
    troubles();
    waitUntil(250.5);
    return_.expiryIs(950);
  }

  void waitUntil(double instant) {
    world_.runUntil(instant);
    watch_.settle();
  }

  double now() const override { return world_.clock.now(); }
  double startTime() const override { return 0.0; }
  std::size_t timers() const override { return 3; }
  std::shared_ptr<const Pim::AllIntfStatusDir> allIntfStatusDir() const override {
    return router_.intfDir;
  }
  std::vector<InstanceView> instances() const override {
    return {
        {.vrf = VrfName("default"),
         .af = AddressFamily::ipv4,
         .pimStatus = router_.pim.pimStatus(),
         .pamManager = router_.pim.pamManager(),
         .status = router_.status,
         .rpCandidate = router_.pimRpStatus,
         .limits = router_.limits,
         .upgrade = std::make_shared<ZeuVrfStatus>(),
         .zoneExpiry = {{prefix("239.5.0.0/16"), 1234.5}},
         .idle = {{false, "eth7", IdleReason::noInterface}, {true, "eth1", IdleReason::noAddress}},
         .countersCleared = 34.5,
         .overflows = 11,
         .events = &watch_.book(),
         .engine = &router_.instance->engine(),
         .routing = &router_}};
  }

 private:
  void neighbours() {
    for (const auto& [intf, source] :
         {std::pair("eth0", "10.0.0.2"), std::pair("eth1", "10.0.1.7")}) {
      Pim::HelloMessage hello;
      hello.holdtimeIs(0xffff);
      hello.generationIdIs(77);
      if (source == std::string("10.0.1.7")) {
        hello.holdtimeIs(500);
        hello.drPriorityIs(9);
        hello.lanPruneDelayIs(
            Pim::LanPruneDelay{.tBit = true, .propagationDelay = 400, .overrideInterval = 2000});
        hello.addressListIs({addr("10.0.6.7")});
      }
      router_.hear(intf, source, hello);
    }
  }
  void candidacies() {
    router_.candidateBsrIs(global, "10.0.0.1")->intfIdIs(IntfId("eth0"));
    router_.candidateBsrIs("239.0.0.0/8", "10.0.1.1", 100, 20, 30)->intfIdIs(IntfId("eth1"));
    const auto rp = router_.status->newCrp(addr("10.0.0.1"));
    rp->intfIdIs(IntfId("eth0"));
    for (const auto& [range, priority] :
         {std::pair("225.0.0.0/8", 10), std::pair("239.0.0.0/8", 7)}) {
      rp->prefixSetIs(prefix(range), true);
      rp->newPrefixOptions(prefix(range))->priorityIs(Pim::RpPriority(priority));
    }
    router_.status->crpPermitDel(IpGenPrefix::zero(AddressFamily::ipv4));
    router_.status->crpPermitIs(prefix("10.0.0.0/8"), true);
  }
  void network() {
    const Rps many{{"10.1.1.1", 150, 0}, {"10.1.1.2", 150, 0}, {"10.1.1.3", 100, 5}};
    router_.hear("eth0", "10.0.0.2",
                 Bsm("10.9.9.9", 192)
                     .tag(1)
                     .group("225.0.0.0/8", many)
                     .group("225.1.0.0/16", {{"10.1.1.3"}})
                     .bidirGroup("226.0.0.0/8", {{"10.1.1.4", 60, 1}})
                     .piece("227.0.0.0/8", 3, {{"10.1.1.5"}}));
    router_.hear(
        "eth0", "10.0.0.2",
        Bsm("10.9.9.9", 50).tag(2).zone("239.1.0.0/16").group("239.1.2.0/24", {{"10.1.1.6"}}));
    advertise("10.2.2.2", "10.2.2.2", {"239.0.0.0/8", "239.7.0.0/16"});
    advertise("10.2.2.3", "10.2.2.9", {"239.0.0.0/8"});
  }
  void troubles() {
    advertise("192.0.2.1", "192.0.2.1", {"239.0.0.0/8"});
    router_.hear("eth1", "10.0.1.7", Bsm("10.8.8.8", 255));
    router_.hear("eth1", "10.0.1.8", Bsm("10.9.9.9", 255));
    router_.hear("eth1", "10.0.1.7", Bsm("10.9.9.9", 255).zone("239.192.0.0/14"));
    router_.hear("eth0", "10.0.0.2", Bsm("10.8.8.8", 3));
    router_.hear("eth0", "10.0.0.2", Bsm("10.7.7.7", 255).zone("239.5.0.0/16"));
    router_.hear("eth0", "10.0.0.2", addressOfAll, Octets{0x24, 0, 0, 0, 1});
    router_.limits->refusedRpsInc();
    router_.mute = true;
    world_.runUntil(245);
    router_.mute = false;
  }
  void advertise(const char* rp, const char* source, const std::vector<const char*>& ranges) {
    Pim::CrpAdvMessage message;
    message.rpAddressIs(addr(rp));
    message.holdtimeIs(150);
    message.priorityIs(20);
    for (const char* range : ranges) message.groupData().emplace_back(prefix(range));
    message.prefixCountIs(static_cast<std::uint8_t>(ranges.size()));
    Octets octets;
    ASSERT_TRUE(Pim::encode(message, addr(source), addr("10.0.1.1"), octets));
    router_.hear("eth0", source, "10.0.1.1", octets);
  }

  static constexpr const char* addressOfAll = "224.0.0.13";
  VirtualWorld world_;
  BsrRouter router_{AddressFamily::ipv4, world_.wheel};
  std::shared_ptr<SourceIntfSm> addresses_ = std::make_shared<SourceIntfSm>(VrfName("default"));
  InstanceWatch watch_{
      {router_.pim.pimStatus(), router_.status, router_.pimRpStatus, router_.limits,
       router_.instance->crpMsgStatus(), addresses_, [] { return std::set<IpGenPrefix>{}; }},
      world_.wheel,
      false,
      {}};
  Timer return_{world_.wheel, [this] { router_.hear("eth0", "10.0.0.2", Bsm("10.9.9.9", 192)); }};
};

std::string answerTo(const std::string& question, RouterWithAPast& router) {
  if (question == "metrics") return prometheus::TextSerializer().Serialize(collectMetrics(router));
  try {
    const std::string line = answerLine(router.target(), parseControlRequest(question));
    return nlohmann::json::parse(line).dump(1) + '\n';
  } catch (const RequestError& error) {
    return nlohmann::json::parse(refusalLine(error.code(), error.what())).dump(1) + '\n';
  }
}

TEST(Answers, AreThoseOfTheFile) {
  RouterWithAPast router;
  std::ifstream file(answers);
  std::ostringstream expected, said;
  for (std::string line; std::getline(file, line);) {
    expected << line << '\n';
    if (line.starts_with("@ ") || line.starts_with("> ")) said << line << '\n';
    if (line.starts_with("@ ")) router.waitUntil(std::stod(line.substr(2)));
    if (line.starts_with("> ")) said << answerTo(line.substr(2), router);
  }
  const std::regex notOurs("20\\d\\d-[-0-9T:.]+Z|(memory_bytes )[0-9.e+]+");
  const std::string all = std::regex_replace(said.str(), notOurs, "$1NOW");
  EXPECT_FALSE(all.empty());
  if (std::getenv("PIMBSR_UPDATE") != nullptr) std::ofstream(answers) << all;
  EXPECT_EQ(expected.str(), all);
}

}  // namespace
}  // namespace Routing::Agent
