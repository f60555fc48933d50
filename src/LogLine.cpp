#include "LogLine.h"

#include <cstdarg>
#include <string>

#include "CLog.h"
#include "common.h"

namespace {

std::string tag(const char* source, int line) { return format("(%s:%d)", source, line); }

}  // namespace

void LogSource::trace(int line, const char* fmt, ...) const {
  if (!gLog.isTracing()) return;
  va_list args;
  va_start(args, fmt);
  const std::string text = vformat(fmt, args);
  va_end(args);
  gLog.tlog("[T]%s:%s", tag(m_name, line).c_str(), text.c_str());
}

void LogSource::info(int line, const char* fmt, ...) const {
  va_list args;
  va_start(args, fmt);
  const std::string text = vformat(fmt, args);
  va_end(args);
  gLog.ilog("[I]%s:%s", tag(m_name, line).c_str(), text.c_str());
}

void LogSource::invalidParam(int line) const { info(line, "invalid param"); }

void logEvent(const char* id, const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  const std::string text = vformat(fmt, args);
  va_end(args);
  gLog.ilog("%s:%s", id, text.c_str());
}
