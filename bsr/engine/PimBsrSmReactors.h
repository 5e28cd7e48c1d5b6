#pragma once

#include <map>
#include <memory>
#include <set>

#include "bsr/engine/PimBsrSm.h"

namespace Routing::Pim::Bsr {

/// One PIM interface: primes new neighbours with No-Forward messages while this router is, or was
/// until just now, the designated router (RFC 5059 section 3.5).
class PimBsrSm::PimIntfReactor {
 public:
  PimIntfReactor(PimBsrSm& engine, std::shared_ptr<const PimInterface> intf);

  bool wasDr() const { return wasDr_; }
  void wasDrClear() { wasDr_ = false; }

 private:
  void handleDrChange();
  void handleTriggeredHelloSent();
  void doSendNoFwdBsm();
  template <class Machine>
  void sendLastBsm(const Machine& machine);
  const VrfName& vrfName() const { return engine_.vrfName(); }

  PimBsrSm& engine_;
  std::shared_ptr<const PimInterface> intf_;
  bool wasDr_ = false;
  Subscription drReactor_;
  Subscription helloReactor_;
};

/// The elected BSR of one zone: a changed hash mask length reaches the RPs that this router
/// announces as that BSR.
class PimBsrSm::BsrReactor {
 public:
  BsrReactor(PimBsrSm& engine, std::shared_ptr<const ElectedBsrStatus> bsr);

 private:
  void handleHashMaskLen();
  const VrfName& vrfName() const { return engine_.vrfName(); }

  PimBsrSm& engine_;
  std::shared_ptr<const ElectedBsrStatus> bsr_;
  Subscription hashMaskLenReactor_;
};

/// One candidate RP of this router: keeps an advertiser for each priority among its prefixes.
class PimBsrSm::CrpReactor {
 public:
  CrpReactor(PimBsrSm& engine, std::shared_ptr<RpCandidate> crp);

  /// The candidate is gone: its advertisers send a withdrawal and end.
  void handleDel();

 private:
  struct Option {
    RpPriority priority;  // as last seen; 256 while the prefix is not advertised
    Subscription reactor;
  };

  void handlePrefixOptions(const IpGenPrefix& prefix);
  void handlePriority(const IpGenPrefix& prefix, RpPriority priority);
  void advertise(const IpGenPrefix& prefix, RpPriority priority);
  void retire(const IpGenPrefix& prefix, RpPriority priority, bool served);
  bool priorityInUse(RpPriority priority) const;
  void machineDel(RpPriority priority);
  const VrfName& vrfName() const { return engine_.vrfName(); }

  PimBsrSm& engine_;
  std::shared_ptr<RpCandidate> crp_;
  std::map<IpGenPrefix, Option> options_;
  Subscription optionsReactor_;
};

}  // namespace Routing::Pim::Bsr
