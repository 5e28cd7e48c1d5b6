#include "agent/control/ControlPeer.h"

#include <asio.hpp>
#include <utility>

namespace Routing::Agent {
namespace {
constexpr std::string_view tooMuchWaits = "too many answers wait to be read";
}  // namespace

ControlPeer::ControlPeer(std::shared_ptr<ControlHub> hub, Socket socket)
    : hub_(std::move(hub)), socket_(std::move(socket)), deadline_(socket_.get_executor()) {}

ControlPeer::~ControlPeer() {
  close();
}

void ControlPeer::start() {
  hub_->peers.insert(shared_from_this());
  deadlineIs(hub_->limits.idle);
  readMore();
}

void ControlPeer::close() {
  if (state_ == State::gone) return;
  if (log_ || subscription_) --hub_->watchers;
  state_ = State::gone;
  log_.reset();
  subscription_.reset();
  hub_->buffered -= pending_.size() + writing_.size();
  pending_.clear();
  // `writing_` stays: a write that is under way still refers to it.
  std::error_code ignored;
  socket_.close(ignored);
  deadline_.cancel();
  if (const auto self = weak_from_this().lock()) hub_->peers.erase(self);
}

void ControlPeer::readMore() {
  socket_.async_read_some(
      asio::buffer(chunk_),
      [self = shared_from_this()](const std::error_code& error, std::size_t size) {
        self->handleRead(error, size);
      });
}

void ControlPeer::handleRead(const std::error_code& error, std::size_t size) {
  if (state_ == State::watching) {
    if (error) return close();
    return endWatch(RefusalCode::badRequest, "nothing may be sent during a watch");
  }
  if (state_ != State::reading) return;
  if (error == asio::error::eof && !input_.empty()) {
    return refuseAndClose(RefusalCode::badRequest, "the request does not end with a newline");
  }
  if (error) return close();
  input_.append(chunk_.data(), size);
  handleInput();
}

void ControlPeer::handleInput() {
  const auto end = input_.find('\n');
  if (end > hub_->limits.requestBytes && input_.size() > hub_->limits.requestBytes) {
    return refuseAndClose(RefusalCode::badRequest, "the request is too long");
  }
  if (end == std::string::npos) return readMore();
  const std::string line = input_.substr(0, end);
  input_.erase(0, end + 1);
  handleRequest(line);
}

void ControlPeer::handleRequest(std::string_view line) {
  try {
    const ControlRequest request = parseControlRequest(line);
    switch (request.command) {
      case ControlRequest::Command::watch:
      case ControlRequest::Command::subscribe:
        return begin(request);
      case ControlRequest::Command::reload:
        return reload();
      default:
        return answer(answerLine(hub_->target, request));
    }
  } catch (const RequestError& error) {
    refuse(error.code(), error.what());
  }
}

void ControlPeer::reload() {
  state_ = State::answering;
  deadlineIs(hub_->limits.drain);
  hub_->target.commands.reload([weak = weak_from_this()](const ReloadOutcome& outcome) {
    const auto self = weak.lock();
    if (self && self->state_ == State::answering) self->answer(reloadedLine(outcome));
  });
}

void ControlPeer::answer(std::string_view line) {
  state_ = State::answering;
  if (!queue(line)) return refuse(RefusalCode::busy, tooMuchWaits);
  flush();
}

void ControlPeer::refuse(RefusalCode code, std::string_view text) {
  const std::string line = refusalLine(code, text).append("\n");
  state_ = State::answering;
  hub_->buffered += line.size();  // short, so always admitted
  pending_ += line;
  flush();
}

void ControlPeer::refuseAndClose(RefusalCode code, std::string_view text) {
  refuse(code, text);
  if (state_ != State::gone) state_ = State::closing;
}

void ControlPeer::begin(const ControlRequest& request) {
  if (hub_->watchers >= hub_->limits.watchers) {
    return refuse(RefusalCode::busy, "too many watches");
  }
  request.command == ControlRequest::Command::watch ? watch(request) : subscribe(request);
}

void ControlPeer::watch(const ControlRequest& request) {
  scope_ = watchScope(hub_->target.view, request);
  if (!queue(watchAcceptedLine(request))) return refuse(RefusalCode::busy, tooMuchWaits);
  state_ = State::watching;
  log_.emplace(scope_.root, [this, told = request.snapshot](std::string_view change) {
    if (live_ || told) handleChange(change);
  });
  if (state_ == State::watching) queue(watchLiveLine());
  goLive();
}

void ControlPeer::subscribe(const ControlRequest& request) {
  feedScope(request);  // is there such a topic?
  if (!queue(subscribedLine(request))) return refuse(RefusalCode::busy, tooMuchWaits);
  state_ = State::watching;
  subscription_ =
      follow(hub_->target, request, [this](std::string_view line) { deliver(std::string(line)); });
  goLive();
}

/// The present state has been told.
void ControlPeer::goLive() {
  ++hub_->watchers;
  live_ = true;
  flush();
  readMore();
}

/// Runs inside the setter that made the change, and inside the log that calls it.
void ControlPeer::handleChange(std::string_view change) {
  if (scope_.covers(change)) deliver(watchChangeLine(change));
}

void ControlPeer::deliver(const std::string& line) {
  if (state_ != State::watching) return;
  if (live_) changeBytes_ += line.size();
  if (changeBytes_ > hub_->limits.watchBytes) {
    return endWatch(RefusalCode::tooSlow, "the watch has fallen behind");
  }
  if (!queue(line)) return endWatch(RefusalCode::busy, tooMuchWaits);
  flushSoon();
}

/// The log goes with the peer: it may be the caller.
void ControlPeer::endWatch(RefusalCode code, std::string_view text) {
  state_ = State::closing;
  hub_->buffered -= pending_.size();
  pending_ = refusalLine(code, text).append("\n");
  hub_->buffered += pending_.size();
  flushSoon();
}

/// False, and nothing queued, if all that waits for peers would become too much.
bool ControlPeer::queue(std::string_view line) {
  if (hub_->buffered + line.size() + 1 > hub_->limits.bufferedBytes) return false;
  pending_.append(line).append("\n");
  hub_->buffered += line.size() + 1;
  return true;
}

/// Many changes in one turn of the event loop leave in one piece.
void ControlPeer::flushSoon() {
  if (std::exchange(flushPosted_, true)) return;
  asio::post(socket_.get_executor(), [self = shared_from_this()] {
    self->flushPosted_ = false;
    if (self->state_ != State::gone) self->flush();
  });
}

void ControlPeer::flush() {
  if (!writing_.empty() || pending_.empty()) return;
  writing_ = std::exchange(pending_, {});
  changeBytes_ = 0;
  deadlineIs(hub_->limits.drain);
  asio::async_write(socket_, asio::buffer(writing_),
                    [self = shared_from_this()](const std::error_code& error, std::size_t) {
                      self->handleWritten(error);
                    });
}

void ControlPeer::handleWritten(const std::error_code& error) {
  if (state_ == State::gone) return;
  if (error) return close();
  hub_->buffered -= writing_.size();
  writing_ = {};
  pending_.empty() ? handleDrained() : flush();
}

void ControlPeer::handleDrained() {
  switch (state_) {
    case State::answering:
      state_ = State::reading;
      deadlineIs(hub_->limits.idle);
      return handleInput();
    case State::watching:
      deadline_.expires_at(asio::steady_timer::time_point::max());
      return;
    default:
      return close();
  }
}

void ControlPeer::deadlineIs(std::chrono::milliseconds delay) {
  deadline_.expires_after(delay);
  deadline_.async_wait([weak = weak_from_this()](const std::error_code& error) {
    const auto self = weak.lock();
    if (error || !self) return;
    // It may have been moved when this call was already on its way.
    if (self->deadline_.expiry() <= asio::steady_timer::clock_type::now()) self->close();
  });
}

}  // namespace Routing::Agent
