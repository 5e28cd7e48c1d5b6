#include <gtest/gtest.h>

#include <array>
#include <asio.hpp>
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "agent/control/ControlServer.h"
#include "ctl/Run.h"
#include "tests/agent/control/FakeAgent.h"

namespace Routing::Ctl {
namespace {

using Json = nlohmann::json;
using Protocol = asio::local::stream_protocol;

/// What a run of the client comes to.
struct Outcome {
  int code;
  std::string out;
  std::string err;
  bool operator==(const Outcome&) const = default;
};

void PrintTo(const Outcome& outcome, std::ostream* out) {
  *out << outcome.code << ", out: " << outcome.out << ", err: " << outcome.err;
}

class RunTest : public testing::Test {
 protected:
  void TearDown() override { std::filesystem::remove_all(directory_); }
  std::string path() const { return directory_ / "control.sock"; }
  Options options(const std::string& command, const std::string& topic) const {
    Options options;
    options.socket = path();
    options.command = command;
    options.family = "ipv4";
    options.topic = topic;
    return options;
  }
  static Outcome run(const Options& options) {
    std::ostringstream out, err;
    const int code = Ctl::run(options, out, err);
    return {code, out.str(), err.str()};
  }

 private:
  std::array<char, 32> name_{"/tmp/ctl-run-XXXXXX"};
  std::filesystem::path directory_ = mkdtemp(name_.data());
};

/// Runs against the daemon's own control plane, on a thread of its own.
class RunWithDaemon : public RunTest {
 protected:
  void start(const Agent::ControlLimits& limits = {}) {
    server_.emplace(loop_, agent_, agent_, agent_.feed, path(), limits);
    thread_ = std::thread([this] { loop_.run(); });
  }
  void TearDown() override {
    loop_.stop();
    if (thread_.joinable()) thread_.join();
    server_.reset();
    RunTest::TearDown();
  }

  asio::io_context loop_;
  Agent::FakeAgent agent_;
  Agent::FakeInstance& v4_ = agent_.add("default", AddressFamily::ipv4);
  std::optional<Agent::ControlServer> server_;
  std::thread thread_;
};

TEST_F(RunWithDaemon, ShowsTextOrJson) {
  v4_.addBsr("224.0.0.0/4", "10.0.0.1");
  start();
  Options show = options("show", "bsr");
  const Outcome text = run(show);
  EXPECT_EQ(exitGood, text.code);
  EXPECT_NE(std::string::npos, text.out.find("  BSR:        10.0.0.1\n"));
  EXPECT_EQ("", text.err);
  show.json = true;
  const Outcome json = run(show);
  EXPECT_EQ(exitGood, json.code);
  EXPECT_EQ(103.0, Json::parse(json.out).at("zones")[0].at("bsr").at("expiration"));
}

TEST_F(RunWithDaemon, TellsByItsExitCodeWhetherAGroupHasAnRp) {
  v4_.addMapping("224.0.0.0/4", "10.0.0.1", 0);
  start();
  Options hash = options("show", "rp-hash");
  hash.groups = {"239.1.1.1"};
  EXPECT_EQ(exitGood, run(hash).code);
  hash.groups = {"232.1.1.1"};
  const Outcome none = run(hash);
  EXPECT_EQ(exitProblem, none.code);
  EXPECT_NE(std::string::npos, none.out.find("No RP for group 232.1.1.1"));
  hash.json = true;
  EXPECT_EQ(exitProblem, run(hash).code);
  hash.groups = {"239.1.1"};
  EXPECT_EQ((Outcome{exitUsage, "", "pimbsrctl: '239.1.1' is not an IPv4 address\n"}), run(hash));

  hash.json = false;
  hash.groups = {"239.1.1.1", "232.1.1.1"};
  const std::string answers =
      "RPs for groups, VRF default, IPv4\n\n"
      "  Group      RP        Group range  Mode    Priority\n"
      "  239.1.1.1  10.0.0.1  224.0.0.0/4  sparse         0\n"
      "  232.1.1.1  -         -            -              -\n";
  EXPECT_EQ((Outcome{exitProblem, answers, ""}), run(hash));
  hash.groups.pop_back();
  hash.groups.emplace_back("239.9.9.9");
  EXPECT_EQ(exitGood, run(hash).code);
}

TEST_F(RunWithDaemon, ClearsInSilence) {
  v4_.pamManager->counters()->rxHelloIs(5);
  start();
  EXPECT_EQ((Outcome{exitGood, "", ""}), run(options("clear", "counters")));
  EXPECT_EQ(std::string::npos, run(options("show", "counters")).out.find("5\n"));
}

TEST_F(RunWithDaemon, FollowsChangesUntilItsTimeIsUp) {
  v4_.addBsr("224.0.0.0/4", "10.0.0.1");
  start();
  Options watch = options("watch", "bsr");
  watch.timeout = 0.2;
  watch.raw = true;
  const Outcome text = run(watch);
  EXPECT_EQ(exitGood, text.code);
  EXPECT_EQ("", text.err);
  EXPECT_EQ(0u, text.out.find("+ /bootstrapRouter[224.0.0.0/4]\n"));
  watch.json = true;
  watch.snapshot = false;
  EXPECT_EQ("{\"live\":true}\n", run(watch).out);
}

TEST_F(RunWithDaemon, TellsWhatHappensInWordsWithTheTimeOfDay) {
  start();
  Options watch = options("watch", "rp-set");
  watch.timeout = 1;
  asio::steady_timer meanwhile(loop_);
  const auto happen = [this](const std::error_code&) {
    using namespace Agent;
    const VrfName vrf("default");
    v4_.addRp("224.0.0.0/4", "239.1.0.0/16", "10.0.0.1", 7, 10, 200);
    agent_.feed.settle();
    agent_.events.tell({.kind = EventKind::neighborUp, .vrf = vrf, .af = AddressFamily::ipv4});
    agent_.events.tell({.kind = EventKind::limitHit, .vrf = VrfName("red"), .limit = "zones"});
    agent_.events.tell({.kind = EventKind::limitHit,
                        .vrf = vrf,
                        .af = AddressFamily::ipv4,
                        .wall = std::chrono::system_clock::time_point(std::chrono::seconds(61)),
                        .limit = "zones"});
  };
  asio::post(loop_, [&] {
    meanwhile.expires_after(std::chrono::milliseconds(300));
    meanwhile.async_wait(happen);
  });
  const std::string said = run(watch).out;
  EXPECT_EQ(0u, said.find("PIM RP set, VRF default, IPv4\n"));
  const std::string changes =
      "\nnowZ  RP 10.0.0.1 for 239.1.0.0/16 is new: sparse, priority 7, zone 224.0.0.0/4\n"
      "1970-01-01T00:01:01Z  no room for more zones\n";
  EXPECT_EQ(said.substr(said.size() - std::min(said.size(), changes.size())), changes) << said;
  watch.snapshot = false;
  watch.vrf = "red";
  EXPECT_EQ(exitProblem, run(watch).code) << "there is no such VRF";
}

TEST_F(RunWithDaemon, TellsWhatCameOfAReload) {
  using Agent::Severity;
  agent_.outcome = {"/p.yaml", true, true, false, {{Severity::warning, 0, "vrf", "hm"}}};
  start();
  Options reload = options("reload", "");
  EXPECT_EQ((Outcome{exitGood, "/p.yaml: applied\n", "/p.yaml: warning: vrf: hm\n"}), run(reload));
  agent_.outcome = {"/p.yaml", true, false, true};
  EXPECT_EQ((Outcome{exitGood, "/p.yaml: unchanged, no longer drained\n", ""}), run(reload));
  agent_.outcome = {"/p.yaml", false, false, false, {{Severity::error, 7, "vrf", "bad"}}};
  EXPECT_EQ(
      (Outcome{exitProblem, "/p.yaml: refused, nothing has changed\n", "/p.yaml:7: vrf: bad\n"}),
      run(reload));
  reload.json = true;
  const Outcome json = run(reload);
  EXPECT_EQ(exitProblem, json.code);
  EXPECT_EQ("bad", Json::parse(json.out).at("findings").at(0).at("text"));
}

TEST_F(RunWithDaemon, WaitsUntilOthersHaveTakenOver) {
  agent_.drained.zones = {
      {VrfName("default"), AddressFamily::ipv4, Agent::prefix("224.0.0.0/4"), {}}};
  start();
  Options drain = options("drain", "bsr");
  const std::string left = "Drained: this router is no candidate BSR\n";
  const std::string zone = "  VRF default, IPv4, zone 224.0.0.0/4: ";
  const Outcome pending{exitGood, left + zone + "no other BSR yet\n", ""};
  EXPECT_EQ(pending, run(drain));
  drain.wait = 0.1;
  EXPECT_EQ((Outcome{exitProblem, pending.out, ""}), run(drain)) << "not in time";
  drain.wait = 60;
  asio::steady_timer meanwhile(loop_);
  const auto soon = [&](const std::function<void()>& change) {
    asio::post(loop_, [&meanwhile, change] {
      meanwhile.expires_after(std::chrono::milliseconds(300));
      meanwhile.async_wait([change](std::error_code) { change(); });
    });
  };
  soon([this] { agent_.drained.drained = {}; });
  EXPECT_EQ(exitProblem, run(drain).code) << "somebody has ended it";
  soon([this] { agent_.drained.zones[0].bsr = Agent::addr("10.0.0.9"); });
  EXPECT_EQ((Outcome{exitGood, left + zone + "BSR 10.0.0.9\n", ""}), run(drain));

  EXPECT_EQ(exitGood, run(options("undrain", "")).code);
  EXPECT_TRUE(agent_.drained.drained.none());
}

TEST_F(RunWithDaemon, CountsADaemonThatIsTooBusyAsUnreachable) {
  start({.peers = 0});
  EXPECT_EQ((Outcome{exitUnreachable, "", "pimbsrctl: too many connections\n"}),
            run(options("show", "bsr")));
}

TEST_F(RunTest, SaysThatNoDaemonListens) {
  const std::string complaint =
      "pimbsrctl: cannot reach the daemon at " + path() + ": No such file or directory\n";
  EXPECT_EQ((Outcome{exitUnreachable, "", complaint}), run(options("show", "bsr")));
  Options longPath = options("show", "bsr");
  longPath.socket = std::string(200, 'x');
  EXPECT_EQ(exitUnreachable, run(longPath).code);
}

TEST_F(RunTest, GivesUpOnADaemonThatDoesNotAnswer) {
  asio::io_context loop;
  Protocol::acceptor listener(loop, Protocol::endpoint(path()));
  Options show = options("show", "bsr");
  show.timeout = 0.1;
  EXPECT_EQ(exitTimedOut, run(show).code);

  listener.close();
  std::filesystem::remove(path());
  Protocol::acceptor full(loop, Protocol());
  full.bind(Protocol::endpoint(path()));
  full.listen(0);
  Protocol::socket first(loop);
  first.connect(Protocol::endpoint(path()));
  EXPECT_EQ(exitTimedOut, run(show).code);
}

/// Accepts one connection and says `text`.
std::thread fakeDaemon(asio::io_context& loop, const std::string& path, std::string text) {
  auto listener = std::make_shared<Protocol::acceptor>(loop, Protocol::endpoint(path));
  return std::thread([listener, text = std::move(text)] {
    Protocol::socket peer = listener->accept();
    asio::streambuf request;
    asio::read_until(peer, request, '\n');
    asio::write(peer, asio::buffer(text));
  });
}

TEST_F(RunTest, SurvivesADaemonThatTalksNonsense) {
  for (const std::string text : {"", "{\"ok\":true", "nonsense\n", "[]\n",
                                 "{\"ok\":true,\"data\":{}}\n", "{\"ok\":false}\n"}) {
    const char* complaint = text.ends_with('\n') ? "pimbsrctl: the daemon's answer makes no sense\n"
                                                 : "pimbsrctl: the daemon closed the connection\n";
    asio::io_context loop;
    std::thread daemon = fakeDaemon(loop, path(), text);
    const Outcome outcome = run(options("show", "bsr"));
    daemon.join();
    std::filesystem::remove(path());
    EXPECT_EQ((Outcome{exitUnreachable, "", complaint}), outcome) << text;
  }
}

}  // namespace
}  // namespace Routing::Ctl
