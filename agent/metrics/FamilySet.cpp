#include "agent/metrics/FamilySet.h"

#include <algorithm>

namespace Routing::Agent {

using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;

ClientMetric& FamilySet::add(const char* name, const char* help, MetricType type,
                             const MetricLabels& labels) {
  auto family = std::find_if(families_.begin(), families_.end(),
                             [name](const MetricFamily& known) { return known.name == name; });
  if (family == families_.end()) {
    family = families_.insert(families_.end(), MetricFamily{name, help, type, {}});
  }
  ClientMetric& metric = family->metric.emplace_back();
  metric.label = labels;
  return metric;
}

void FamilySet::gauge(const char* name, const char* help, const MetricLabels& labels,
                      double value) {
  add(name, help, MetricType::Gauge, labels).gauge.value = value;
}

void FamilySet::counter(const char* name, const char* help, const MetricLabels& labels,
                        double value) {
  add(name, help, MetricType::Counter, labels).counter.value = value;
}

MetricLabels with(MetricLabels labels, const char* name, const std::string& value) {
  labels.push_back({name, value});
  return labels;
}

}  // namespace Routing::Agent
