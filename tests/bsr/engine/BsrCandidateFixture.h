#pragma once

#include <string>
#include <string_view>

#include "tests/bsr/engine/CandidateFixture.h"

// Unless a play says otherwise this router is 64@10.0.0.1 with a period of 60 s, the BS time-out is
// 130 s, and others are 192@192.0.2.9, better, and 10@192.0.2.1, worse.

namespace Routing::TestKit {

inline const char* const betterText = "192.0.2.9 192 30 tag * 225.0.0.0/8 0 1/1(10.9.9.9 150 0)";
inline const char* const worseText = "192.0.2.1 10 30 tag * 226.0.0.0/8 0 1/1(10.8.8.8 150 0)";
inline const char* const ownText = "10.0.0.1 64 30 tag *";
inline const char* const notForwarded =
    "Not Forwarding bootstrap message since noForward bit is set";

/// Words and instants for plays about the candidate machine.
struct BsrCandidateFixture : CandidateFixture {
  static constexpr double period = 60;
  static constexpr double timeout = 130;
  static constexpr double backOffOfEqual = 5;   // nobody better known
  static constexpr double backOffFrom192 = 20;  // 5 + 14.02 + 1.92, truncated

  /// The timer fires at an instant, not before.
  void expectTimer(double at) { EXPECT_DOUBLE_EQ(machine().bsExpiry(), at); }
  /// So it does, and the record says so.
  void expectTimerAndRecord(double at) {
    expectTimer(at);
    EXPECT_DOUBLE_EQ(record().expiryTime(), at);
  }
  bool traced(int level, std::string_view text) { return traces.ends("CandidateSm", level, text); }
  void standAndFollow() {
    stand();
    hear(better());
    ASSERT_EQ(state(), "cBsr");
    router.sentBsms();
    traces.clear();
  }
};

}  // namespace Routing::TestKit
