#pragma once

#include <prometheus/metric_family.h>

#include <string>
#include <vector>

namespace Routing::Agent {

using MetricLabels = std::vector<prometheus::ClientMetric::Label>;

/// Metric families in the order in which they were first added to.
class FamilySet {
 public:
  void gauge(const char* name, const char* help, const MetricLabels& labels, double value);
  void counter(const char* name, const char* help, const MetricLabels& labels, double value);

  std::vector<prometheus::MetricFamily> families() && { return std::move(families_); }

 private:
  prometheus::ClientMetric& add(const char* name, const char* help, prometheus::MetricType type,
                                const MetricLabels& labels);

  std::vector<prometheus::MetricFamily> families_;
};

/// Labels with one more.
MetricLabels with(MetricLabels labels, const char* name, const std::string& value);

}  // namespace Routing::Agent
