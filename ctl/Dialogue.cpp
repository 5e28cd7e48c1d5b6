#include "ctl/Dialogue.h"

#include <chrono>
#include <thread>

#include "ctl/Format.h"
#include "ctl/Options.h"

namespace Routing::Ctl {
namespace {

using Time = std::chrono::steady_clock;
constexpr std::chrono::milliseconds pollInterval(200);

/// What the daemon does not do for lack of room is as good as no daemon.
int refusedCode(const Json& answer) {
  const std::string code = answer.value("code", "");
  if (code == "bad-request") return exitUsage;
  if (code == "unknown-vrf") return exitProblem;
  return exitUnreachable;
}

}  // namespace

void send(Connection& daemon, const Json& request) {
  daemon.send(request.dump(-1, ' ', false, Json::error_handler_t::replace));
}

Json readAnswer(Connection& daemon) {
  const auto line = daemon.readLine();
  if (!line) throw ConnectionError(exitUnreachable, "the daemon closed the connection");
  return Json::parse(*line);
}

void expectGood(const Json& answer) {
  if (answer.value("ok", true)) return;
  throw ConnectionError(refusedCode(answer), valueText(answer.at("error")));
}

Json answerTo(Connection& daemon, const Json& request) {
  send(daemon, request);
  const Json answer = readAnswer(daemon);
  expectGood(answer);
  return answer.at("data");
}

Json pollUntil(Connection& daemon, const Json& request, Json data, double seconds,
               const std::function<bool(const Json&)>& done) {
  const std::chrono::duration<double> patience(seconds);
  const auto start = Time::now();
  while (!done(data) && Time::now() - start < patience) {
    std::this_thread::sleep_for(pollInterval);
    data = answerTo(daemon, request);
  }
  return data;
}

}  // namespace Routing::Ctl
