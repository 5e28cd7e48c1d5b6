#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bsr/engine/BsrCandidateSm.h"
#include "bsr/engine/BsrNonCandidateSm.h"
#include "bsr/engine/PimBsrSm.h"
#include "bsr/host/BsrInstance.h"
#include "bsr/intake/BootstrapMessageSm.h"
#include "bsr/intake/CrpMessageSm.h"
#include "tests/support/PimLan.h"
#include "tests/support/Refusal.h"
#include "tests/support/TraceRecorder.h"

// A router with the whole BSR mechanism on it, in virtual time: from octets to octets.

namespace Routing::TestKit {

namespace Bsr = Pim::Bsr;

/// The global zone of IPv4.
inline constexpr const char* global = "224.0.0.0/4";

/// Lines of text, as tests compare them.
using Lines = std::vector<std::string>;

/// An RP of a group range in a Bootstrap message.
struct Rp {
  std::string address;
  unsigned holdtime = 150;
  unsigned priority = 0;
};
using Rps = std::vector<Rp>;

/// Builds a Bootstrap message: Bsm("10.1.1.1", 64).group("224.1.0.0/16", {{"10.9.9.9"}}). Unless
/// told otherwise it may be forwarded, has hash mask length 30 (IPv6: 126), goes to
/// ALL-PIM-ROUTERS, and has a fragment tag of its own.
class Bsm {
 public:
  explicit Bsm(std::string_view bsr, unsigned priority = 64);

  Bsm& tag(unsigned tag);
  Bsm& hashMask(unsigned bits);
  Bsm& noForward();
  /// A range that is here with all its RPs.
  Bsm& group(std::string_view prefix, const Rps& rps = {});
  Bsm& bidirGroup(std::string_view prefix, const Rps& rps);
  /// The entry that names the zone; to be the first range.
  Bsm& zone(std::string_view prefix, const Rps& rps = {});
  /// A range of `rpCount` RPs of which these are here.
  Bsm& piece(std::string_view prefix, unsigned rpCount, const Rps& rps);

  /// A new message object at every call.
  std::shared_ptr<Pim::BootstrapMessage> make() const {
    return std::make_shared<Pim::BootstrapMessage>(bsm_);
  }
  operator const Pim::BootstrapMessage&() const { return bsm_; }

 private:
  Bsm& append(std::string_view prefix, std::uint8_t flags, unsigned rpCount, const Rps& rps);

  Pim::BootstrapMessage bsm_;
};

/// A PimRouter with a BSR instance. Interfaces and neighbours can be had in two ways: by linkIs()
/// and neighborIs(), which write them straight into PIM's status and send no Hello, or by intfIs()
/// of PimRouter and real Hellos (then give the MTU by mtuIs()).
class BsrRouter : public PimRouter {
 public:
  /// BS time-out 130 s, scope-zone time-out 1300 s, every candidate RP permitted.
  BsrRouter(AddressFamily af, TimerWheel& wheel, double random = 0.5);

  /// Builds the machines, also over what an earlier run left in `status`; ends them.
  void start();
  void restart(const Bsr::BsrPolicy& chosen) {
    stop();
    policy = chosen;
    start();
  }
  void stop() { instance.reset(); }

  /// A PIM interface that is up; an MTU of 0 leaves it without interface status.
  Pim::PimInterface& linkIs(const std::string& intf, const std::string& address,
                            unsigned mtu = 1500);
  void mtuIs(const std::string& intf, unsigned mtu);
  void neighborIs(const std::string& intf, const std::string& address);
  Pim::PimInterface& link(const std::string& intf);
  /// The unicast route to an address; without gateway it is on the link.
  void routeIs(const std::string& to, const std::string& intf, const std::string& gateway = "");
  /// The PIM packets that a triggered Hello on the interface sets off.
  void triggeredHello(const std::string& intf) { link(intf).triggeredHelloSentInc(); }

  /// A candidate BSR as configuration makes it.
  std::shared_ptr<Bsr::BsrCandidate> candidateBsrIs(const std::string& zone,
                                                    const std::string& address,
                                                    unsigned priority = 64, unsigned hashMask = 30,
                                                    unsigned bsPeriod = 60);

  Bsr::PimBsrSm& engine() { return instance->engine(); }
  /// Machines of a zone, null where there is none.
  std::shared_ptr<Bsr::BsrNonCandidateSm> follower(const std::string& zone);
  std::shared_ptr<Bsr::BsrCandidateSm> candidate(const std::string& zone);
  const Bsr::PimBsrCounters& counters() const { return *status->counters(); }
  /// Interfaces listed as borders for a prefix.
  void borderIs(const std::string& prefix, const std::string& intf);

  /// The elected BSR of a zone: "ADDRESS PRIORITY HASHMASK", or "none".
  std::string bsrOf(const std::string& zone) const;
  /// The RP set of a zone, or what PIM sees: "PREFIX RP HOLDTIME PRIORITY [bidir]" in key order,
  /// and "PREFIX empty" for a range without RP.
  Lines rpSetOf(const std::string& zone) const;
  Lines pimRps() const;
  /// All that is in Status, as text to be compared.
  std::string statusText() const { return treeText(*status); }

  struct SentBsm {
    double at;
    std::string intf;
    Octets octets;  ///< the PIM payload
    std::shared_ptr<Pim::BootstrapMessage> bsm;
  };
  /// The Bootstrap messages sent since the last call, decoded.
  std::vector<SentBsm> sentBsms();
  struct SentAdv {
    double at;
    std::string intf;
    Octets octets;
    std::shared_ptr<Pim::CrpAdvMessage> adv;
  };
  std::vector<SentAdv> sentAdvs();

  const AddressFamily af;
  TimerWheel& wheel;
  std::shared_ptr<Bsr::Status> status;
  const std::shared_ptr<Pim::AllIntfStatusDir> intfDir;
  std::shared_ptr<Pim::RpCandidateStatus> pimRpStatus;  ///< what PIM selects RPs from
  const std::shared_ptr<Pim::PimUcastRouteStatus> ucastRoutes;
  const std::shared_ptr<Bsr::PimBsrLimits> limits;
  Bsr::BsrPolicy policy;
  std::unique_ptr<Bsr::BsrInstance> instance;
};

/// One line for a message: "BSR PRIORITY HASHMASK tag TAG [no-forward]" and for each range
/// " PREFIX FLAGS CARRIED/COUNT(RP HOLDTIME PRIORITY, ...)"; the tag as "*" unless asked for.
std::string bsmText(const Pim::BootstrapMessage& bsm, bool withTag = false);

}  // namespace Routing::TestKit
