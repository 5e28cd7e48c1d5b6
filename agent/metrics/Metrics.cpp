#include "agent/metrics/Metrics.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <fstream>

#include "agent/events/EventBook.h"
#include "agent/metrics/FamilySet.h"
#include "bsr/engine/PimBsrSm.h"
#include "bsr/types/ErrorReasons.h"
#include "platform/pim/rp/RpSetDigest.h"

namespace Routing::Agent {
namespace {

void addProcess(const AgentView& view, FamilySet& out) {
  std::size_t pages = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> pages >> resident;
  const double octets = static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE));
  out.gauge("pimbsr_up_seconds", "Since the daemon started; falls at a restart.", {},
            view.now() - view.startTime());
  out.gauge("pimbsr_resident_memory_bytes", "Memory of the daemon that is not swapped out.", {},
            octets);
  out.gauge("pimbsr_instances", "VRFs and families in which PIM runs.", {},
            static_cast<double>(view.instances().size()));
  out.gauge("pimbsr_timers", "Timers that are armed.", {}, static_cast<double>(view.timers()));
  const Candidacies& drained = view.drainReport().drained;
  out.gauge("pimbsr_drained", "1 while operators have taken candidacies from the router.", {},
            drained.none() ? 0 : 1);
}

void addElection(const InstanceView& instance, const IpGenPrefix& zone, const MetricLabels& labels,
                 FamilySet& out) {
  const auto* history = instance.events == nullptr ? nullptr : instance.events->history(zone);
  out.counter("pimbsr_bsr_changes_total", "How often another BSR than before was the zone's.",
              labels, history == nullptr ? 0 : history->elections);
  out.counter("pimbsr_bsr_expiries_total", "How often the BSR was not heard from in time.", labels,
              history == nullptr ? 0 : history->silences);
}

void addZones(const AgentView& view, const InstanceView& instance, const MetricLabels& labels,
              FamilySet& out) {
  for (const auto& [zone, bsr] : instance.status->bootstrapRouter()) {
    const MetricLabels ofZone = with(labels, "zone", zone.text());
    const bool known = !bsr->ipAddr().isUnset();
    out.gauge("pimbsr_bsr_info", "1 for the BSR that is followed, which the label names.",
              with(ofZone, "bsr", known ? bsr->ipAddr().text() : "none"), 1);
    if (known && std::isfinite(bsr->expiryTime())) {
      out.gauge("pimbsr_bsr_expires_seconds", "Until the BSR is forgotten, or speaks if local.",
                ofZone, std::max(0.0, bsr->expiryTime() - view.now()));
    }
    addElection(instance, zone, ofZone, out);
  }
  for (const auto& [zone, candidate] : instance.status->cbsr()) {
    out.gauge(
        "pimbsr_candidate_state", "1; what this router is in the election, as a label.",
        with(with(labels, "zone", zone.text()), "state", std::string(enumName(candidate->state()))),
        1);
  }
}

// A double holds 53 bits: the first twelve digits, in which sets that differ do too.
double digestValue(std::uint64_t digest) {
  return static_cast<double>(digest >> 16);
}

void addRpSet(const InstanceView& instance, const MetricLabels& labels, FamilySet& out) {
  const auto& ranges = instance.rpCandidate->crpSet();
  std::size_t rps = 0;
  for (const auto& entry : ranges) rps += entry.second->rp().size();
  out.gauge("pimbsr_rp_set_ranges", "Group ranges that have RPs.", labels,
            static_cast<double>(ranges.size()));
  out.gauge("pimbsr_rp_set_mappings", "RPs of all group ranges together.", labels,
            static_cast<double>(rps));
  out.gauge("pimbsr_rp_set_digest",
            "The first twelve digits of the digest of the RP set; equal on routers that agree.",
            labels, digestValue(Pim::rpSetDigest(*instance.rpCandidate)));
  if (instance.engine == nullptr) return;
  out.counter("pimbsr_rp_expiries_total", "RPs that were not advertised within their hold time.",
              labels, static_cast<double>(instance.engine->expiredRps()));
}

void addInterfaces(const InstanceView& instance, const MetricLabels& labels, FamilySet& out) {
  for (const auto& [name, intf] : instance.pimStatus->pimIntf()) {
    const MetricLabels ofIntf = with(labels, "interface", name.text());
    out.gauge("pimbsr_interface_up", "Whether PIM runs on the interface.", ofIntf,
              intf->running() ? 1 : 0);
    out.gauge("pimbsr_neighbors", "PIM neighbours on the interface.", ofIntf,
              static_cast<double>(intf->neighbor().size()));
    out.gauge("pimbsr_designated_router", "1 if this router is the designated router.", ofIntf,
              intf->isDr() ? 1 : 0);
  }
}

struct TypeCount {
  const char* type;
  std::uint64_t received;
  std::uint64_t sent;
};

void addTallies(const InstanceView& instance, const MetricLabels& labels, FamilySet& out) {
  for (const auto& [name, tally] : instance.pamManager->tallies()) {
    const MetricLabels ofIntf = with(labels, "interface", name.text());
    const TypeCount types[] = {{"hello", tally.rxHello, tally.txHello},
                               {"bootstrap", tally.rxBootstrap, tally.txBootstrap}};
    for (const auto& [type, received, sent] : types) {
      const MetricLabels ofType = with(ofIntf, "type", type);
      out.counter("pimbsr_interface_messages_received_total", "PIM messages of an interface.",
                  ofType, static_cast<double>(received));
      out.counter("pimbsr_interface_messages_sent_total", "PIM messages that left on it.", ofType,
                  static_cast<double>(sent));
    }
    out.counter("pimbsr_interface_messages_received_total", "PIM messages of an interface.",
                with(ofIntf, "type", "candidate-rp-advertisement"), tally.rxCrpAdv);
    out.counter("pimbsr_interface_dropped_total", "Datagrams of an interface that were dropped.",
                ofIntf, tally.rxDropped);
    out.counter("pimbsr_interface_unsent_total", "Messages that could not be sent on it.", ofIntf,
                tally.txError);
  }
}

void addMessages(const InstanceView& instance, const MetricLabels& labels, FamilySet& out) {
  const Pim::PimMessageCounters& counters = *instance.pamManager->counters();
  const TypeCount types[] = {
      {"hello", counters.rxHello(), counters.txHello()},
      {"bootstrap", counters.rxBootstrap(), counters.txBootstrap()},
      {"candidate-rp-advertisement", counters.rxCrpAdv(), counters.txCrpAdv()}};
  for (const auto& [type, received, sent] : types) {
    const MetricLabels ofType = with(labels, "type", type);
    out.counter("pimbsr_messages_received_total", "PIM messages that were well formed.", ofType,
                static_cast<double>(received));
    out.counter("pimbsr_messages_sent_total", "PIM messages that left.", ofType,
                static_cast<double>(sent));
  }
  out.counter("pimbsr_messages_unsent_total", "PIM messages that could not be sent.", labels,
              counters.txError());
  out.counter("pimbsr_kernel_overflows_total",
              "Datagrams that came faster than they were read, and that the kernel dropped.",
              labels, static_cast<double>(instance.overflows));
  for (const auto& [reason, count] : counters.rxDropped()) {
    out.counter("pimbsr_messages_dropped_total", "Datagrams dropped by the packet layer.",
                with(labels, "reason", reason), count);
  }
}

struct NamedCount {
  const char* name;
  std::uint64_t count;
};

void addErrors(const Pim::Bsr::PimBsrErrorCounters& errors, const MetricLabels& labels,
               FamilySet& out) {
  for (const auto& [name, count] : errorsByReason(errors)) {
    out.counter("pimbsr_bsr_messages_refused_total",
                "Messages that the mechanism did not take; an echo fails the RPF check.",
                with(labels, "reason", std::string(name)), count);
  }
}

void addRefusals(const InstanceView& instance, const MetricLabels& labels, FamilySet& out) {
  if (const auto& counters = instance.status->counters()) {
    addErrors(counters->errCounters(), labels, out);
  }
  const Pim::Bsr::PimBsrLimits& limits = *instance.limits;
  const NamedCount refused[] = {{"zones", limits.refusedZones()},
                                {"groups", limits.refusedGroups()},
                                {"rps", limits.refusedRps()},
                                {"fragments", limits.refusedFragments()}};
  for (const auto& [name, count] : refused) {
    out.counter("pimbsr_limit_refusals_total", "How often a bound was met.",
                with(labels, "limit", name), static_cast<double>(count));
  }
}

}  // namespace

std::vector<prometheus::MetricFamily> collectMetrics(const AgentView& view) {
  FamilySet out;
  addProcess(view, out);
  for (const InstanceView& instance : view.instances()) {
    const MetricLabels labels = {{"vrf", instance.vrf.text()},
                                 {"family", std::string(enumName(instance.af))}};
    addZones(view, instance, labels, out);
    addRpSet(instance, labels, out);
    addInterfaces(instance, labels, out);
    addMessages(instance, labels, out);
    addTallies(instance, labels, out);
    addRefusals(instance, labels, out);
  }
  return std::move(out).families();
}

}  // namespace Routing::Agent
