#include "bsr/engine/RpCandidateSm.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "bsr/engine/ZoneServices.h"
#include "bsr/types/Traces.h"
#include "platform/entity/Assertion.h"

namespace Routing::Pim::Bsr {
namespace {

constexpr std::size_t maxEntries = 256;  // one more than the count field can say
constexpr unsigned maxBackoff = 3;       // seconds, exclusive (RFC 5059 section 5)
constexpr std::uint8_t repetitions = 2;  // after a first advertisement to a new BSR

}  // namespace

RpCandidateSm::RpCandidateSm(const CrpOptions& crpOptions, std::shared_ptr<const Status> status,
                             std::shared_ptr<PimCrpMsgStatus> crpMsgStatus,
                             std::shared_ptr<TrieGen> bsrTrie, TimerWheel& timerWheel,
                             ZoneServices& services)
    : crpOptions_(crpOptions),
      status_(std::move(status)),
      crpMsgStatus_(std::move(crpMsgStatus)),
      bsrTrie_(std::move(bsrTrie)),
      timerWheel_(timerWheel),
      services_(services),
      crp_(status_->crp(crpOptions.rpAddress())),
      crpAdvTimer_(timerWheel, services.deferred().held([this] { handleCrpAdvTimerExpiry(); })) {
  ROUTING_ASSERT_TEXT(crp_, "crp()");
  trieReactor_ = bsrTrie_->routeReactor(services.deferred().held(
      [this](const IpGenPrefix& zone, TrieEvent event) { handleTrie(zone, event); }));
  intervalReactor_ = crp_->intervalReactor(services.deferred().held([this] { handleInterval(); }));
  handleInitialized();
}

void RpCandidateSm::retire() {
  Turn::begin(turns_);
  initialized_ = false;
  trieReactor_.reset();
  intervalReactor_.reset();
  crpAdvTimer_.expiryIs(never);
}

void RpCandidateSm::handleInitialized() {
  BSR_TRACE(rpCandidateSm, 9, "");
  BSR_TRACE(rpCandidateSm, 4, "Instantiated CRP SM ", crp_->address(), " with priority ",
            crpOptions_.priority());
  for (const auto& [prefix, option] : crp_->prefixOptions()) doUpdateCrpAdvSetPrefix(prefix);
  const unsigned delay = armSoon();
  BSR_TRACE(rpCandidateSm, 5, "Setting up CRP Adv timer to fire in ", delay, " seconds from now");
  initialized_ = true;
}

// Arms the timer within the back-off; returns the seconds.
unsigned RpCandidateSm::armSoon() {
  const unsigned delay = services_.random().draw() % maxBackoff;
  crpAdvTimer_.expiryInIs(delay);
  return delay;
}

// --- which prefix goes to which zone ----------------------------------------------------------

bool RpCandidateSm::advertises(const IpGenPrefix& prefix) const {
  const auto& option = crp_->prefixOptions(prefix);
  return option && option->priority() == crpOptions_.priority();
}

bool RpCandidateSm::doUpdateCrpAdvSetPrefix(const IpGenPrefix& prefix) {
  BSR_TRACE(rpCandidateSm, 9, " ( ", prefix, " )");
  const IpGenPrefix zone = advertises(prefix) ? bsrTrie_->longestMatch(prefix) : IpGenPrefix{};
  removeFromOthers(prefix, zone);
  if (zone.isNone()) return false;  // sorted in when its zone appears
  if (!crpAdvSet_.contains(zone)) BSR_TRACE(rpCandidateSm, 8, "Created crpAdvSet for zone ", zone);
  if (!crpAdvSet_[zone].insert(prefix).second) return false;
  BSR_TRACE(rpCandidateSm, 4, "Added prefix ", prefix, " to crpAdvSet for zone ", zone);
  return true;
}

// A new prefix does not wait for the next period; a burst that runs already carries it.
void RpCandidateSm::prefixIs(const IpGenPrefix& prefix) {
  if (!doUpdateCrpAdvSetPrefix(prefix)) return;
  if (crpAdvTimer_.expiry() > timerWheel_.now() + maxBackoff) armSoon();
}

void RpCandidateSm::removeFromOthers(const IpGenPrefix& prefix, const IpGenPrefix& zone) {
  for (auto& [other, prefixes] : crpAdvSet_) {
    if (other == zone || prefixes.erase(prefix) == 0) continue;
    if (zone.isNone()) {
      BSR_TRACE(rpCandidateSm, 4, "Deleted prefix ", prefix, " from crpAdvSet for zone ", other);
    } else {
      BSR_TRACE(rpCandidateSm, 8, "Deleting prefix ", prefix, " from ", other);
    }
  }
}

// Sorts the candidate's prefixes inside a zone anew; true if some are the zone's now or were moved.
bool RpCandidateSm::doUpdateCrpAdvSet(const IpGenPrefix& zone) {
  BSR_TRACE(rpCandidateSm, 9, " ( ", zone, " )");
  const auto set = crpAdvSet_.find(zone);
  RpCandidatePrefixSet before;
  if (set != crpAdvSet_.end()) before = set->second;
  if (!bsrTrie_->route(zone) && crpAdvSet_.erase(zone) > 0) {
    BSR_TRACE(rpCandidateSm, 8, "Deleting crpAdvSet for zone ", zone);
  }
  const auto& options = crp_->prefixOptions();
  for (auto it = options.lower_bound(zone); it != options.end() && zone.contains(it->first); ++it) {
    doUpdateCrpAdvSetPrefix(it->first);
  }
  const auto after = crpAdvSet_.find(zone);
  return !before.empty() || (after != crpAdvSet_.end() && !after->second.empty());
}

void RpCandidateSm::handleTrie(const IpGenPrefix& zone, TrieEvent) {
  BSR_TRACE(rpCandidateSm, 9, " ( ", zone, " )");
  if (!initialized_) return;
  if (doUpdateCrpAdvSet(zone)) handleBsr();
}

// A BSR that some of our prefixes go to is new: three advertisements in a row make sure that it
// hears of us (RFC 5059 section 3.2).
void RpCandidateSm::handleBsr() {
  BSR_TRACE(rpCandidateSm, 9, "");
  crpAdvBackoffCount_ = repetitions;
  const unsigned delay = armSoon();
  BSR_TRACE(rpCandidateSm, 5, "Setting up CRP Adv timer to fire in ", delay,
            " seconds from now. backoffCount=", int{crpAdvBackoffCount_});
}

// --- advertising ------------------------------------------------------------------------------

void RpCandidateSm::handleInterval() {
  BSR_TRACE(rpCandidateSm, 9, "");
  if (!crpAdvTimer_.armed()) {
    BSR_TRACE(rpCandidateSm, 5, "Interval timer not set. Nothing to be done. ");
    return;
  }
  crpAdvTimer_.expiryInIs(crp_->interval().value());
  BSR_TRACE(rpCandidateSm, 5, "CRP Interval value changed. Resetting it to ", crp_->interval(),
            " seconds from now.");
}

void RpCandidateSm::handleCrpAdvTimerExpiry() {
  BSR_TRACE(rpCandidateSm, 9, "");
  if (!initialized_) return;
  const Turn turn = Turn::begin(turns_);
  doSendCrpAdv(false);
  if (!turn.goesOn()) return;
  if (crpAdvBackoffCount_ > 0) {
    --crpAdvBackoffCount_;
    const unsigned delay = armSoon();
    // The count stands in the trace as the octet that it is.
    BSR_TRACE(rpCandidateSm, 5, "Setting up CRP Adv timer to fire in ", delay,
              " seconds from now. BackoffCount=", static_cast<char>(crpAdvBackoffCount_));
    return;
  }
  crpAdvTimer_.expiryInIs(crp_->interval().value());
  BSR_TRACE(rpCandidateSm, 5, "Setting up CRP Adv timer to fire in ", crp_->interval(),
            " seconds from now");
}

void RpCandidateSm::doSendCrpAdv(bool withdraw) {
  BSR_TRACE(rpCandidateSm, 9, " ( withdraw=", withdraw ? "True" : "False", " )");
  const DeferredDelete::Hold hold(services_.deferred());
  const Turn turn = Turn::join(turns_);
  std::vector<std::shared_ptr<const ElectedBsrStatus>> bsrs;
  for (const auto& [zone, bsr] : status_->bootstrapRouter()) {
    if (!bsr->ipAddr().isUnset()) bsrs.push_back(bsr);
  }
  for (const auto& bsr : bsrs) {
    if (!turn.goesOn()) return;
    const auto set = crpAdvSet_.find(bsr->zone());
    if (set == crpAdvSet_.end() || set->second.empty()) {
      BSR_TRACE(rpCandidateSm, 8,
                "Skipping sending C-RP Advertisement Message since crpAdvSet is empty or number"
                " of prefixes is 0");
      continue;
    }
    sendTo(*bsr, RpCandidatePrefixSet(set->second), withdraw);
  }
}

void RpCandidateSm::doWithdrawPrefix(const IpGenPrefix& prefix) {
  for (const auto& [zone, prefixes] : crpAdvSet_) {
    const auto bsr = status_->bootstrapRouter(zone);
    if (!prefixes.contains(prefix) || !bsr || bsr->ipAddr().isUnset()) continue;
    sendTo(*bsr, {prefix}, true);
    return;
  }
}

void RpCandidateSm::sendTo(const ElectedBsrStatus& bsr, const RpCandidatePrefixSet& prefixes,
                           bool withdraw) {
  auto message = std::make_shared<CrpAdvMessage>();
  message->sourceIs(crp_->address());
  message->destinationIs(bsr.ipAddr());
  message->prefixCountIs(
      static_cast<std::uint8_t>(std::min<std::size_t>(prefixes.size(), maxPrefixs)));
  if (prefixes.size() > maxPrefixs) {
    BSR_TRACE(rpCandidateSm, 4, "Configured prefixes are greater than ", int{maxPrefixs},
              ". Publishing only the maximum possible.");
  }
  message->priorityIs(static_cast<std::uint8_t>(crpOptions_.priority().value()));
  message->holdtimeIs(withdraw ? 0 : static_cast<std::uint16_t>(3 * crp_->interval().value()));
  message->rpAddressIs(crp_->address());
  const GroupFlags flags = groupFlags(bsr.zone());
  CrpGroupData groups;
  for (const IpGenPrefix& prefix : prefixes) {
    if (groups.size() == maxEntries) break;
    groups.emplace_back(prefix, flags);
  }
  BSR_TRACE(rpCandidateSm, 4, "Sending CRP Advertisement message to BSR", bsr.ipAddr(),
            " containing ", groups.size(), " prefixes");
  message->groupDataIs(std::move(groups));
  crpMsgStatus_->txCrpMsgIs(message);
  crpMsgStatus_->writeCountInc();
}

GroupFlags RpCandidateSm::groupFlags(const IpGenPrefix& zone) const {
  std::uint8_t flags = crp_->mode() == PimMode::bidirectional ? GroupFlags::bidirFlag : 0;
  const auto& border = status_->bsBorder(zone);
  if (border && !border->intfId().empty()) {
    BSR_TRACE(rpCandidateSm, 7, "C-RP is a ZBR");
    flags |= GroupFlags::zoneFlag;
  }
  return GroupFlags(flags);
}

}  // namespace Routing::Pim::Bsr
