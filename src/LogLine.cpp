#include "LogLine.h"

#include <cstdarg>
#include <exception>

#include "CLog.h"
#include "common.h"

namespace {

// Writes "[KIND](SOURCE:LINE):TEXT". Without memory for the text the line is lost: logging never
// fails towards the caller.
void writeLine(char kind, const char* source, int line, const char* fmt, va_list args) {
  try {
    gLog.ilog("[%c](%s:%d):%s", kind, source, line, vformat(fmt, args).c_str());
  } catch (const std::exception&) {
  }
}

}  // namespace

void LogSource::trace(int line, const char* fmt, ...) const {
  if (!gLog.isTracing()) return;
  va_list args;
  va_start(args, fmt);
  writeLine('T', m_name, line, fmt, args);
  va_end(args);
}

void LogSource::info(int line, const char* fmt, ...) const {
  va_list args;
  va_start(args, fmt);
  writeLine('I', m_name, line, fmt, args);
  va_end(args);
}

void LogSource::invalidParam(int line) const { info(line, "invalid param"); }

void logEvent(const char* id, const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  try {
    gLog.ilog("%s:%s", id, vformat(fmt, args).c_str());
  } catch (const std::exception&) {
    // The line is lost, as above.
  }
  va_end(args);
}
