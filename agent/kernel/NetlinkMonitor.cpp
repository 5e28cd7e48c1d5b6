#include "agent/kernel/NetlinkMonitor.h"

#include <linux/rtnetlink.h>
#include <netlink/attr.h>
#include <netlink/msg.h>
#include <spdlog/spdlog.h>

#include <exception>
#include <utility>

#include "agent/kernel/NetlinkMessages.h"

namespace Routing::Agent {
namespace {

constexpr int datagramsPerTurn = 64;
constexpr double retryDelay = 1.0;  // seconds

NetlinkRequest linksRequest() {
  const ifinfomsg header{};
  auto request = netlinkRequest(RTM_GETLINK, NLM_F_DUMP, header);
  nla_put_u32(request.get(), IFLA_EXT_MASK, RTEXT_FILTER_SKIP_STATS);
  return request;
}

}  // namespace

NetlinkMonitor::NetlinkMonitor(EventLoop& loop, InterfaceTable& table,
                               std::function<void()> synchronised)
    : loop_(loop),
      table_(table),
      synchronised_(std::move(synchronised)),
      retryTimer_(loop.timerWheel(), [this] { startAnew("the last attempt failed"); }) {
  start();
}

void NetlinkMonitor::start() {
  socket_.emplace(std::vector<int>{RTNLGRP_LINK, RTNLGRP_IPV4_IFADDR, RTNLGRP_IPV6_IFADDR});
  watch_ = loop_.whenReadable(socket_->fd(), [this] { handleReadable(); });
  failed_ = false;
  table_.resyncStart();
  phaseIs(Phase::links);
}

void NetlinkMonitor::startAnew(const char* reason) {
  spdlog::warn("reading all interfaces again: {}", reason);
  watch_ = {};
  retryTimer_.expiryInIs(retryDelay);
  start();
  retryTimer_.expiryIs(never);
}

void NetlinkMonitor::phaseIs(Phase phase) {
  phase_ = phase;
  interrupted_ = false;
  if (phase == Phase::following) return;
  const ifaddrmsg anyFamily{};
  const auto request =
      phase == Phase::links ? linksRequest() : netlinkRequest(RTM_GETADDR, NLM_F_DUMP, anyFamily);
  socket_->send(*request);
}

void NetlinkMonitor::handleReadable() {
  auto received = NetlinkSocket::Received::messages;
  for (int i = 0; i < datagramsPerTurn && received == NetlinkSocket::Received::messages; ++i) {
    received = socket_->receive([this](nlmsghdr& message) { handle(message); });
  }
  publish();
  if (received == NetlinkSocket::Received::overrun) return startAnew("the kernel lost notices");
  if (received == NetlinkSocket::Received::failed || failed_) {
    watch_ = {};
    retryTimer_.expiryInIs(retryDelay);
  }
}

void NetlinkMonitor::handle(nlmsghdr& message) {
  if ((message.nlmsg_flags & NLM_F_DUMP_INTR) != 0) interrupted_ = true;
  switch (message.nlmsg_type) {
    case RTM_NEWLINK:
      if (const auto link = linkOf(message)) table_.linkIs(*link);
      break;
    case RTM_DELLINK:
      if (const auto link = linkOf(message)) table_.linkDel(link->index);
      break;
    case RTM_NEWADDR:
    case RTM_DELADDR:
      handleAddress(message);
      break;
    case NLMSG_DONE:
      handleDumpEnd();
      break;
    case NLMSG_ERROR:  // nothing is asked for but dumps, and they end with NLMSG_DONE
      failed_ = true;
      break;
    default:
      break;
  }
}

void NetlinkMonitor::handleAddress(nlmsghdr& message) {
  const auto notice = addressOf(message);
  if (!notice) return;
  const LocalAddress& address = notice->address;
  if (message.nlmsg_type == RTM_NEWADDR && notice->usable) {
    table_.addressIs(notice->index, address);
  } else {
    table_.addressDel(notice->index, address.address, address.prefixLength);
  }
}

void NetlinkMonitor::handleDumpEnd() {
  if (interrupted_) return phaseIs(phase_);
  if (phase_ == Phase::links) return phaseIs(Phase::addresses);
  if (phase_ == Phase::addresses) {
    table_.resyncEnd();
    phaseIs(Phase::following);
  }
}

void NetlinkMonitor::publish() {
  if (synchronised_ && phase_ != Phase::following) return;
  table_.commit();
  if (synchronised_) std::exchange(synchronised_, {})();
}

}  // namespace Routing::Agent
