#include "agent/daemon/Reloader.h"

#include <asio.hpp>
#include <utility>

namespace Routing::Agent {

Reloader::Reloader(asio::io_context& loop, const ConfigSource& source, Addressed addressed,
                   Apply apply)
    : loop_(loop), source_(source), addressed_(std::move(addressed)), apply_(std::move(apply)) {}

Reloader::~Reloader() {
  if (reading_.joinable()) reading_.join();
}

void Reloader::reload(ReloadDone done) {
  waiting_.push_back(std::move(done));
  if (!reading_.joinable()) read();
}

void Reloader::read() {
  served_ = std::exchange(waiting_, {});
  reading_ = std::thread([this, addressed = addressed_()] {
    asio::post(loop_, [this, loaded = source_.loadAgain(addressed)]() mutable {
      handleRead(std::move(loaded));
    });
  });
}

void Reloader::handleRead(LoadedConfig loaded) {
  reading_.join();
  const ReloadOutcome outcome = apply_(std::move(loaded));
  for (const ReloadDone& done : std::exchange(served_, {})) done(outcome);
  if (!waiting_.empty()) read();
}

}  // namespace Routing::Agent
