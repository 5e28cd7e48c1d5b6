#pragma once

#include <array>
#include <asio/local/stream_protocol.hpp>
#include <asio/steady_timer.hpp>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "agent/control/ControlCommands.h"
#include "agent/control/ControlServer.h"
#include "platform/entity/AttributeLog.h"

namespace Routing::Agent {

class ControlPeer;

/// What the peers of one control socket share.
struct ControlHub {
  ControlTarget target;
  ControlLimits limits;
  std::set<std::shared_ptr<ControlPeer>> peers{};
  std::size_t watchers = 0;
  std::size_t buffered = 0;
};

/// One connection. It reads a request, writes the answer, and only then looks for the next request,
/// so that a peer that asks faster than it reads slows itself down. A watch or a subscription turns
/// it into a stream of changes that ends with the connection.
///
///   reading --request--> answering --written--> reading
///   reading --watch, subscribe--> watching --fell behind, input, end--> closing
///   any     --fault----> closing   --written--> gone
class ControlPeer : public std::enable_shared_from_this<ControlPeer> {
 public:
  using Socket = asio::local::stream_protocol::socket;

  ControlPeer(std::shared_ptr<ControlHub> hub, Socket socket);
  ControlPeer(const ControlPeer&) = delete;
  ControlPeer& operator=(const ControlPeer&) = delete;
  ~ControlPeer();

  void start();
  /// Disconnects at once.
  void close();

 private:
  enum class State { reading, answering, watching, closing, gone };

  void readMore();
  void handleRead(const std::error_code& error, std::size_t size);
  void handleInput();
  void handleRequest(std::string_view line);
  void reload();
  void answer(std::string_view line);
  void refuse(RefusalCode code, std::string_view text);
  void refuseAndClose(RefusalCode code, std::string_view text);

  /// A watch or a subscription; it lasts as long as the connection.
  void begin(const ControlRequest& request);
  void watch(const ControlRequest& request);
  void subscribe(const ControlRequest& request);
  void handleChange(std::string_view change);
  void deliver(const std::string& line);
  void goLive();
  void endWatch(RefusalCode code, std::string_view text);

  bool queue(std::string_view line);
  void flushSoon();
  void flush();
  void handleWritten(const std::error_code& error);
  void handleDrained();

  void deadlineIs(std::chrono::milliseconds delay);

  std::shared_ptr<ControlHub> hub_;
  Socket socket_;
  asio::steady_timer deadline_;
  State state_ = State::reading;
  std::array<char, 4096> chunk_{};
  std::string input_;

  std::string pending_;  // waits behind `writing_`
  std::string writing_;
  bool flushPosted_ = false;

  WatchScope scope_;
  bool live_ = false;            // the present state has been told
  std::size_t changeBytes_ = 0;  // of `pending_`, without the present state
  std::optional<AttributeLog> log_;
  std::shared_ptr<void> subscription_;
};

}  // namespace Routing::Agent
