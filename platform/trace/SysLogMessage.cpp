#include "platform/trace/SysLogMessage.h"

#include <algorithm>

namespace Routing {
namespace {

struct SysLog {
  std::vector<const SysLogMessage*> messages;
  std::vector<SysLogSink*> sinks;
};

SysLog& sysLog() {
  static SysLog instance;
  return instance;
}

}  // namespace

SysLogMessage::SysLogMessage(std::string_view id, int severity, std::string_view format,
                             std::string_view explanation, std::string_view recommendedAction)
    : id_(id),
      severity_(severity),
      format_(format),
      explanation_(explanation),
      recommendedAction_(recommendedAction) {
  sysLog().messages.push_back(this);
}

SysLogMessage::~SysLogMessage() {
  std::erase(sysLog().messages, this);
}

void SysLogMessage::emit(std::initializer_list<std::string_view> arguments) const {
  std::string text;
  std::string_view rest = format_;
  for (const std::string_view argument : arguments) {
    const auto gap = rest.find("%s");
    if (gap == std::string_view::npos) break;
    text.append(rest.substr(0, gap)).append(argument);
    rest.remove_prefix(gap + 2);
  }
  text.append(rest);
  for (SysLogSink* sink : sysLog().sinks) sink->log(*this, text);
}

const std::vector<const SysLogMessage*>& SysLogMessage::all() {
  return sysLog().messages;
}

void sysLogSinkIs(SysLogSink& sink) {
  sysLog().sinks.push_back(&sink);
}

void sysLogSinkDel(SysLogSink& sink) {
  std::erase(sysLog().sinks, &sink);
}

}  // namespace Routing
