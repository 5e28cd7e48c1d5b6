#include "agent/daemon/ServiceManager.h"

#include <systemd/sd-daemon.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>

namespace Routing::Agent {
namespace {

constexpr double summaryPeriod = 5.0;  // seconds
constexpr std::size_t summarised = 4;  // instances that a line has room for

double period() {
  std::uint64_t watchdog = 0;  // microseconds
  if (sd_watchdog_enabled(0, &watchdog) <= 0) return summaryPeriod;
  return std::min(summaryPeriod, static_cast<double>(watchdog) / 2e6);
}

std::string counted(std::size_t number, const char* noun) {
  return std::to_string(number) + ' ' + noun + (number == 1 ? "" : "s");
}

/// The BSR of all groups, else the first of a scoped zone.
std::string bsrOf(const InstanceView& instance) {
  const auto& all = instance.status->bootstrapRouter();
  auto zone = all.find(IpGenPrefix::multicast(instance.af));
  if (zone == all.end()) zone = all.begin();
  return zone == all.end() || zone->second->ipAddr().isUnset()
             ? "no BSR"
             : "BSR " + zone->second->ipAddr().text();
}

std::size_t mappingsOf(const InstanceView& instance) {
  std::size_t count = 0;
  for (const auto& [range, set] : instance.rpCandidate->crpSet()) count += set->rp().size();
  return count;
}

std::string nameOf(const InstanceView& instance) {
  const std::string family = instance.af == AddressFamily::ipv4 ? "IPv4" : "IPv6";
  return instance.vrf.text() == VrfName::defaultName ? family : instance.vrf.text() + ' ' + family;
}

}  // namespace

std::string summary(const std::vector<InstanceView>& instances) {
  if (instances.size() > summarised) return counted(instances.size(), "instance");
  std::string line;
  for (const InstanceView& instance : instances) {
    if (!line.empty()) line += "; ";
    line += nameOf(instance) + ": " + bsrOf(instance) + ", " +
            counted(mappingsOf(instance), "RP mapping");
  }
  return line.empty() ? "PIM runs nowhere" : line;
}

ServiceManager::ServiceManager(TimerWheel& wheel, const AgentView& view)
    : view_(view), period_(period()), timer_(wheel, [this] { report(); }) {}

void ServiceManager::ready() {
  sd_notify(0, "READY=1");
  if (std::getenv("NOTIFY_SOCKET") != nullptr) report();
}

void ServiceManager::reloading() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  const auto us = std::chrono::duration_cast<std::chrono::microseconds>(now).count();
  sd_notifyf(0, "RELOADING=1\nMONOTONIC_USEC=%lld", static_cast<long long>(us));
}

void ServiceManager::stopping() {
  timer_.expiryIs(never);
  sd_notify(0, "STOPPING=1\nSTATUS=");
}

void ServiceManager::report() {
  std::string text = summary(view_.instances());
  const bool news = text != said_;
  if (news) said_ = std::move(text);
  sd_notifyf(0, "WATCHDOG=1%s%s", news ? "\nSTATUS=" : "", news ? said_.c_str() : "");
  timer_.expiryInIs(period_);
}

}  // namespace Routing::Agent
