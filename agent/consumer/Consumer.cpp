#include "agent/consumer/Consumer.h"

#include <spdlog/spdlog.h>

#include <algorithm>
#include <asio.hpp>
#include <csignal>
#include <functional>
#include <system_error>
#include <utility>

#include "agent/consumer/Child.h"

namespace Routing::Agent {

/// One life of the program. Lives on its own until it has been buried.
class Consumer::Process : public std::enable_shared_from_this<Process> {
 public:
  using Ended = std::function<void(const std::string& how)>;

  Process(EventLoop& loop, const ConsumerLimits& limits, Child child, Ended ended)
      : limits_(limits),
        pid_(child.pid),
        ended_(std::move(ended)),
        exitFd_(std::move(child.exit)),
        input_(loop.io(), asio::local::stream_protocol(), child.input.release()) {
    exit_ = loop.whenReadable(exitFd_.get(), [this] { handleExit(); });
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process() { kill(); }

  /// The sink holds no share of the process: it would keep itself alive.
  void follow(RpFeed& feed) {
    subscription_ = feed.subscribe({}, [this](std::string_view line) { handleLine(line); });
    live_ = true;
  }
  /// Its end is not to be told any more. It stays until it has been buried.
  void dismiss() {
    ended_ = [self = shared_from_this()](const std::string&) {};
    kill();
  }
  /// Ends it at once.
  void kill() {
    std::error_code ignored;
    input_.close(ignored);
    if (pid_ > 0) ::kill(pid_, SIGKILL);
  }

 private:
  void handleLine(std::string_view line) {
    if (!input_.is_open()) return;
    pending_.append(line).append("\n");
    if (live_) changeBytes_ += line.size() + 1;
    if (changeBytes_ > limits_.waitingBytes) {
      fellBehind_ = true;
      return kill();
    }
    if (writing_.empty()) write();
  }

  void write() {
    writing_ = std::exchange(pending_, {});
    changeBytes_ = 0;
    asio::async_write(input_, asio::buffer(writing_),
                      [self = shared_from_this()](const std::error_code& error, std::size_t) {
                        self->writing_ = {};
                        if (!error && !self->pending_.empty()) self->write();
                      });
  }

  void handleExit() {
    exit_ = {};
    const std::string how = endOf(pid_);
    pid_ = -1;
    const Ended ended = std::exchange(ended_, [](const std::string&) {});
    ended(fellBehind_ ? "it had fallen behind" : how);
  }

  const ConsumerLimits limits_;
  pid_t pid_;
  Ended ended_;
  Fd exitFd_;
  Watch exit_;
  asio::local::stream_protocol::socket input_;
  std::shared_ptr<void> subscription_;
  std::string pending_;  // waits behind `writing_`
  std::string writing_;
  std::size_t changeBytes_ = 0;  // of `pending_`, without the present state
  bool live_ = false;
  bool fellBehind_ = false;
};

Consumer::Consumer(EventLoop& loop, RpFeed& feed, const ConsumerLimits& limits)
    : loop_(loop),
      feed_(feed),
      limits_(limits),
      pause_(limits.firstPause),
      restart_(loop.timerWheel(), [this] { start(); }) {}

Consumer::~Consumer() {
  if (process_) process_->kill();
}

void Consumer::programIs(const std::string& path) {
  if (path == program_) return;
  program_ = path;
  if (process_) process_->dismiss();
  process_.reset();
  restart_.expiryIs(never);
  pause_ = limits_.firstPause;
  if (!program_.empty()) start();
}

void Consumer::start() try {
  startedAt_ = loop_.clock().now();
  process_ = std::make_shared<Process>(loop_, limits_, startChild(program_),
                                       [this](const std::string& how) { handleEnd(how); });
  spdlog::info("consumer {} started", program_);
  process_->follow(feed_);
} catch (const std::system_error& error) {
  handleEnd(error.what());
}

void Consumer::handleEnd(const std::string& how) {
  if (loop_.clock().now() - startedAt_ > limits_.longestPause) pause_ = limits_.firstPause;
  spdlog::warn("consumer {} ended: {}; it is started again in {} s", program_, how, pause_);
  process_.reset();
  restart_.expiryInIs(pause_);
  pause_ = std::min(pause_ * 2, limits_.longestPause);
}

}  // namespace Routing::Agent
