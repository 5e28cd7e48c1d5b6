#include "tests/support/BsrRouter.h"

#include <sstream>
#include <utility>
#include <variant>

#include "platform/pim/PimCodec.h"

namespace Routing::TestKit {

using Pim::BootstrapGroupData;
using Pim::BootstrapMessage;

// --- building messages ------------------------------------------------------------------------

Bsm::Bsm(std::string_view bsr, unsigned priority) {
  static std::uint16_t lastTag = 0;
  const IpGenAddr address = addr(bsr);
  bsm_.destinationIs(Pim::allPimRouters(address.af()));
  bsm_.bsrAddressIs(address);
  bsm_.bsrPriorityIs(static_cast<std::uint8_t>(priority));
  bsm_.hashMaskLenIs(address.af() == AddressFamily::ipv4 ? 30 : 126);
  bsm_.fragmentTagIs(++lastTag);
}

Bsm& Bsm::tag(unsigned tag) {
  bsm_.fragmentTagIs(static_cast<std::uint16_t>(tag));
  return *this;
}

Bsm& Bsm::hashMask(unsigned bits) {
  bsm_.hashMaskLenIs(static_cast<std::uint8_t>(bits));
  return *this;
}

Bsm& Bsm::noForward() {
  bsm_.forwardIs(false);
  return *this;
}

Bsm& Bsm::group(std::string_view prefix, const Rps& rps) {
  return append(prefix, 0, static_cast<unsigned>(rps.size()), rps);
}

Bsm& Bsm::bidirGroup(std::string_view prefix, const Rps& rps) {
  return append(prefix, BootstrapGroupData::bidirFlag, static_cast<unsigned>(rps.size()), rps);
}

Bsm& Bsm::zone(std::string_view prefix, const Rps& rps) {
  return append(prefix, BootstrapGroupData::zoneFlag, static_cast<unsigned>(rps.size()), rps);
}

Bsm& Bsm::piece(std::string_view prefix, unsigned rpCount, const Rps& rps) {
  return append(prefix, 0, rpCount, rps);
}

Bsm& Bsm::append(std::string_view prefix, std::uint8_t flags, unsigned rpCount, const Rps& rps) {
  BootstrapGroupData group(TestKit::prefix(prefix), flags);
  group.rpCountIs(static_cast<std::uint8_t>(rpCount));
  group.fragRpCountIs(static_cast<std::uint8_t>(rps.size()));
  for (const Rp& rp : rps) {
    group.rpList().rpIs(addr(rp.address), {static_cast<std::uint16_t>(rp.holdtime),
                                           static_cast<std::uint8_t>(rp.priority)});
  }
  bsm_.groupRpDataAppend(std::move(group));
  return *this;
}

// --- the router -------------------------------------------------------------------------------

BsrRouter::BsrRouter(AddressFamily af, TimerWheel& wheel, double random)
    : PimRouter(af, wheel, random),
      af(af),
      wheel(wheel),
      status(std::make_shared<Bsr::Status>(VrfName("default"))),
      intfDir(std::make_shared<Pim::AllIntfStatusDir>()),
      pimRpStatus(std::make_shared<Pim::RpCandidateStatus>(VrfName("default"))),
      ucastRoutes(std::make_shared<Pim::PimUcastRouteStatus>(af)),
      limits(std::make_shared<Bsr::PimBsrLimits>()) {
  status->afIs(af);
  status->countersIs("counters");
  status->bsTimeoutIs(130);
  status->szTimeoutIs(1300);
  status->crpPermitIs(IpGenPrefix::zero(af), true);
  start();
}

void BsrRouter::start() {
  Bsr::BsrInputs inputs{status,  pim.pimStatus(), pim.pamManager(), ucastRoutes,
                        intfDir, pimRpStatus,     limits,           &wheel};
  inputs.policy = policy;
  instance = std::make_unique<Bsr::BsrInstance>(inputs);
}

Pim::PimInterface& BsrRouter::linkIs(const std::string& intf, const std::string& address,
                                     unsigned mtu) {
  if (mtu != 0) mtuIs(intf, mtu);
  const auto link = pim.pimStatus()->newPimIntf(IntfId(intf));
  link->addressIs(addr(address));
  link->upIs(true);
  return *link;
}

void BsrRouter::mtuIs(const std::string& intf, unsigned mtu) {
  const auto state = intfDir->newIntfStatus(IntfId(intf));
  state->upIs(true);
  state->mtuIs(mtu);
}

Pim::PimInterface& BsrRouter::link(const std::string& intf) {
  return *pim.pimStatus()->pimIntf(IntfId(intf));
}

void BsrRouter::neighborIs(const std::string& intf, const std::string& address) {
  link(intf).newNeighbor(addr(address))->expiryTimeIs(never);
}

void BsrRouter::routeIs(const std::string& to, const std::string& intf,
                        const std::string& gateway) {
  routes[addr(to)] = {{IntfId(intf), gateway.empty() ? IpGenAddr{} : addr(gateway)}};
}

void BsrRouter::borderIs(const std::string& prefix, const std::string& intf) {
  status->newBsBorder(TestKit::prefix(prefix))->intfIdIs(IntfId(intf), true);
}

std::shared_ptr<Bsr::BsrCandidate> BsrRouter::candidateBsrIs(const std::string& zone,
                                                             const std::string& address,
                                                             unsigned priority, unsigned hashMask,
                                                             unsigned bsPeriod) {
  const auto entry = status->newCbsr(prefix(zone));
  entry->hashMaskLenIs(hashMask);
  entry->priorityIs(static_cast<std::uint16_t>(priority));
  entry->bsPeriodIs(bsPeriod);
  entry->addressIs(addr(address));
  return entry;
}

std::shared_ptr<Bsr::BsrNonCandidateSm> BsrRouter::follower(const std::string& zone) {
  return engine().nonCandidateSm(prefix(zone));
}

std::shared_ptr<Bsr::BsrCandidateSm> BsrRouter::candidate(const std::string& zone) {
  return engine().candidateSm(prefix(zone));
}

// --- what is seen -----------------------------------------------------------------------------

std::string BsrRouter::bsrOf(const std::string& zone) const {
  const auto& record = status->bootstrapRouter(prefix(zone));
  if (!record) return "none";
  return record->ipAddr().text() + " " + std::to_string(record->priority()) + " " +
         std::to_string(record->hashMaskLen());
}

namespace {

Lines linesOf(const Pim::RpCandidateStatus& rps) {
  Lines lines;
  for (const auto& [prefix, set] : rps.crpSet()) {
    if (set->rp().empty()) lines.push_back(prefix.text() + " empty");
    for (const auto& [address, rp] : set->rp()) {
      std::ostringstream line;
      line << prefix << ' ' << address << ' ' << rp->holdTime() << ' ' << rp->priority();
      if (rp->mode() == Pim::PimMode::bidirectional) line << " bidir";
      lines.push_back(line.str());
    }
  }
  return lines;
}

}  // namespace

Lines BsrRouter::rpSetOf(const std::string& zone) const {
  const auto& set = status->crpStatus(prefix(zone));
  return set && set->status() ? linesOf(*set->status()) : Lines{};
}

Lines BsrRouter::pimRps() const {
  return linesOf(*pimRpStatus);
}

namespace {

/// Takes the messages of one type out of all that was sent.
template <class Message, class SentMessage>
std::vector<SentMessage> taken(std::vector<PimRouter::Sent>& sent) {
  std::vector<SentMessage> messages;
  std::erase_if(sent, [&](PimRouter::Sent& each) {
    const auto result = Pim::decode(each.payload, each.source, each.destination);
    const auto* message = std::get_if<std::shared_ptr<Message>>(&result);
    if (message) messages.push_back({each.at, each.intf.text(), each.payload, *message});
    return message != nullptr;
  });
  return messages;
}

}  // namespace

std::vector<BsrRouter::SentBsm> BsrRouter::sentBsms() {
  return taken<BootstrapMessage, SentBsm>(sent);
}

std::vector<BsrRouter::SentAdv> BsrRouter::sentAdvs() {
  return taken<Pim::CrpAdvMessage, SentAdv>(sent);
}

std::string bsmText(const BootstrapMessage& bsm, bool withTag) {
  std::ostringstream out;
  out << bsm.bsrAddress() << ' ' << unsigned{bsm.bsrPriority()} << ' '
      << unsigned{bsm.hashMaskLen()} << " tag "
      << (withTag ? std::to_string(bsm.fragmentTag()) : "*")
      << (bsm.forward() ? "" : " no-forward");
  for (const BootstrapGroupData& group : bsm.groupRpData()) {
    out << ' ' << group.prefix() << ' ' << unsigned{group.groupFlags()} << ' '
        << unsigned{group.fragRpCount()} << '/' << unsigned{group.rpCount()} << '(';
    const char* separator = "";
    for (const auto& [address, data] : group.rpList()) {
      out << std::exchange(separator, ", ") << address << ' ' << data.rpHoldtime() << ' '
          << unsigned{data.rpPriority()};
    }
    out << ')';
  }
  return out.str();
}

}  // namespace Routing::TestKit
