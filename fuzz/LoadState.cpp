// A state file that somebody else has written: whatever it says, either it is not used, or an
// instance that is built on it fails no assertion, holds no more than its limits, and has lost
// every RP when the longest hold time is over.

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>

#include "agent/state/StateFault.h"
#include "agent/state/StatusFromText.h"
#include "tests/support/BsrRouter.h"
#include "tests/support/ConfigBed.h"

namespace Routing::Agent {
namespace {

using namespace TestKit;

constexpr double loadedAt = 1000;
constexpr double longest = 65535;

void require(bool holds, const char* what) {
  if (holds) return;
  std::cerr << what << "\n";
  std::abort();
}

/// A candidate BSR of two zones, put together in the daemon's order: the machines first, then
/// neighbours, then the addresses of candidates.
class Host {
 public:
  Host(AddressFamily af, const std::shared_ptr<Bsr::Status>& status, double loaded)
      : bed_(af), router_(af, world_.wheel) {
    const bool v4 = af == AddressFamily::ipv4;
    world_.clock.nowIs(loaded);
    Bsr::BsrInputs inputs = router_.instance->inputs();
    router_.stop();
    router_.linkIs("eth0", v4 ? "10.0.0.1" : "fe80::1");
    for (const char* zone : {v4 ? "224.0.0.0/4" : "ff00::/8", v4 ? "239.1.0.0/16" : "ff05::/16"}) {
      bed_.groupIs("lo", zone, 64, v4 ? 30 : 126, 20000);  // few messages, for speed
    }
    bed_.sourceIntfSm = std::make_shared<SourceIntfSm>(VrfName("default"));
    inputs.status = router_.status = status;
    inputs.config = bed_.config;
    inputs.vrfIntfConfig = bed_.vrfIntfConfig;
    inputs.clearConfig = bed_.clearConfig;
    inputs.sourceIntfSm = bed_.sourceIntfSm;
    inputs.ipAclConfig = bed_.acls;
    router_.instance = std::make_unique<Bsr::BsrInstance>(inputs);
    router_.neighborIs("eth0", v4 ? "10.0.0.2" : "fe80::2");
    bed_.addressIs("lo", v4 ? "10.255.0.1" : "2001:db8::1");
    bed_.sourceIntfSm->initialDumpDoneIs(true);
  }

  void runUntil(double instant) { world_.runUntil(instant); }
  bool holdsRps() const {
    return !router_.pimRpStatus->crpSet().empty() || !router_.status->crpStatus().empty();
  }

 private:
  ConfigBed bed_;
  VirtualWorld world_;
  BsrRouter router_;
};

}  // namespace

int loadState(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const AddressFamily af = (data[0] & 1) != 0 ? AddressFamily::ipv4 : AddressFamily::ipv6;
  const StateHeader own{"1", "boot", loadedAt, af, VrfName("default")};
  std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  if ((data[0] & 2) == 0) {  // lines that are well guarded
    std::string guarded;
    StateWriter().begin(own, text.ends_with('\n') ? text : text + '\n', guarded);
    text = std::move(guarded);
  }
  Bsr::PimBsrLimits limits;
  std::shared_ptr<Bsr::Status> status;
  try {
    status = statusFromText(text, own, limits);
  } catch (const StateFault&) {
    return 0;
  }
  Host host(af, status, loadedAt);
  host.runUntil(loadedAt + longest + 1);
  require(!host.holdsRps(), "an RP outlives the longest hold time");
  return 0;
}

}  // namespace Routing::Agent

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return Routing::Agent::loadState(data, size);
}
