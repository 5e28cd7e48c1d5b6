#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <asio.hpp>
#include <filesystem>
#include <fstream>
#include <list>
#include <nlohmann/json.hpp>
#include <sstream>

#include "agent/control/ControlCommands.h"
#include "agent/control/ControlServer.h"
#include "platform/entity/AttributeLog.h"
#include "platform/entity/AttributeMirror.h"
#include "tests/agent/control/FakeAgent.h"

namespace Routing::Agent {
namespace {

using Json = nlohmann::json;
using namespace std::chrono_literals;

constexpr std::string_view showBsr = R"({"command":"show","family":"ipv4","topic":"bsr"})";
constexpr std::string_view watchAll = R"({"command":"watch","family":"ipv4","topic":"status"})";

/// A directory of the test's own, gone afterwards.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::string name = "/tmp/control-XXXXXX";
    path_ = mkdtemp(name.data());
  }
  ~TemporaryDirectory() { std::filesystem::remove_all(path_); }
  std::string operator/(const char* name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

/// A client that does as it likes, on a socket that never blocks.
class Peer {
 public:
  explicit Peer(const std::string& path) {
    socket_.connect(path);
    socket_.non_blocking(true);
  }
  void hangUp() { socket_.close(); }
  void endSending() { socket_.shutdown(Socket::shutdown_send); }
  /// What the socket does not take is lost.
  void send(std::string_view octets) {
    std::error_code ignored;
    socket_.send(asio::buffer(octets), 0, ignored);
  }
  void sendLine(std::string_view line) { send(std::string(line) + "\n"); }
  /// Takes in what has arrived.
  void read() {
    std::array<char, 65536> chunk;
    std::error_code error;
    while (!error) received_.append(chunk.data(), socket_.receive(asio::buffer(chunk), 0, error));
    ended_ = ended_ || error != asio::error::would_block;
  }
  bool ended() const { return ended_; }
  const std::string& received() const { return received_; }
  std::vector<Json> lines() const {
    std::vector<Json> lines;
    std::istringstream in(received_);
    for (std::string line; std::getline(in, line);) lines.push_back(Json::parse(line));
    return lines;
  }

 private:
  using Socket = asio::local::stream_protocol::socket;
  asio::io_context context_;
  Socket socket_{context_};
  bool ended_ = false;
  std::string received_;
};

class ControlServerTest : public testing::Test {
 protected:
  void SetUp() override { startServer({}); }
  void startServer(const ControlLimits& limits) {
    server_.reset();
    server_ = std::make_unique<ControlServer>(loop_, agent_, agent_, agent_.feed, path_, limits);
  }
  /// Turns the event loop until the condition holds; false if it does not within ten seconds.
  template <class Condition>
  bool until(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + 10s;
    while (!condition()) {
      if (std::chrono::steady_clock::now() > end) return false;
      loop_.run_for(1ms);
      loop_.restart();
    }
    return true;
  }
  bool hears(Peer& peer, std::size_t lines) {
    return until([&] {
      peer.read();
      return static_cast<std::size_t>(std::ranges::count(peer.received(), '\n')) >= lines;
    });
  }
  /// The answer to a line; nothing if there is none.
  Json ask(Peer& peer, std::string_view line) {
    const std::size_t before = peer.lines().size();
    peer.sendLine(line);
    return hears(peer, before + 1) ? peer.lines().at(before) : Json();
  }
  bool isDropped(Peer& peer) {
    return until([&] {
      peer.read();
      return peer.ended();
    });
  }
  /// Makes the answer to showRpSet() about 200 octets longer for each RP.
  void addRps(unsigned count) {
    for (unsigned i = 0; i < count; ++i) {
      v4_.addRp("224.0.0.0/4", "224.0.0.0/4", IpGenAddr::v4(0x0a000001 + i).text(), 1, 0, 9999);
    }
  }

  asio::io_context loop_;
  FakeAgent agent_;
  FakeInstance& v4_ = agent_.add("default", AddressFamily::ipv4);
  TemporaryDirectory directory_;
  std::string path_ = directory_ / "run/control.sock";
  std::unique_ptr<ControlServer> server_;
};

constexpr std::string_view showRpSet = R"({"command":"show","family":"ipv4","topic":"rp-set"})";

TEST_F(ControlServerTest, RefusesALineThatIsTooLong) {
  startServer({.requestBytes = 100});
  Peer fits(path_);
  const std::string padded = std::string(showBsr) + std::string(100 - showBsr.size(), ' ');
  EXPECT_EQ(true, ask(fits, padded).at("ok"));
  for (const char* end : {"\n", ""}) {
    Peer peer(path_);
    peer.send(padded + ' ' + end);
    ASSERT_TRUE(isDropped(peer));
    EXPECT_EQ("the request is too long", peer.lines().at(0).at("error"));
  }
}

TEST_F(ControlServerTest, AnswersAPeerThatSendsNoMore) {
  Peer whole(path_);
  whole.sendLine(showBsr);
  whole.endSending();
  ASSERT_TRUE(isDropped(whole));
  ASSERT_EQ(1u, whole.lines().size());
  EXPECT_EQ(true, whole.lines()[0].at("ok"));

  Peer cut(path_);
  cut.send(showBsr);
  cut.endSending();
  ASSERT_TRUE(isDropped(cut));
  EXPECT_EQ("the request does not end with a newline", cut.lines().at(0).at("error"));
}

TEST_F(ControlServerTest, TurnsAwayMorePeersThanItServes) {
  startServer({.peers = 3});
  std::list<Peer> peers;
  for (int i = 0; i < 3; ++i) peers.emplace_back(path_);
  ASSERT_TRUE(until([&] { return server_->peers() == 3; }));
  for (int i = 0; i < 50; ++i) {
    Peer extra(path_);
    ASSERT_TRUE(isDropped(extra));
    EXPECT_EQ("busy", extra.lines().at(0).at("code"));
  }
  peers.pop_front();
  ASSERT_TRUE(until([&] { return server_->peers() == 2; }));
  Peer next(path_);
  EXPECT_EQ(true, ask(next, showBsr).at("ok"));
}

TEST_F(ControlServerTest, DropsAPeerThatAsksNothing) {
  startServer({.idle = 20ms});
  Peer silent(path_);
  Peer slow(path_);
  slow.send(showBsr.substr(0, 10));
  EXPECT_TRUE(isDropped(silent));
  EXPECT_TRUE(isDropped(slow));
  EXPECT_EQ(0u, server_->peers());
}

TEST_F(ControlServerTest, GoesOnWhileAPeerDoesNotRead) {
  startServer({.drain = 1s});
  addRps(3'000);
  Peer stuck(path_);
  stuck.sendLine(showRpSet);
  ASSERT_TRUE(until([&] { return server_->buffered() > 100'000; }));
  Peer other(path_);
  EXPECT_EQ(true, ask(other, showBsr).at("ok"));
  EXPECT_EQ(2u, server_->peers());
  EXPECT_TRUE(until([&] { return server_->peers() == 1; }));
  EXPECT_EQ(0u, server_->buffered());
}

TEST_F(ControlServerTest, KeepsAllAnswersTogetherWithinABound) {
  addRps(3'000);
  const std::size_t answer = answerLine(agent_.target(), {.topic = "rp-set"}).size();
  startServer({.bufferedBytes = answer * 3 / 2});
  Peer first(path_), second(path_);
  first.sendLine(showRpSet);
  ASSERT_TRUE(until([&] { return server_->buffered() > 0; }));
  EXPECT_LE(server_->buffered(), answer * 3 / 2);
  EXPECT_EQ("busy", ask(second, showRpSet).at("code"));
  first.hangUp();  // does not wait for its answer
  ASSERT_TRUE(until([&] { return server_->peers() == 1; }));
  EXPECT_EQ(0u, server_->buffered());
  EXPECT_EQ(true, ask(second, showRpSet).at("ok"));
}

/// The changes that a watch has told so far.
std::vector<std::string> changesOf(const Peer& peer) {
  std::vector<std::string> changes;
  for (const Json& line : peer.lines()) {
    if (line.contains("change")) changes.push_back(line.at("change"));
  }
  return changes;
}

TEST_F(ControlServerTest, StreamsChangesFromWhichAMirrorIsMade) {
  v4_.addBsr("224.0.0.0/4", "10.0.0.1");
  addRps(3'000);
  Peer peer(path_);
  peer.sendLine(watchAll);
  ASSERT_TRUE(until([&] { return server_->buffered() > 500'000; })) << "more than the socket takes";
  v4_.status->bootstrapRouterDel(prefix("224.0.0.0/4"));
  for (std::uint32_t seconds = 70; seconds < 77; ++seconds) {
    v4_.status->bsTimeoutIs(seconds);
    loop_.poll();
  }
  v4_.status->bsTimeoutIs(77);
  ASSERT_TRUE(until([&] {
    peer.read();
    return peer.received().find("bsTimeout 77") != std::string::npos;
  }));
  const auto lines = peer.lines();
  EXPECT_EQ("status", lines[0].at("data").at("watching"));
  EXPECT_EQ(1, std::ranges::count(lines, Json({{"live", true}})));
  const auto mirror = std::make_shared<Pim::Bsr::Status>(VrfName("default"));
  AttributeMirror apply(mirror);
  for (const std::string& change : changesOf(peer)) EXPECT_TRUE(apply.apply(change)) << change;
  EXPECT_EQ(treeText(*v4_.status), treeText(*mirror));
}

TEST_F(ControlServerTest, TellsAndDropsAWatcherThatFallsBehind) {
  startServer({.watchBytes = 10'000});
  addRps(100);  // the present state may be larger
  Peer peer(path_);
  peer.sendLine(watchAll);
  std::uint32_t n = 0;
  for (int burst = 0; burst < 5; ++burst) {  // whoever keeps up is kept
    ASSERT_TRUE(hears(peer, 100));
    ASSERT_TRUE(until([&] { return server_->buffered() == 0; }));
    for (int i = 0; i < 200; ++i) v4_.status->bsTimeoutIs(++n);
    EXPECT_GT(server_->buffered(), 5'000u);
  }
  ASSERT_TRUE(until([&] { return server_->buffered() == 0; }));
  ASSERT_EQ(1u, server_->peers());
  for (int i = 0; i < 100'000; ++i) v4_.status->bsTimeoutIs(++n);
  EXPECT_LT(server_->buffered(), 1'000u);
  ASSERT_TRUE(isDropped(peer));
  EXPECT_EQ("too-slow", peer.lines().back().at("code"));
  EXPECT_EQ(n, v4_.status->bsTimeout());
  EXPECT_EQ(0u, server_->peers());
  v4_.status->bsTimeoutIs(0);  // nobody listens any more
}

TEST_F(ControlServerTest, EndsAWatchWithItsConnectionAndAtItsLimit) {
  startServer({.watchers = 2, .idle = 200ms, .drain = 200ms});
  Peer first(path_), second(path_);
  for (Peer* peer : {&first, &second}) {
    peer->sendLine(watchAll);
    ASSERT_TRUE(hears(*peer, 2));
  }
  Peer third(path_);
  EXPECT_EQ("too many watches", ask(third, watchAll).at("error"));
  ASSERT_TRUE(isDropped(third));  // idle, unlike a quiet watch
  EXPECT_EQ(2u, server_->peers());

  first.hangUp();
  second.sendLine("more");
  ASSERT_TRUE(isDropped(second));
  EXPECT_EQ("nothing may be sent during a watch", second.lines().back().at("error"));
  ASSERT_TRUE(until([&] { return server_->peers() == 0; }));
  Peer fourth(path_);
  EXPECT_EQ(true, ask(fourth, watchAll).at("ok"));
}

TEST_F(ControlServerTest, GoesAwayWithItsPeers) {
  Peer asking(path_), watching(path_);
  watching.sendLine(watchAll);
  ASSERT_TRUE(hears(watching, 2));
  asking.sendLine(showBsr);
  server_.reset();
  EXPECT_TRUE(isDropped(asking));
  EXPECT_TRUE(isDropped(watching));
  v4_.status->bsTimeoutIs(5);
  EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(ControlServerTest, AnswersEveryLineOfNoise) {
  const bool held = rc::check("each line has one answer", [this] {
    const std::string alphabet("{}[]\":,show ipv4\n\\\xff\0 1", 22);
    const auto noise = *rc::gen::container<std::string>(rc::gen::elementOf(alphabet));
    Peer peer(path_);
    const std::size_t first = *rc::gen::inRange<std::size_t>(0, noise.size() + 1);
    peer.send(noise.substr(0, first));
    loop_.poll();
    peer.send(noise.substr(first));
    peer.sendLine("");
    peer.sendLine(showBsr);
    const auto lines = static_cast<std::size_t>(std::ranges::count(noise, '\n')) + 2;
    RC_ASSERT(hears(peer, lines));
    const auto answers = peer.lines();
    RC_ASSERT(answers.size() == lines);
    for (std::size_t i = 0; i + 1 < lines; ++i) RC_ASSERT(answers[i].at("ok") == false);
    RC_ASSERT(answers.back().at("ok") == true);
  });
  EXPECT_TRUE(held);
}

/// The error of a server that should not start at a path.
std::error_code startError(asio::io_context& loop, FakeAgent& agent, const std::string& path) {
  try {
    const ControlServer server(loop, agent, agent, agent.feed, path);
  } catch (const std::system_error& error) {
    EXPECT_NE(std::string::npos, std::string(error.what()).find(path));
    return error.code();
  }
  return {};
}

TEST_F(ControlServerTest, KeepsOthersOut) {
  struct stat status {};
  ASSERT_EQ(0, stat(path_.c_str(), &status));
  EXPECT_TRUE(S_ISSOCK(status.st_mode));
  EXPECT_EQ(0660u, status.st_mode & 07777);
}

TEST_F(ControlServerTest, ReplacesASocketOnlyIfNobodyListens) {
  EXPECT_EQ(std::errc::address_in_use, startError(loop_, agent_, path_));
  Peer stillWelcome(path_);  // the one that listens was left alone

  const std::string stale = directory_ / "stale.sock";
  asio::local::stream_protocol::acceptor(loop_, asio::local::stream_protocol::endpoint(stale));
  ASSERT_TRUE(std::filesystem::exists(stale));
  EXPECT_EQ(std::error_code(), startError(loop_, agent_, stale));
  EXPECT_FALSE(std::filesystem::exists(stale));
}

TEST_F(ControlServerTest, LeavesWhatIsNoSocketAlone) {
  const std::string file = directory_ / "file";
  std::ofstream(file) << "precious";
  EXPECT_EQ(std::errc::file_exists, startError(loop_, agent_, file));
  EXPECT_EQ(8u, std::filesystem::file_size(file));
  EXPECT_EQ(std::errc::not_a_directory, startError(loop_, agent_, file + "/control.sock"));
  const std::string longPath = directory_ / std::string(120, 'x').c_str();
  EXPECT_EQ(std::errc::filename_too_long, startError(loop_, agent_, longPath));
}

TEST_F(ControlServerTest, LeavesASuccessorsSocketAlone) {
  std::filesystem::remove(path_);
  ControlServer successor(loop_, agent_, agent_, agent_.feed, path_);
  server_.reset();
  EXPECT_TRUE(std::filesystem::exists(path_));
}

}  // namespace
}  // namespace Routing::Agent
