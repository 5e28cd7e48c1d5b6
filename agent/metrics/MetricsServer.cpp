#include "agent/metrics/MetricsServer.h"

#include <prometheus/collectable.h>
#include <prometheus/exposer.h>
#include <spdlog/spdlog.h>

#include <asio.hpp>
#include <chrono>
#include <exception>
#include <future>

#include "agent/metrics/Metrics.h"

namespace Routing::Agent {

using Families = std::vector<prometheus::MetricFamily>;

/// Runs in a thread of the HTTP server, and asks the event loop.
class MetricsServer::Collector final : public prometheus::Collectable {
 public:
  Collector(asio::io_context& loop, const AgentView& view) : loop_(loop), view_(view) {}

  Families Collect() const override {
    const auto answer = std::make_shared<std::promise<Families>>();
    auto families = answer->get_future();
    asio::post(loop_, [this, answer] { answer->set_value(collectMetrics(view_)); });
    const bool came = families.wait_for(patience) == std::future_status::ready;
    return came ? families.get() : Families();
  }

 private:
  static constexpr std::chrono::seconds patience{2};

  asio::io_context& loop_;
  const AgentView& view_;
};

class MetricsServer::Listener {
 public:
  Listener(const std::string& address, const std::shared_ptr<Collector>& collector)
      : exposer_(address, threads) {
    exposer_.RegisterCollectable(collector);
  }

 private:
  static constexpr std::size_t threads = 1;

  prometheus::Exposer exposer_;
};

MetricsServer::MetricsServer(asio::io_context& loop, const AgentView& view)
    : collector_(std::make_shared<Collector>(loop, view)) {}

MetricsServer::~MetricsServer() = default;

void MetricsServer::listenAt(const std::string& address) {
  if (address == address_) return;
  listener_.reset();
  address_ = address;
  if (address.empty()) return;
  try {
    listener_ = std::make_unique<Listener>(address, collector_);
    spdlog::info("metrics at http://{}/metrics", address);
  } catch (const std::exception& error) {
    spdlog::error("no metrics at {}: {}", address, error.what());
  }
}

}  // namespace Routing::Agent
