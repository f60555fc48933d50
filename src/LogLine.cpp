#include "LogLine.h"

#include <cstdarg>
#include <exception>
#include <string>

#include "CLog.h"
#include "common.h"

namespace {

// Writes HEAD:TEXT, where `head` makes the first; without memory for it the line is lost.
template <class Head>
void write(Head head, const char* fmt, va_list args) {
  try {
    const std::string text = vformat(fmt, args);
    gLog.ilog("%s:%s", std::string(head()).c_str(), text.c_str());
  } catch (const std::exception&) {
    // Logging never fails towards the caller.
  }
}

}  // namespace

void LogSource::trace(int line, const char* fmt, ...) const {
  if (!gLog.isTracing()) return;
  va_list args;
  va_start(args, fmt);
  write([&] { return format("[T](%s:%d)", m_name, line); }, fmt, args);
  va_end(args);
}

void LogSource::info(int line, const char* fmt, ...) const {
  va_list args;
  va_start(args, fmt);
  write([&] { return format("[I](%s:%d)", m_name, line); }, fmt, args);
  va_end(args);
}

void LogSource::invalidParam(int line) const { info(line, "invalid param"); }

void logEvent(const char* id, const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  write([&] { return id; }, fmt, args);
  va_end(args);
}
