#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "bsr/config/ConfigSm.h"
#include "platform/entity/AttributeLog.h"
#include "tests/support/Octets.h"

// Configuration processing by itself: the configuration of a VRF, what it needs from the platform,
// and the status that it writes.

namespace Routing::TestKit {

namespace Bsr = Pim::Bsr;

/// A rule as one writes it: "permit 239.0.0.0/8", "deny host 10.1.1.1", "permit any",
/// "permit 10.0.0.0 0.0.255.0"; in an extended list "permit SOURCE -> DESTINATION".
AclRule aclRule(std::string text);

/// The configuration of one VRF and address family, and short ways to write it.
class ConfigBed {
 public:
  using Rules = std::initializer_list<const char*>;

  explicit ConfigBed(AddressFamily af = AddressFamily::ipv4);
  /// A bed over the same configuration entities with a status of its own.
  std::unique_ptr<ConfigBed> twin() const;

  void start();
  void stop() { sm.reset(); }
  void restart() {
    stop();
    start();
  }

  /// An empty text takes the address away.
  void addressIs(const std::string& intf, const std::string& address);
  /// The rules get the sequence numbers 10, 20, ... and replace all earlier ones as one edit.
  void aclIs(const std::string& name, Rules rules);
  void aclIs(const std::string& name, const std::vector<AclRule>& rules);
  void aclDel(const std::string& name) { acls->aclDel(name); }

  std::shared_ptr<Bsr::BsrCandidateConfig> bsr(const std::string& intf) {
    return config->newBsrCandidateConfig(IntfId(intf));
  }
  std::shared_ptr<Bsr::BsrCandidateGroup> groupIs(const std::string& intf, const std::string& zone,
                                                  unsigned priority = 64, unsigned hashMaskLen = 30,
                                                  unsigned interval = 60);
  std::shared_ptr<Bsr::BsrCandidateAcl> groupAclIs(const std::string& intf, const std::string& acl,
                                                   unsigned priority = 64,
                                                   unsigned hashMaskLen = 30,
                                                   unsigned interval = 60);
  std::shared_ptr<Bsr::RpCandidateConfig> rp(const std::string& intf) {
    return config->newRpCandidateConfig(IntfId(intf));
  }
  void rangePriorityIs(const std::string& intf, const std::string& range, unsigned priority);
  void aclPriorityIs(const std::string& intf, const std::string& acl, unsigned priority);
  /// Border settings; made and referred to if need be.
  std::shared_ptr<Bsr::IntfConfig> border(const std::string& intf);

  /// "ZONE INTF ADDRESS PRIORITY/HASHMASK/INTERVAL" of each candidate BSR.
  std::vector<std::string> cbsr() const;
  /// "ADDRESS INTF INTERVAL MODE PREFIX[=PRIORITY]..." of each candidate RP.
  std::vector<std::string> crp() const;
  /// "PREFIX INTF..." of each border.
  std::vector<std::string> borders() const;
  std::vector<std::string> permit() const;
  /// All that is in Status.
  std::string statusText() const { return treeText(*status); }

  /// Changes of Status since the last call.
  std::vector<std::string> changes();
  /// What was found wrong at any instant: a filter that permits nothing, a prefix with priority
  /// that is not in the set, a candidate that loses its address.
  std::vector<std::string> violations;

  const AddressFamily af;
  std::shared_ptr<Bsr::Config> config;
  std::shared_ptr<Bsr::VrfIntfConfig> vrfIntfConfig;
  std::shared_ptr<Bsr::ClearConfig> clearConfig;
  std::shared_ptr<Bsr::Status> status;
  std::shared_ptr<Pim::PimMessageCounters> pimCounters;
  std::shared_ptr<SourceIntfSm> sourceIntfSm;
  std::shared_ptr<IpAclConfig> acls;
  std::unique_ptr<Bsr::ConfigSm> sm;

 private:
  void check(const TreeChange& change);

  std::vector<std::string> lines_;
  bool permitted_ = false;
  Subscription invariants_;
  std::unique_ptr<AttributeLog> log_;
};

}  // namespace Routing::TestKit
