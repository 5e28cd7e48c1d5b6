// What an edit of the configuration costs among many entries, and a start with them.

#include <benchmark/benchmark.h>

#include <optional>

#include "bsr/config/ConfigSm.h"

namespace Routing::Pim::Bsr {
namespace {

const IntfId intf("eth0");

/// Every other /30 from 239.0.0.0 on, so that none of them join.
IpGenPrefix zone(std::uint32_t number) {
  return {IpGenAddr::v4(0xef000000U + 8 * number), 30};
}

/// The configuration of one VRF with so many entries of each kind, and its processing.
struct Bed {
  explicit Bed(std::uint32_t entries) {
    status->afIs(AddressFamily::ipv4);
    source->addressIs(intf, IpGenAddr::v4(0x0a000001));
    source->initialDumpDoneIs(true);
    vrfIntfConfig->intfConfigIs(intf.text(), border);
    for (std::uint32_t i = 0; i < entries; ++i) {
      groupIs(i);
      rp->groupRangeIs(zone(i), true);
      border->bsrBorderGrpIs(zone(i), true);
    }
  }
  void start() {
    sm.emplace(config, vrfIntfConfig, std::make_shared<ClearConfig>(vrf), status, nullptr, source,
               acls);
  }
  void groupIs(std::uint32_t number) {
    const auto group = bsr->newGroup(zone(number));
    group->hashMaskLenIs(30);
    group->priorityIs(64);
  }
  void ruleIs(std::uint32_t number) {
    AclRule rule;
    rule.source = *AclAddresses::fromText(zone(number).text());
    acls->newAcl("list")->ruleIs(number + 1, rule);
  }

  const VrfName vrf{"default"};
  std::shared_ptr<Config> config = std::make_shared<Config>(vrf);
  std::shared_ptr<VrfIntfConfig> vrfIntfConfig = std::make_shared<VrfIntfConfig>("default");
  std::shared_ptr<IntfConfig> border = std::make_shared<IntfConfig>(intf.text());
  std::shared_ptr<Status> status = std::make_shared<Status>(vrf);
  std::shared_ptr<SourceIntfSm> source = std::make_shared<SourceIntfSm>(vrf);
  std::shared_ptr<IpAclConfig> acls = std::make_shared<IpAclConfig>(AddressFamily::ipv4);
  std::shared_ptr<BsrCandidateConfig> bsr = config->newBsrCandidateConfig(intf);
  std::shared_ptr<RpCandidateConfig> rp = config->newRpCandidateConfig(intf);
  std::optional<ConfigSm> sm;
};

void zoneComesAndGoes(benchmark::State& state) {
  const auto entries = static_cast<std::uint32_t>(state.range(0));
  Bed bed(entries);
  bed.start();
  for (auto _ : state) {
    bed.groupIs(entries);
    bed.bsr->groupDel(zone(entries));
  }
}

void rangeComesAndGoes(benchmark::State& state) {
  const auto entries = static_cast<std::uint32_t>(state.range(0));
  Bed bed(entries);
  bed.start();
  for (auto _ : state) {
    bed.rp->groupRangeIs(zone(entries), true);
    bed.rp->groupRangeDel(zone(entries));
  }
}

/// Most of it is the expansion of the list.
void ruleComesAndGoes(benchmark::State& state) {
  const auto rules = static_cast<std::uint32_t>(state.range(0));
  Bed bed(0);
  for (std::uint32_t i = 0; i < rules; ++i) bed.ruleIs(i);
  bed.rp->aclIs("list", true);
  bed.start();
  for (auto _ : state) {
    bed.ruleIs(rules);
    bed.acls->acl("list")->ruleDel(rules + 1);
  }
}

void addressChanges(benchmark::State& state) {
  Bed bed(static_cast<std::uint32_t>(state.range(0)));
  bed.start();
  std::uint32_t address = 0x0a000001;
  for (auto _ : state) bed.source->addressIs(intf, IpGenAddr::v4(address ^= 2));
}

void restart(benchmark::State& state) {
  Bed bed(static_cast<std::uint32_t>(state.range(0)));
  bed.start();
  for (auto _ : state) bed.start();
}

BENCHMARK(zoneComesAndGoes)->Arg(10)->Arg(10000);
BENCHMARK(rangeComesAndGoes)->Arg(10)->Arg(10000);
BENCHMARK(ruleComesAndGoes)->Arg(10)->Arg(1000)->Arg(4000);
BENCHMARK(addressChanges)->Arg(10)->Arg(10000)->Unit(benchmark::kMicrosecond);
BENCHMARK(restart)->Arg(10)->Arg(10000)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace Routing::Pim::Bsr

BENCHMARK_MAIN();
