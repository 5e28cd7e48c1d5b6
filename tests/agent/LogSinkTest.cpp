#include <gtest/gtest.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/ostream_sink.h>

#include <algorithm>
#include <sstream>

#include "agent/daemon/LogSink.h"

namespace Routing::Agent {
namespace {

class LogSinkTest : public testing::Test {
 protected:
  LogSinkTest() { logger->set_pattern("%l %v"); }

  std::size_t lines() const {
    const std::string text = out.str();
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  }

  std::ostringstream out;
  std::shared_ptr<spdlog::logger> logger = std::make_shared<spdlog::logger>(
      "test", std::make_shared<spdlog::sinks::ostream_sink_st>(out));
  VirtualClock clock;
};

TEST_F(LogSinkTest, WritesTracesAndMessagesWhileItLives) {
  TraceHandle handle("Test::LogSink");
  const SysLogMessage message("TEST_MESSAGE", 4, "neighbour %s lost", "why", "what to do");
  {
    const LogSink sink(clock, logger);
    handle.write(3, "{} of the network's\n\x1b\x7f making");
    message.emit({"10.0.0.1"});
  }
  handle.write(3, "later");
  message.emit({"10.0.0.2"});
  EXPECT_EQ(out.str(),
            "info Test::LogSink[3] {} of the network's\\x0a\\x1b\\x7f making\n"
            "warning TEST_MESSAGE: neighbour 10.0.0.1 lost\n");
}

TEST_F(LogSinkTest, BoundsAFloodOfOneFacilityAndSaysSo) {
  TraceHandle loud("Test::Loud");
  TraceHandle quiet("Test::Quiet");
  const LogSink sink(clock, logger);
  for (int i = 0; i < 100'000; ++i) loud.write(1, "bad packet");
  EXPECT_EQ(static_cast<double>(lines()), LogSink::linesAtOnce);
  quiet.write(1, "still heard");
  EXPECT_NE(out.str().find("still heard"), std::string::npos);
  clock.nowIs(1);
  out.str({});
  loud.write(1, "bad packet");
  EXPECT_EQ(out.str(),
            "warning Test::Loud: 99000 lines were suppressed\ninfo Test::Loud[1] bad packet\n");
  clock.nowIs(1e6);
  out.str({});
  for (int i = 0; i < 100'000; ++i) loud.write(1, "bad packet");
  EXPECT_NEAR(static_cast<double>(lines()), LogSink::linesAtOnce, 1)
      << "no more than a burst is saved";
}

}  // namespace
}  // namespace Routing::Agent
