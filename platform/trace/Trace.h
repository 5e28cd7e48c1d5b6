#pragma once

#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>

#include "platform/Export.h"

namespace Routing {

/// Receives trace lines. Registered for the whole process; runs inside the code that traces, so it
/// must not call back into it.
class ROUTING_API TraceSink {
 public:
  virtual ~TraceSink() = default;
  virtual void trace(std::string_view facility, int level, std::string_view text) = 0;
};

/// A named trace facility. Its threshold says up to which level (0, the gravest, to 9) it writes;
/// below 0, as it starts, nothing. A trace that is not written costs a comparison, and its pieces
/// are not evaluated.
class ROUTING_API TraceHandle {
 public:
  static constexpr int off = -1;
  static constexpr int maxLevel = 9;

  /// Registers the facility under its name for the life of the object. Names are unique.
  explicit TraceHandle(std::string_view name);
  TraceHandle(const TraceHandle&) = delete;
  TraceHandle& operator=(const TraceHandle&) = delete;
  ~TraceHandle();

  const std::string& name() const { return name_; }
  bool enabled(int level) const { return level <= threshold_; }
  int threshold() const { return threshold_; }
  void thresholdIs(int level) { threshold_ = level; }

  /// Hands a line to every sink.
  void write(int level, std::string_view text) const;

  /// Writes "<Vrf:NAME>", the signature of the tracing function and the pieces, put one after the
  /// other without blanks.
  template <class Vrf, class... Pieces>
  void writePieces(int level, const Vrf& vrf, std::string_view function,
                   const Pieces&... pieces) const {
    std::ostringstream text;
    text << std::boolalpha << "<Vrf:" << vrf << '>' << function;
    (text << ... << pieces);
    write(level, text.str());
  }

 private:
  std::string name_;
  int threshold_ = off;
};

/// Sets the threshold of every facility whose name begins with `prefix`; also of those that are
/// registered later. Returns how many there are now.
ROUTING_API std::size_t traceThresholdIs(std::string_view prefix, int level);

ROUTING_API void traceSinkIs(TraceSink& sink);
/// Absent sinks are ignored.
ROUTING_API void traceSinkDel(TraceSink& sink);

}  // namespace Routing

/// Traces pieces at a level, in a function of an object of the VRF `vrf`.
#define ROUTING_TRACE(handle, level, vrf, ...)                                                  \
  ((handle).enabled(level) ? (handle).writePieces(level, vrf, __PRETTY_FUNCTION__, __VA_ARGS__) \
                           : static_cast<void>(0))
