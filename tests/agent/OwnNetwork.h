#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "agent/kernel/EventLoop.h"
#include "config/file/Fd.h"

namespace Routing::Agent {

/// A test in a network of its own, which nothing else sees and which goes with the test. Skipped
/// where the right to have one is missing.
class OwnNetwork : public testing::Test {
 protected:
  void SetUp() override;

  /// Runs one "ip" command line, or a batch of them; a failure fails the test.
  static void ip(const std::string& arguments);
  static void ipBatch(const std::string& commands);

  /// Moves this process into a new, empty network.
  static bool enterNew();
  /// The network that this process is in, and the way back into it.
  static Fd here();
  static void enter(const Fd& network);
  static std::string pathOf(const Fd& network);

  /// Turns the loop until the condition holds; false if it does not within some seconds.
  static bool runUntil(EventLoop& loop, const std::function<bool()>& condition);
  /// Turns the loop for a while.
  static void runFor(EventLoop& loop, double seconds);
};

}  // namespace Routing::Agent
