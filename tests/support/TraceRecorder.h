#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "platform/trace/SysLogMessage.h"
#include "platform/trace/Trace.h"

namespace Routing::TestKit {

/// Records every trace line of the facilities with a name prefix, and every system log message,
/// while it lives.
class TraceRecorder : public TraceSink, public SysLogSink {
 public:
  struct Line {
    std::string facility;
    int level;
    std::string text;
  };

  explicit TraceRecorder(std::string_view facilities = "Pim::Bsr::") : facilities_(facilities) {
    traceSinkIs(*this);
    sysLogSinkIs(*this);
    traceThresholdIs(facilities_, TraceHandle::maxLevel);
  }
  TraceRecorder(const TraceRecorder&) = delete;
  TraceRecorder& operator=(const TraceRecorder&) = delete;
  ~TraceRecorder() override {
    traceThresholdIs(facilities_, TraceHandle::off);
    sysLogSinkDel(*this);
    traceSinkDel(*this);
  }

  void clear() {
    lines_.clear();
    logs_.clear();
  }
  const std::vector<Line>& lines() const { return lines_; }
  /// "ID SEVERITY TEXT" of each system log message.
  const std::vector<std::string>& logs() const { return logs_; }

  /// How many lines of a facility ("Sm", "IO" ...) and level contain a text; an empty facility
  /// stands for all.
  std::size_t count(std::string_view facility, int level, std::string_view text) const {
    return static_cast<std::size_t>(
        std::count_if(lines_.begin(), lines_.end(), [&](const Line& line) {
          return line.level == level && line.text.find(text) != std::string::npos &&
                 (facility.empty() || line.facility == facilities_ + std::string(facility));
        }));
  }
  bool contains(std::string_view facility, int level, std::string_view text) const {
    return count(facility, level, text) > 0;
  }
  /// Whether some line of a facility and level ends with these pieces: a text that is compared
  /// whole from its first word on.
  bool ends(std::string_view facility, int level, std::string_view pieces) const {
    return std::any_of(lines_.begin(), lines_.end(), [&](const Line& line) {
      return line.level == level && std::string_view(line.text).ends_with(pieces) &&
             (facility.empty() || line.facility == facilities_ + std::string(facility));
    });
  }
  /// All lines up to a level as one text, for failure messages.
  std::string text(int upTo = TraceHandle::maxLevel) const {
    std::string all;
    for (const Line& line : lines_) {
      if (line.level <= upTo) {
        all += "\n" + std::to_string(line.level) + " " + line.facility + " " + line.text;
      }
    }
    return all;
  }

 private:
  void trace(std::string_view facility, int level, std::string_view text) override {
    lines_.push_back({std::string(facility), level, std::string(text)});
  }
  void log(const SysLogMessage& message, std::string_view text) override {
    logs_.push_back(message.id() + " " + std::to_string(message.severity()) + " " +
                    std::string(text));
  }

  std::string facilities_;
  std::vector<Line> lines_;
  std::vector<std::string> logs_;
};

}  // namespace Routing::TestKit
