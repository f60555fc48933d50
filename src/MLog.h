#pragma once

#include <string>

/// Debug output of the gateway client: one line on standard error for each call, without level,
/// prefix, time or switch. Derived classes may redirect it.
class MLog {
 public:
  virtual ~MLog();

  /// Passes the characters of `text` to the pointer form, which it calls virtually.
  virtual void LOGDEBUG(std::string text);

  /// Writes `text` and a newline to standard error and flushes it. For a null `text` it writes the
  /// newline alone and leaves the stream usable.
  virtual void LOGDEBUG(const char* text);
};
