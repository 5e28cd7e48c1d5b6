#pragma once

#include <map>
#include <memory>

#include "bsr/engine/ZoneServices.h"
#include "bsr/types/MessageStatus.h"
#include "bsr/types/PimBsr.h"
#include "bsr/types/Status.h"
#include "platform/Export.h"
#include "platform/trie/TrieGen.h"

namespace Routing::Pim::Bsr {

class RpCandidateSm;

/// The advertisers of this router's candidate RPs, one for each address and priority.
class ROUTING_API Advertisers {
 public:
  using Machines = std::map<CrpOptions, std::shared_ptr<RpCandidateSm>>;

  /// The wheel and the services must outlive this object.
  Advertisers(std::shared_ptr<Status> bsrStatus, std::shared_ptr<PimCrpMsgStatus> crpMsgStatus,
              std::shared_ptr<TrieGen> bsrTrie, TimerWheel& timerWheel, ZoneServices& services);
  Advertisers(const Advertisers&) = delete;
  Advertisers& operator=(const Advertisers&) = delete;
  ~Advertisers();

  const Machines& rpCandidateSm() const { return rpCandidateSm_; }
  /// A candidate RP came or went. One that goes is withdrawn.
  void handleCrp(const IpGenAddr& address);
  /// All advertisers end without a word.
  void retire();

 private:
  class Candidate;

  void advertise(const CrpOptions& options, const IpGenPrefix& prefix);
  void machineDel(const CrpOptions& options);
  const VrfName& vrfName() const { return bsrStatus_->vrfName(); }

  const std::shared_ptr<Status> bsrStatus_;
  const std::shared_ptr<PimCrpMsgStatus> crpMsgStatus_;
  const std::shared_ptr<TrieGen> bsrTrie_;
  TimerWheel& timerWheel_;
  ZoneServices& services_;
  Machines rpCandidateSm_;
  std::map<IpGenAddr, std::shared_ptr<Candidate>> candidates_;
};

}  // namespace Routing::Pim::Bsr
