#include <gtest/gtest.h>

#include <string>

#include "platform/net/VrfName.h"
#include "platform/trace/Trace.h"
#include "tests/support/TraceRecorder.h"

namespace Routing {
namespace {

class Tracer {
 public:
  explicit Tracer(const TraceHandle& handle) : handle_(handle) {}
  void work(int& evaluations) const {
    ROUTING_TRACE(handle_, 5, vrf_, ", cost=", ++evaluations, ", yes=", true);
  }

 private:
  const TraceHandle& handle_;
  VrfName vrf_{"red"};
};

TEST(Trace, IsWrittenUpToTheThresholdAndCostsNothingBeyond) {
  const TraceHandle handle("Test::Unit");
  TraceHandle& writable = const_cast<TraceHandle&>(handle);
  const TestKit::TraceRecorder recorder("no facility");
  int evaluations = 0;
  const Tracer tracer(handle);
  tracer.work(evaluations);
  writable.thresholdIs(4);
  tracer.work(evaluations);
  EXPECT_EQ(evaluations, 0) << "pieces are not evaluated while off";
  writable.thresholdIs(5);
  tracer.work(evaluations);
  ASSERT_EQ(recorder.lines().size(), 1U);
  EXPECT_EQ(recorder.lines()[0].facility, "Test::Unit");
  EXPECT_EQ(recorder.lines()[0].level, 5);
  const std::string& line = recorder.lines()[0].text;
  EXPECT_TRUE(line.starts_with("<Vrf:red>")) << line;
  EXPECT_NE(line.find("Tracer::work(int"), std::string::npos) << line;
  EXPECT_TRUE(line.ends_with(", cost=1, yes=true")) << line;
}

TEST(Trace, ThresholdsGoByPrefixAndReachLaterFacilities) {
  TraceHandle early("Prefix::A");
  EXPECT_EQ(traceThresholdIs("Prefix::", 3), 1U);
  TraceHandle late("Prefix::B");
  TraceHandle other("Other");
  EXPECT_EQ(early.threshold(), 3);
  EXPECT_EQ(late.threshold(), 3);
  EXPECT_EQ(other.threshold(), TraceHandle::off);
  traceThresholdIs("Prefix::B", 7);
  EXPECT_EQ(TraceHandle("Prefix::B::C").threshold(), 7);
  EXPECT_EQ(TraceHandle("Prefix::C").threshold(), 3);
  traceThresholdIs("Prefix::", TraceHandle::off);
  EXPECT_EQ(TraceHandle("Prefix::B::C").threshold(), TraceHandle::off) << "the last word counts";
  EXPECT_FALSE(late.enabled(0));
}

}  // namespace
}  // namespace Routing
