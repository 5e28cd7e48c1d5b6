#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/Export.h"

namespace Routing {

/// A structured system log message, registered when constructed (at start-up). `format` holds one
/// "%s" for each argument.
class ROUTING_API SysLogMessage {
 public:
  SysLogMessage(std::string_view id, int severity, std::string_view format,
                std::string_view explanation, std::string_view recommendedAction);
  SysLogMessage(const SysLogMessage&) = delete;
  SysLogMessage& operator=(const SysLogMessage&) = delete;
  ~SysLogMessage();

  const std::string& id() const { return id_; }
  /// Severity by RFC 5424: 0 emergency to 7 debug.
  int severity() const { return severity_; }
  const std::string& format() const { return format_; }
  const std::string& explanation() const { return explanation_; }
  const std::string& recommendedAction() const { return recommendedAction_; }

  /// Fills the format in and hands the line to every sink.
  void emit(std::initializer_list<std::string_view> arguments) const;

  /// All registered messages, in the order of registration.
  static const std::vector<const SysLogMessage*>& all();

 private:
  std::string id_;
  int severity_;
  std::string format_;
  std::string explanation_;
  std::string recommendedAction_;
};

/// Receives emitted messages, for the whole process.
class ROUTING_API SysLogSink {
 public:
  virtual ~SysLogSink() = default;
  virtual void log(const SysLogMessage& message, std::string_view text) = 0;
};

ROUTING_API void sysLogSinkIs(SysLogSink& sink);
/// Absent sinks are ignored.
ROUTING_API void sysLogSinkDel(SysLogSink& sink);

}  // namespace Routing
