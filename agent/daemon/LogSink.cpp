#include "agent/daemon/LogSink.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <array>
#include <utility>

#include "platform/trace/TraceFacilities.h"

namespace Routing::Agent {
namespace {

/// By RFC 5424 severity, 0 to 7.
constexpr std::array severities{spdlog::level::critical, spdlog::level::critical,
                                spdlog::level::critical, spdlog::level::err,
                                spdlog::level::warn,     spdlog::level::info,
                                spdlog::level::info,     spdlog::level::debug};

std::string facilities() {
  std::string text;
  for (const std::string& name : traceFacilities()) text += (text.empty() ? "" : ", ") + name;
  return text;
}

/// The text with what a terminal might obey, and what is no ASCII, as \xNN: names and packets may
/// hold any octets.
std::string escaped(std::string_view text) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    const auto octet = static_cast<unsigned char>(c);
    if (octet >= 0x20 && octet < 0x7f) {
      out += c;
    } else {
      out += {'\\', 'x', digits[octet >> 4], digits[octet & 0xf]};
    }
  }
  return out;
}

}  // namespace

LogSink::LogSink(const Clock& clock, std::shared_ptr<spdlog::logger> logger)
    : limiter_(clock, linesPerSecond, linesAtOnce), logger_(std::move(logger)) {
  traceSinkIs(*this);
  sysLogSinkIs(*this);
}

LogSink::~LogSink() {
  sysLogSinkDel(*this);
  traceSinkDel(*this);
}

bool LogSink::admitted(std::string_view subject) {
  const auto verdict = limiter_.admit(subject);
  if (verdict.suppressed > 0) {
    logger_->warn("{}: {} lines were suppressed", subject, verdict.suppressed);
  }
  return verdict.admitted;
}

void LogSink::trace(std::string_view facility, int level, std::string_view text) {
  if (admitted(facility)) logger_->info("{}[{}] {}", facility, level, escaped(text));
}

void LogSink::log(const SysLogMessage& message, std::string_view text) {
  const auto severity = static_cast<std::size_t>(std::clamp(message.severity(), 0, 7));
  if (admitted(message.id()))
    logger_->log(severities[severity], "{}: {}", message.id(), escaped(text));
}

std::shared_ptr<spdlog::logger> startLogging() {
  const auto sink = std::make_shared<spdlog::sinks::stderr_sink_st>();
  const auto own = std::make_shared<spdlog::logger>("pimbsrd", sink);
  spdlog::set_default_logger(own);
  auto all = std::make_shared<spdlog::logger>("trace", sink);
  all->set_level(spdlog::level::trace);
  for (const auto& logger : {own, all}) logger->set_pattern("%Y-%m-%dT%H:%M:%S.%f %l %v");
  return all;
}

void logLevelIs(const std::string& level) {
  spdlog::default_logger()->set_level(spdlog::level::from_str(level));
}

void tracesAre(const std::map<std::string, int>& levels) {
  traceThresholdIs("", 0);
  for (const auto& [facility, level] : levels) {
    if (traceThresholdIs(facility, level) != 0) continue;
    spdlog::warn("no trace facility begins with {}; there are {}", facility, facilities());
  }
}

}  // namespace Routing::Agent
